#pragma once

#include <unicode/utf16.h>
#include <unicode/utf8.h>

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

namespace tessaron {

// File names are bytes, UTF-8 by convention only. A byte that is none is carried as a low surrogate
// without its partner, U+DC80 to U+DCFF, which no well-formed name has: every name comes back as it
// was, and none becomes that of another file.
constexpr char16_t kEscapedBytes = 0xDC00;

/// A path as the system calls take it. A surrogate without its partner that stands for no byte
/// becomes U+FFFD.
inline std::string nativePath(std::u16string_view path) {
  std::string native;
  native.reserve(path.size());
  for (std::size_t at = 0; at < path.size();) {
    UChar32 character = 0;
    U16_NEXT(path.data(), at, path.size(), character);
    if (character >= kEscapedBytes + 0x80 && character <= kEscapedBytes + 0xFF) {
      native += static_cast<char>(character - kEscapedBytes);
      continue;
    }
    if (U_IS_SURROGATE(character)) character = 0xFFFD;
    char bytes[U8_MAX_LENGTH];
    std::size_t count = 0;
    U8_APPEND_UNSAFE(bytes, count, character);
    native.append(bytes, count);
  }
  return native;
}

/// A path of the system's as the library takes it; `nativePath` gives the same bytes again.
inline std::u16string fromNativePath(std::string_view native) {
  std::u16string path;
  path.reserve(native.size());
  for (std::size_t at = 0; at < native.size();) {
    const std::size_t begin = at;
    UChar32 character = 0;
    U8_NEXT(native.data(), at, native.size(), character);
    if (character < 0) {
      for (const char byte : native.substr(begin, at - begin)) {
        path += static_cast<char16_t>(kEscapedBytes + static_cast<std::uint8_t>(byte));
      }
    } else if (U_IS_BMP(character)) {
      path += static_cast<char16_t>(character);
    } else {
      path += U16_LEAD(character);
      path += U16_TRAIL(character);
    }
  }
  return path;
}

}  // namespace tessaron
