#include "cli/settings_store.h"

#include <fmt/format.h>

#include "cli/failures.h"
#include "support/text.h"

namespace tessaron::tool {
namespace {

Failure storeFailure(std::int32_t code, SettingsAccess access) {
  const bool reading = access == SettingsAccess::Read;
  const std::string file = toUtf8(storeName());
  switch (code) {
    case ERROR_BUSY:
      return {reading ? kNoInput : kCannotWrite, file,
              "other programs are using the settings for too long"};
    case ERROR_ACCESS_DENIED:
      return {reading ? kNoInput : kCannotCreate, file, "permission denied"};
    case ERROR_DISK_FULL:
      return {kCannotWrite, file, "no space left on the disk"};
    case ERROR_CANTOPEN:
      return {reading ? kNoInput : kCannotCreate, file, "the file cannot be opened or made"};
    case ERROR_BADDB:
      return {kBadData, file,
              "the settings are damaged; \"settings reset\" sets the file aside and starts anew"};
    case ERROR_NOT_REGISTRY_FILE:
      return {kBadData, file, "the file is something else than settings"};
    case ERROR_REVISION_MISMATCH:
      return {kBadData, file, "the settings were written by a newer version of this program"};
    case ERROR_REGISTRY_IO_FAILED:
      return {reading ? kNoInput : kCannotWrite, file, "reading or writing the file failed"};
    default:
      return {kFailed, file, fmt::format("error {}", code)};
  }
}

}  // namespace

void openSettings(CRegKeyEx& key, const char16_t* name, SettingsAccess access) {
  requireSettings(openSettingsKey(key, name, access), access);
}

void requireSettings(std::int32_t code, SettingsAccess access) {
  if (code != ERROR_SUCCESS) throw storeFailure(code, access);
}

void loadSettings(Config& config) {
  const RegistryDeadline deadline;
  CRegKeyEx key;
  openSettings(key, kOptionsKey, SettingsAccess::Read);
  requireSettings(readSettings(key, config), SettingsAccess::Read);
}

void loadSetting(std::u16string_view name, Config& config) {
  const RegistryDeadline deadline;
  CRegKeyEx key;
  openSettings(key, kOptionsKey, SettingsAccess::Read);
  const Setting* setting = findSetting(name);
  if (!setting) return;
  resetSetting(*setting, config);
  requireSettings(readSetting(*setting, key, config), SettingsAccess::Read);
}

}  // namespace tessaron::tool
