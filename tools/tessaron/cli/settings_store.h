#pragma once
// Access of the verbs to the settings; errors of the store become failures.

#include <cstdint>
#include <string_view>

#include "settings/setting_lookup.h"

namespace tessaron::tool {

/// As `openSettingsKey`. Fails with a code for the file: kBadData when it is damaged or foreign,
/// kNoInput, kCannotCreate or kCannotWrite when it cannot be used.
void openSettings(CRegKeyEx& key, const char16_t* name, SettingsAccess access);

/// Fails in the same way unless the system's error code is 0.
void requireSettings(std::int32_t code, SettingsAccess access);

/// Gives `config` all settings as they are stored, or their default values. Fails in the same way.
void loadSettings(Config& config);

/// The same for the setting with this name alone.
void loadSetting(std::u16string_view name, Config& config);

}  // namespace tessaron::tool
