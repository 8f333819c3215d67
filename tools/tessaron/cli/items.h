#pragma once

#include <cstddef>
#include <string>

#include "records/record.h"

namespace CLI {
class App;
class Option;
}  // namespace CLI

namespace tessaron::tool {

/// Makes an option that names items refuse empty and blank names.
void requireItemName(CLI::Option& option);

/// The argument as an ASIN: without white space at its ends, as in items that are read.
std::u16string itemName(const std::string& argument);

/// The first item of that name in the collection at `path`. Fails with kFailed when there is none.
CRecord findItem(const std::string& path, const std::string& argument);

}  // namespace tessaron::tool
