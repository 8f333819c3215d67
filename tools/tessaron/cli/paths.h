#pragma once
// Names of files as the command line gives them.

#include <filesystem>
#include <string>
#include <string_view>

#include "cli/failures.h"

namespace tessaron::tool {

/// The path that UTF-8 text names (on Linux, any bytes), and its text. Never give the standard
/// library a path as a narrow string: on Windows it would take that for text of a code page.
std::filesystem::path filePath(std::string_view text);
std::string pathText(const std::filesystem::path& path);

/// The file's name as messages give it: "standard input" for "-".
std::string displayName(const std::string& path);

/// The path as wide text. Fails with `code` when it is empty or not UTF-8, which would give the
/// path of another file.
std::u16string widePath(const std::string& path, ExitCode code = kCannotCreate);

/// Whether the text is the same after a conversion to wide text and back.
bool isUtf8(const std::string& text);

}  // namespace tessaron::tool
