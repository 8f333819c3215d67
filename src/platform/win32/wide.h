#pragma once
// The one place where UTF-16 text becomes the system's wide characters, which have the same size
// here.

#include <string>
#include <string_view>

#include "platform/types.h"

namespace tessaron {

static_assert(sizeof(wchar_t) == sizeof(char16_t));

inline const wchar_t* wide(const std::u16string& text) {
  return reinterpret_cast<const wchar_t*>(text.c_str());
}
inline wchar_t* wide(char16_t* text) { return reinterpret_cast<wchar_t*>(text); }
inline const wchar_t* wide(const char16_t* text) { return reinterpret_cast<const wchar_t*>(text); }

}  // namespace tessaron
