#include "platform/registry.h"

#include <cstring>
#include <vector>

#include "platform/win32/wide.h"

using tessaron::wide;

namespace {

// The system adds a terminator to a text whose last unit is not zero when memory happens to hold
// one behind it. This hands it a copy that is followed by something else.
std::vector<std::byte> fenced(const void* data, std::uint32_t bytes) {
  std::vector<std::byte> copy(bytes + 2 * sizeof(wchar_t), std::byte{0xFF});
  if (bytes > 0) std::memcpy(copy.data(), data, bytes);
  return copy;
}

bool isText(std::uint32_t type) {
  return type == REG_SZ || type == REG_EXPAND_SZ || type == REG_MULTI_SZ;
}

}  // namespace

std::int32_t CRegKey::Open(HKEY parent, const char16_t* name, std::uint32_t access) {
  HKEY opened = nullptr;
  const LSTATUS code = RegOpenKeyExW(parent, wide(name), 0, access, &opened);
  if (code != ERROR_SUCCESS) return code;
  Close();
  m_hKey = opened;
  return ERROR_SUCCESS;
}

std::int32_t CRegKey::Create(HKEY parent, const char16_t* name, std::uint32_t access) {
  HKEY opened = nullptr;
  const LSTATUS code = RegCreateKeyExW(parent, wide(name), 0, nullptr, REG_OPTION_NON_VOLATILE,
                                       access, nullptr, &opened, nullptr);
  if (code != ERROR_SUCCESS) return code;
  Close();
  m_hKey = opened;
  return ERROR_SUCCESS;
}

std::int32_t CRegKey::Close() {
  const HKEY key = m_hKey;
  m_hKey = nullptr;
  return key ? RegCloseKey(key) : ERROR_SUCCESS;
}

std::int32_t CRegKey::DeleteSubKey(const char16_t* name) {
  return RegDeleteKeyW(m_hKey, wide(name));
}

std::int32_t CRegKey::QueryValue(const char16_t* name, std::uint32_t* type, void* data,
                                 std::uint32_t* bytes) const {
  DWORD valueType = 0, size = bytes ? *bytes : 0;
  const LSTATUS code = RegQueryValueExW(m_hKey, wide(name), nullptr, &valueType,
                                        static_cast<BYTE*>(data), bytes || data ? &size : nullptr);
  if (code != ERROR_SUCCESS && code != ERROR_MORE_DATA) return code;
  if (type) *type = valueType;
  if (bytes) *bytes = size;
  return code;
}

std::int32_t CRegKey::SetValue(const char16_t* name, std::uint32_t type, const void* data,
                               std::uint32_t bytes) {
  if (!isText(type)) {
    return RegSetValueExW(m_hKey, wide(name), 0, type, static_cast<const BYTE*>(data), bytes);
  }
  const std::vector<std::byte> copy = fenced(data, bytes);
  return RegSetValueExW(m_hKey, wide(name), 0, type, reinterpret_cast<const BYTE*>(copy.data()),
                        bytes);
}

std::int32_t CRegKey::DeleteValue(const char16_t* name) {
  return RegDeleteValueW(m_hKey, wide(name));
}

std::int32_t CRegKey::CountValues(std::uint32_t& count) const {
  DWORD values = 0;
  const LSTATUS code = RegQueryInfoKeyW(m_hKey, nullptr, nullptr, nullptr, nullptr, nullptr,
                                        nullptr, &values, nullptr, nullptr, nullptr, nullptr);
  if (code == ERROR_SUCCESS) count = values;
  return code;
}

std::int32_t CRegKey::EnumValue(std::uint32_t index, char16_t* name, std::uint32_t* units) const {
  DWORD size = *units;
  const LSTATUS code =
      RegEnumValueW(m_hKey, index, wide(name), &size, nullptr, nullptr, nullptr, nullptr);
  if (code == ERROR_SUCCESS) *units = size;
  return code;
}

namespace tessaron {

RegistryDeadline::RegistryDeadline() = default;
RegistryDeadline::~RegistryDeadline() = default;

RegistryBatch::RegistryBatch(const CRegKey&, Mode) {}
RegistryBatch::~RegistryBatch() = default;
std::int32_t RegistryBatch::end() { return code_; }

std::u16string storeName() { return u"HKEY_CURRENT_USER"; }
std::u16string takeQuarantinedStore() { return {}; }

}  // namespace tessaron
