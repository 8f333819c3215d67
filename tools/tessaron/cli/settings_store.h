#pragma once
// How the verbs open the settings, and what they say when they cannot.

#include <string_view>

#include "settings/config.h"
#include "settings/reg_key.h"

namespace tessaron::tool {

enum class SettingsAccess {
  Read,    ///< a missing store or key is fine: the defaults hold
  Change,  ///< so it is here; a damaged store is quarantined
  Create,  ///< as Change; what is missing is made
};

/// Opens one of the settings' keys; a missing one stays closed. Fails with a code for the file:
/// kBadData when it is damaged or foreign, kNoInput, kCannotCreate or kCannotWrite when it cannot
/// be used.
void openSettings(CRegKeyEx& key, const char16_t* name, SettingsAccess access);

/// Fails in the same way unless the system's error code is 0.
void requireSettings(std::int32_t code, SettingsAccess access);

/// Gives `config` the stored value of a setting, or its default. Fails in the same way.
void loadSetting(std::u16string_view name, Config& config);

}  // namespace tessaron::tool
