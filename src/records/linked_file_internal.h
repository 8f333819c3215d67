#pragma once
// How the values of a linked file stand in attributes.

#include <cstdint>
#include <string>
#include <string_view>

namespace tessaron {

/// The path as XML can hold it: control characters, and units that are no characters, as \u and
/// four hexadecimal digits; a backslash is doubled.
std::u16string escapeFilePath(std::u16string_view path);

/// The path of such a text. A backslash with anything else behind it stands for itself.
std::u16string unescapeFilePath(std::u16string_view text);

/// A decimal number of bytes; 0 for any other text and for numbers that no file can have.
std::uint64_t parseFileSize(std::string_view text);

}  // namespace tessaron
