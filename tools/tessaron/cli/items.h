#pragma once

#include <cstddef>
#include <string>

#include "records/record.h"

namespace CLI {
class App;
class Option;
}  // namespace CLI

namespace tessaron::tool {

/// Makes an option that names items refuse a name without a character in it.
void requireItemName(CLI::Option& option);

/// The ASIN that the user means: without white space at its ends, as items are read.
std::u16string itemName(const std::string& argument);

/// The first item of that name in the collection at `path`. Fails with kFailed when there is none.
CRecord findItem(const std::string& path, const std::string& argument);

}  // namespace tessaron::tool
