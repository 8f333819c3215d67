#include "platform/registry.h"

#include <algorithm>
#include <initializer_list>
#include <utility>

namespace {

// Reads a value of one of `types` that is empty or ends with `zeros` zero units.
std::int32_t queryText(const CRegKey& key, const char16_t* name, char16_t* text,
                       std::uint32_t* units, std::initializer_list<std::uint32_t> types,
                       std::uint32_t zeros) {
  constexpr std::uint32_t kUnit = sizeof(char16_t);
  std::uint32_t type = 0, bytes = text ? *units * kUnit : 0;
  const std::int32_t code = key.QueryValue(name, &type, text, &bytes);
  if (code != ERROR_SUCCESS && code != ERROR_MORE_DATA) return code;
  if (std::find(types.begin(), types.end(), type) == types.end()) return ERROR_INVALID_DATA;
  *units = bytes / kUnit + bytes % kUnit;
  if (code != ERROR_SUCCESS || !text || bytes == 0) return code;
  const bool isWhole = bytes % kUnit == 0 && *units >= zeros &&
                       std::all_of(text + *units - zeros, text + *units,
                                   [](char16_t unit) { return unit == u'\0'; });
  return isWhole ? ERROR_SUCCESS : ERROR_INVALID_DATA;
}

}  // namespace

CRegKey::CRegKey() = default;

CRegKey::~CRegKey() { Close(); }

CRegKey::CRegKey(const CRegKey& other) noexcept : m_hKey(std::exchange(other.m_hKey, nullptr)) {}

CRegKey& CRegKey::operator=(const CRegKey& other) noexcept {
  if (this == &other) return *this;
  Close();
  m_hKey = std::exchange(other.m_hKey, nullptr);
  return *this;
}

std::int32_t CRegKey::QueryStringValue(const char16_t* name, char16_t* text,
                                       std::uint32_t* units) const {
  return queryText(*this, name, text, units, {REG_SZ, REG_EXPAND_SZ}, 1);
}

std::int32_t CRegKey::QueryMultiStringValue(const char16_t* name, char16_t* text,
                                            std::uint32_t* units) const {
  if (text && *units < 2) return ERROR_INSUFFICIENT_BUFFER;
  return queryText(*this, name, text, units, {REG_MULTI_SZ}, 2);
}
