#include "catalogue/readers/record_source.h"

#include <algorithm>

namespace tessaron {
namespace {

// A file with more unknown names than these is told about the first ones.
constexpr std::size_t kMaxIgnored = 1000;

}  // namespace

RecordSource::~RecordSource() = default;

bool RecordSource::fail(SourceError::Kind kind, std::string message, std::size_t line,
                        std::size_t column) {
  error_ = {kind, std::move(message), line, column};
  return false;
}

void RecordSource::ignore(std::string name) {
  std::vector<std::string>& names = summary_.ignored;
  if (names.size() < kMaxIgnored && std::ranges::find(names, name) == names.end())
    names.push_back(std::move(name));
}

}  // namespace tessaron
