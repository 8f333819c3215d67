#pragma once

#include <cstdint>
#include <string_view>

#include "settings/setting_table.h"
#include "tessaron_export.h"

namespace tessaron {

/// Setting with this name, whatever the case of its ASCII letters; null for none.
TESSARON_API const Setting* findSetting(std::u16string_view name);

/// Setting whose name was most likely meant: at most one letter in three differs, or `name` is a
/// part of it with at least three letters. Null when no name is near.
TESSARON_API const Setting* nearestSetting(std::u16string_view name);

/// Gives all settings their default values.
TESSARON_API void resetSettings(Config& config);

/// Reads all settings as they are stored at one moment; those that are not get their default
/// values. An error code as of `readSetting`; `config` then holds what was read before.
TESSARON_API std::int32_t readSettings(CRegKeyEx& key, Config& config);

enum class SettingsAccess {
  Read,    ///< a missing store or key is fine: the default values hold
  Change,  ///< likewise; a damaged store is quarantined
  Create,  ///< as Change; what is missing is created
};

/// Opens the key `name` of the settings; a missing one stays closed unless it is to be created. The
/// system's error code.
TESSARON_API std::int32_t openSettingsKey(CRegKeyEx& key, const char16_t* name,
                                          SettingsAccess access);

}  // namespace tessaron
