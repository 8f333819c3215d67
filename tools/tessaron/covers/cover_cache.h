#pragma once

#include <memory>
#include <string>

#include "catalogue/covers.h"
#include "cli/context.h"

namespace tessaron::tool {

/// The path of the cache of a collection's covers. Fails with kUsage for standard input.
std::u16string requireCachePath(const std::string& collection);

/// The covers of a collection; notes when their cache is damaged. Fails with kUsage as above, and
/// with kNoInput when the cache cannot be read.
std::unique_ptr<CoverReader> openCovers(const std::string& collection, const Context& context);

}  // namespace tessaron::tool
