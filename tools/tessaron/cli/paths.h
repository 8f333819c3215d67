#pragma once
// Names of files as the command line gives them.

#include <string>

#include "cli/failures.h"

namespace tessaron::tool {

/// The file's name as messages give it: "standard input" for "-".
std::string displayName(const std::string& path);

/// The path as wide text. Fails with `code` when it is empty or not UTF-8, which would give the
/// path of another file.
std::u16string widePath(const std::string& path, ExitCode code = kCannotCreate);

/// Whether the text is the same after a conversion to wide text and back.
bool isUtf8(const std::string& text);

}  // namespace tessaron::tool
