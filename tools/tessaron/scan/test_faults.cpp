#include "scan/test_faults.h"

#include <algorithm>
#include <cstdlib>

namespace tessaron::tool {

FaultyFile::FaultyFile(File& file, std::u16string_view name) : file_(file) {
  if (!std::getenv("TESSARON_TEST_FAULTS")) return;
  fault_ = misbehaviorFor(name);
  for (const char16_t unit : name.substr(std::min(name.find(u'.'), name.size() - 1) + 1)) {
    if (unit < u'0' || unit > u'9') break;
    reads_ = reads_ * 10 + (unit - u'0');
  }
}

void FaultyFile::misbehave(std::size_t size) {
  if (!fault_ || size <= 1) return;  // the first byte is read by no decoder
  if (reads_ == 0) fault_();
  if (reads_ > 0) --reads_;
}

std::optional<std::size_t> FaultyFile::read(std::span<std::byte> buffer) {
  misbehave(buffer.size());
  return file_.read(buffer);
}

std::optional<std::size_t> FaultyFile::readAt(std::uint64_t offset, std::span<std::byte> buffer) {
  misbehave(buffer.size());
  return file_.readAt(offset, buffer);
}

}  // namespace tessaron::tool
