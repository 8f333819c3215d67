#pragma once

#include <string>

#include "tessaron_export.h"

/// Fills `out` with the file's bytes; leaves it empty when the file cannot be read.
TESSARON_API void ReadFileToString(const std::u16string& path, std::string& out);

namespace tessaron {

/// As ReadFileToString, with an honest result: false when the file cannot be opened or read to its
/// end. `out` is then untouched.
TESSARON_API bool readFile(const std::u16string& path, std::string& out);

}  // namespace tessaron
