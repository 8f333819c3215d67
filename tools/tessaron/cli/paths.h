#pragma once
// Names of files as the command line gives them.

#include <string>

#include "cli/failures.h"

namespace tessaron::tool {

/// The file's name as messages give it: "standard input" for "-".
std::string displayName(const std::string& path);

/// The path as the library takes it. Fails with `code` when it is empty, or not UTF-8: it would
/// come out as another file's.
std::u16string widePath(const std::string& path, ExitCode code = kCannotCreate);

/// Whether the text is UTF-8 that comes back the same from wide text.
bool isUtf8(const std::string& text);

}  // namespace tessaron::tool
