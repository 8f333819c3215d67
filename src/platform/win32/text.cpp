#include "platform/text.h"

#include "platform/win32/wide.h"

#include <shlwapi.h>

namespace tessaron {

std::u16string fromCodePage(std::string_view bytes) {
  if (bytes.empty()) return {};
  const int size = static_cast<int>(bytes.size());
  std::u16string text(
      static_cast<std::size_t>(MultiByteToWideChar(CP_ACP, 0, bytes.data(), size, nullptr, 0)), 0);
  MultiByteToWideChar(CP_ACP, 0, bytes.data(), size, wide(text.data()),
                      static_cast<int>(text.size()));
  return text;
}

std::string toCodePage(std::u16string_view text) {
  if (text.empty()) return {};
  const int size = static_cast<int>(text.size());
  const int length =
      WideCharToMultiByte(CP_ACP, 0, wide(text.data()), size, nullptr, 0, nullptr, nullptr);
  std::string bytes(static_cast<std::size_t>(length), '\0');
  WideCharToMultiByte(CP_ACP, 0, wide(text.data()), size, bytes.data(), length, nullptr, nullptr);
  return bytes;
}

bool equalIgnoringCase(std::u16string_view left, std::u16string_view right) {
  return CompareStringOrdinal(wide(left.data()), static_cast<int>(left.size()), wide(right.data()),
                              static_cast<int>(right.size()), TRUE) == CSTR_EQUAL;
}

char16_t systemUpperCase(char16_t unit) {
  CharUpperBuffW(wide(&unit), 1);
  return unit;
}

char16_t systemLowerCase(char16_t unit) {
  CharLowerBuffW(wide(&unit), 1);
  return unit;
}

int compareLogically(const char16_t* left, const char16_t* right) {
  return StrCmpLogicalW(wide(left ? left : u""), wide(right ? right : u""));
}

std::u16string shortDate(const SYSTEMTIME& date) {
  const int length =
      GetDateFormatW(LOCALE_USER_DEFAULT, DATE_SHORTDATE, &date, nullptr, nullptr, 0);
  if (length <= 0) return {};
  std::u16string text(static_cast<std::size_t>(length), 0);
  GetDateFormatW(LOCALE_USER_DEFAULT, DATE_SHORTDATE, &date, nullptr, wide(text.data()), length);
  text.pop_back();  // its NUL
  return text;
}

}  // namespace tessaron
