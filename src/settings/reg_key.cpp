#include "settings/reg_key.h"

#include <algorithm>
#include <bit>
#include <functional>

namespace {

static_assert(std::endian::native == std::endian::little, "values are stored as they stand");

constexpr std::uint32_t kMaxNameUnits = 16383;  // units of a value's name

std::int32_t queryNumber(const CRegKey& key, const char16_t* name, std::uint32_t& number) {
  std::uint32_t read = 0, type = 0, bytes = sizeof read;
  const std::int32_t code = key.QueryValue(name, &type, &read, &bytes);
  if ((code == ERROR_SUCCESS || code == ERROR_MORE_DATA) && type != REG_DWORD) {
    return ERROR_INVALID_DATA;
  }
  if (code == ERROR_SUCCESS) number = read;
  return code;
}

std::int32_t setNumber(CRegKey& key, const char16_t* name, std::uint32_t number) {
  return key.SetValue(name, REG_DWORD, &number, sizeof number);
}

// Reads a REG_BINARY of exactly `size` bytes to `data`. `isRead` tells whether that is what there
// was.
std::int32_t queryBinary(const CRegKey& key, const char16_t* name, void* data, std::size_t size,
                         bool& isRead) {
  std::uint32_t type = 0, bytes = 0;
  isRead = false;
  std::int32_t code = key.QueryValue(name, &type, nullptr, &bytes);
  if (code != ERROR_SUCCESS) return code;
  if (type != REG_BINARY) return ERROR_INVALID_DATA;
  if (bytes != size) return ERROR_SUCCESS;
  code = key.QueryValue(name, &type, data, &bytes);
  isRead = code == ERROR_SUCCESS;
  return code;
}

}  // namespace

CRegKeyEx::CRegKeyEx() = default;
CRegKeyEx::CRegKeyEx(const CRegKeyEx&) = default;
CRegKeyEx& CRegKeyEx::operator=(const CRegKeyEx&) = default;
CRegKeyEx::~CRegKeyEx() = default;

std::int32_t CRegKeyEx::QueryBoolValueEx(const char16_t* name, bool& value) {
  std::uint32_t number = 0;
  const std::int32_t code = queryNumber(*this, name, number);
  if (code == ERROR_SUCCESS) value = number != 0;
  return code;
}

std::int32_t CRegKeyEx::SetBoolValueEx(const char16_t* name, bool& value) {
  return setNumber(*this, name, value ? 1 : 0);
}

std::int32_t CRegKeyEx::QueryIntValueEx(const char16_t* name, int& value) {
  std::uint32_t number = 0;
  const std::int32_t code = queryNumber(*this, name, number);
  if (code == ERROR_SUCCESS) value = static_cast<int>(number);
  return code;
}

std::int32_t CRegKeyEx::SetIntValueEx(const char16_t* name, int& value) {
  return setNumber(*this, name, static_cast<std::uint32_t>(value));
}

std::int32_t CRegKeyEx::QueryDWORDValueEx(const char16_t* name, unsigned long& value) {
  std::uint32_t number = 0;
  const std::int32_t code = queryNumber(*this, name, number);
  if (code == ERROR_SUCCESS) value = number;
  return code;
}

std::int32_t CRegKeyEx::SetDWORDValueEx(const char16_t* name, unsigned long& value) {
  return setNumber(*this, name, static_cast<std::uint32_t>(value));
}

std::int32_t CRegKeyEx::QueryStringValueEx(const char16_t* name, std::u16string& value) {
  std::uint32_t units = 0;
  std::int32_t code = QueryStringValue(name, nullptr, &units);
  if (code != ERROR_SUCCESS) return code;
  std::u16string text(units, u'\0');
  code = QueryStringValue(name, text.data(), &units);
  if (code == ERROR_SUCCESS) value.assign(text, 0, text.find(u'\0'));
  return code;
}

std::int32_t CRegKeyEx::SetStringValueEx(const char16_t* name, std::u16string& value) {
  const std::size_t units = std::char_traits<char16_t>::length(value.c_str()) + 1;
  return SetValue(name, REG_SZ, value.c_str(),
                  static_cast<std::uint32_t>(units * sizeof(char16_t)));
}

std::int32_t CRegKeyEx::QueryVectorBoolValueEx(const char16_t* name, std::vector<bool>& value) {
  std::vector<std::uint8_t> bytes(value.size() + 1);  // never without an address
  bool isRead = false;
  const std::int32_t code = queryBinary(*this, name, bytes.data(), value.size(), isRead);
  if (isRead) std::transform(bytes.begin(), bytes.end() - 1, value.begin(), std::identity());
  return code;
}

std::int32_t CRegKeyEx::SetVectorBoolValueEx(const char16_t* name, std::vector<bool>& value) {
  const std::vector<std::uint8_t> bytes(value.begin(), value.end());
  return SetValue(name, REG_BINARY, bytes.data(), static_cast<std::uint32_t>(bytes.size()));
}

std::int32_t CRegKeyEx::QueryVectorStringValueEx(const char16_t* name,
                                                 std::vector<std::u16string>& value) {
  std::uint32_t units = 0;
  std::int32_t code = QueryMultiStringValue(name, nullptr, &units);
  if (code != ERROR_SUCCESS) return code;
  if (units < 2) return ERROR_INVALID_DATA;
  std::u16string text(units, u'\0');
  code = QueryMultiStringValue(name, text.data(), &units);
  if (code != ERROR_SUCCESS) return code;
  if (units < 2) return ERROR_INVALID_DATA;
  for (std::size_t at = 0, end; at < units; at = end + 1) {
    end = text.find(u'\0', at);
    if (end > at) value.push_back(text.substr(at, end - at));
  }
  return code;
}

std::int32_t CRegKeyEx::SetVectorStringValueEx(const char16_t* name,
                                               std::vector<std::u16string>& value) {
  std::u16string text;
  for (const std::u16string& string : value) {
    if (!string.empty()) text.append(string).push_back(u'\0');
  }
  text.append(2, u'\0');
  // QUIRK: a list without texts is not written. It looks as if it could never be emptied, and so it
  // is. Kept: what older versions have stored is not lost by a list that was never filled.
  if (text.size() <= 2) return ERROR_SUCCESS;
  std::size_t units = 0;
  while (text[units] != u'\0') units = text.find(u'\0', units) + 1;
  return SetValue(name, REG_MULTI_SZ, text.data(),
                  static_cast<std::uint32_t>((units + 1) * sizeof(char16_t)));
}

std::int32_t CRegKeyEx::QueryMapStringValueEx(StringSetMap& value, std::u16string name) {
  std::vector<std::u16string> strings;
  const std::int32_t code = QueryVectorStringValueEx(name.c_str(), strings);
  if (code == ERROR_SUCCESS) value[name].insert(strings.begin(), strings.end());
  return code;
}

std::int32_t CRegKeyEx::QueryMapStringValueEx(StringSetMap& value) {
  std::uint32_t count = 0;
  std::int32_t code = CountValues(count);
  std::u16string name(kMaxNameUnits, u'\0');
  for (std::uint32_t i = 0; i < count; ++i) {
    std::uint32_t units = kMaxNameUnits;
    code = EnumValue(i, name.data(), &units);
    if (code == ERROR_SUCCESS) QueryMapStringValueEx(value, name.substr(0, units));
  }
  return code;
}

std::int32_t CRegKeyEx::SetMapStringValueEx(StringSetMap& value) {
  for (const auto& [name, strings] : value) {
    std::vector<std::u16string> list(strings.begin(), strings.end());
    SetVectorStringValueEx(name.c_str(), list);
  }
  return ERROR_SUCCESS;
}

std::int32_t CRegKeyEx::QueryWTLCRectValueEx(const char16_t* name, CRect& value) {
  CRect rect;
  bool isRead = false;
  const std::int32_t code = queryBinary(*this, name, &rect, sizeof rect, isRead);
  if (isRead) value = rect;
  return code;
}

std::int32_t CRegKeyEx::SetWTLCRectValueEx(const char16_t* name, CRect& value) {
  return SetValue(name, REG_BINARY, &value, sizeof value);
}

std::int32_t CRegKeyEx::RemoveAllValues() {
  std::uint32_t count = 0;
  std::int32_t code = CountValues(count);
  std::u16string name(kMaxNameUnits, u'\0');
  for (std::uint32_t i = 0; i < count; ++i) {
    std::uint32_t units = kMaxNameUnits;
    // QUIRK: every second value stays, because deleting one moves the later ones down while the
    // index goes on. It looks like an error. Kept: applications rely on what it leaves.
    code = EnumValue(i, name.data(), &units);
    if (code == ERROR_SUCCESS) DeleteValue(name.c_str());
  }
  return code;
}
