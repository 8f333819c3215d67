#pragma once

#include <cstddef>
#include <string>

#include "catalogue/collection.h"

namespace CLI {
class App;
class Option;
}  // namespace CLI

namespace tessaron::tool {

/// Makes an option that names items refuse a name without a character in it.
void requireItemName(CLI::Option& option);

/// The ASIN that the user means: without white space at its ends, as items are read.
std::u16string itemName(const std::string& argument);

/// The item's position. Fails with kFailed when `collection`, read from `path`, does not have it.
std::size_t findItem(const Collection& collection, const std::string& path,
                     const std::string& argument);

}  // namespace tessaron::tool
