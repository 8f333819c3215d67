#pragma once

#include <cstddef>
#include <span>
#include <string>
#include <variant>
#include <vector>

#include "settings/config.h"
#include "tessaron_export.h"

namespace tessaron {

inline constexpr const char16_t* kOptionsKey = u"Software\\Tessaron\\Options";
inline constexpr const char16_t* kGeneralListsKey = u"Software\\Tessaron\\General String List";
inline constexpr const char16_t* kCustomListsKey = u"Software\\Tessaron\\Custom String List";
inline constexpr const char16_t* kDataKey = u"Software\\Tessaron\\Data";

/// Where a setting of one type stands, and its default.
template <typename Member, typename Default = Member>
struct SettingOf {
  Member Config::*member;
  Default standard;
};
using FlagsSetting = SettingOf<std::vector<bool>, std::size_t>;  ///< how many flags, all true
struct StringsSetting {                                          ///< empty
  std::vector<std::u16string> Config::*member;
};
using TextSetting = SettingOf<std::u16string, const char16_t*>;

struct Setting {
  const char16_t* name;  ///< of the value
  std::variant<SettingOf<bool>, SettingOf<int>, TextSetting, FlagsSetting, StringsSetting,
               SettingOf<CRect>>
      place;
  bool isReset = true;  ///< gets its default before it is read
};

/// All settings in the order in which they are read.
TESSARON_API std::span<const Setting> settingTable();

/// Gives a setting its default.
TESSARON_API void resetSetting(const Setting& setting, Config& config);

/// Takes a setting over from the key. It stays as it was when there is no such value, or none of
/// its type and size.
TESSARON_API void readSetting(const Setting& setting, CRegKeyEx& key, Config& config);

/// Writes a setting. The system's error code.
TESSARON_API std::int32_t writeSetting(const Setting& setting, CRegKeyEx& key, Config& config);

/// Adds the stored general lists, and all custom ones there are.
TESSARON_API void readStringLists(CRegKeyEx& general, CRegKeyEx& custom, Config& config);

}  // namespace tessaron
