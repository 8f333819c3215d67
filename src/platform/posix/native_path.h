#pragma once

#include <unicode/unistr.h>

#include <string>
#include <string_view>

namespace tessaron {

/// A path as the system calls take it. A surrogate without its partner becomes U+FFFD.
inline std::string nativePath(std::u16string_view path) {
  std::string native;
  icu::UnicodeString(false, path.data(), static_cast<std::int32_t>(path.size()))
      .toUTF8String(native);
  return native;
}

}  // namespace tessaron
