#include "settings/setting_lookup.h"

#include <algorithm>
#include <string>
#include <utility>

#include "support/ascii.h"
#include "support/spelling.h"
#include "support/text.h"

namespace tessaron {
namespace {

constexpr std::size_t kMaxWord = 256;  // bytes; no name is near a longer one

bool isPart(std::string_view part, std::string_view name) {
  constexpr std::size_t kMinPart = 3;
  const auto isSame = [](char a, char b) { return lowerLetter(a) == lowerLetter(b); };
  return part.size() >= kMinPart &&
         std::search(name.begin(), name.end(), part.begin(), part.end(), isSame) != name.end();
}

}  // namespace

const Setting* findSetting(std::u16string_view name) {
  const std::string wanted = toUtf8(name);
  for (const Setting& setting : settingTable())
    if (equalIgnoringCase(wanted, toUtf8(setting.name))) return &setting;
  return nullptr;
}

const Setting* nearestSetting(std::u16string_view name) {
  const std::string wanted = toUtf8(name);
  if (wanted.size() > kMaxWord) return nullptr;
  const Setting* nearest = nullptr;
  std::size_t least = 0;
  for (const Setting& setting : settingTable()) {
    const std::string candidate = toUtf8(setting.name);
    const std::size_t distance = editDistance(wanted, candidate);
    const bool isNear = distance <= wanted.size() / 3 || isPart(wanted, candidate);
    if (!isNear || (nearest && distance >= least)) continue;
    nearest = &setting;
    least = distance;
  }
  return nearest;
}

void resetSettings(Config& config) {
  for (const Setting& setting : settingTable()) resetSetting(setting, config);
}

std::int32_t readSettings(CRegKeyEx& key, Config& config) {
  resetSettings(config);
  const RegistryBatch batch(key, RegistryBatch::Mode::Read);
  std::int32_t code = batch.code();
  for (const Setting& setting : settingTable()) {
    if (code != ERROR_SUCCESS) break;
    code = readSetting(setting, key, config);
  }
  return code;
}

std::int32_t openSettingsKey(CRegKeyEx& key, const char16_t* name, SettingsAccess access) {
  const std::uint32_t rights = access == SettingsAccess::Read ? KEY_READ : KEY_READ | KEY_WRITE;
  std::int32_t code = access == SettingsAccess::Create ? key.Create(HKEY_CURRENT_USER, name)
                                                       : key.Open(HKEY_CURRENT_USER, name, rights);
  if (access == SettingsAccess::Change && code == ERROR_BADDB)
    code = key.Create(HKEY_CURRENT_USER, name);
  const bool isMissing = access != SettingsAccess::Create && code == ERROR_FILE_NOT_FOUND;
  return isMissing ? ERROR_SUCCESS : code;
}

}  // namespace tessaron
