#pragma once

#include <string>
#include <string_view>

#include "platform/types.h"
#include "platform/win32/wide.h"

namespace tessaron {

/// UTF-8 as the system's calls take it. Bytes that are not UTF-8 become U+FFFD.
inline std::u16string widened(std::string_view text) {
  const int size = static_cast<int>(text.size());
  std::u16string out(MultiByteToWideChar(CP_UTF8, 0, text.data(), size, nullptr, 0), u'\0');
  MultiByteToWideChar(CP_UTF8, 0, text.data(), size, wide(out.data()),
                      static_cast<int>(out.size()));
  return out;
}

/// The system's text as UTF-8. A surrogate without its partner becomes U+FFFD.
inline std::string narrowed(std::u16string_view text) {
  const int size = static_cast<int>(text.size());
  const auto* const units = reinterpret_cast<const wchar_t*>(text.data());
  std::string out(WideCharToMultiByte(CP_UTF8, 0, units, size, nullptr, 0, nullptr, nullptr), '\0');
  WideCharToMultiByte(CP_UTF8, 0, units, size, out.data(), static_cast<int>(out.size()), nullptr,
                      nullptr);
  return out;
}

}  // namespace tessaron
