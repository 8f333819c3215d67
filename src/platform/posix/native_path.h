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

/// A path of the system's as the library takes it. Bytes that are no UTF-8 become U+FFFD.
inline std::u16string fromNativePath(const std::string& native) {
  const icu::UnicodeString path = icu::UnicodeString::fromUTF8(native);
  return {path.getBuffer(), static_cast<std::size_t>(path.length())};
}

}  // namespace tessaron
