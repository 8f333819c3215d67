#include "covers/cover_cache.h"

#include <fmt/format.h>

#include <system_error>

#include "cli/failures.h"
#include "cli/paths.h"
#include "support/text.h"

namespace tessaron::tool {

std::u16string requireCachePath(const std::string& collection) {
  if (collection == "-")
    throw Failure{kUsage, {}, "covers belong to a collection in a file, not to standard input"};
  return coverCachePath(widePath(collection, kNoInput));
}

std::unique_ptr<CoverReader> openCovers(const std::string& collection, const Context& context) {
  const std::u16string path = requireCachePath(collection);
  std::error_code error;
  auto covers = std::make_unique<CoverReader>(path, error);
  if (error) throw Failure{kNoInput, toUtf8(path), error.message()};
  if (covers->isDamaged())
    note(context, fmt::format("{0} is damaged: \"tessaron cache repair {0}\" keeps what is whole",
                              toUtf8(path)));
  return covers;
}

}  // namespace tessaron::tool
