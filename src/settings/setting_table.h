#pragma once

#include <cstddef>
#include <limits>
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

/// The member of a setting and its default.
template <typename Member, typename Default = Member>
struct SettingOf {
  Member Config::*member;
  Default defaultValue;
};
using FlagsSetting = SettingOf<std::vector<bool>, std::size_t>;  ///< how many flags, all true
struct StringsSetting {                                          ///< empty
  std::vector<std::u16string> Config::*member;
};
using TextSetting = SettingOf<std::u16string, const char16_t*>;
struct NumberSetting {
  int Config::*member;
  int defaultValue;
  /// What a user may choose. What is stored is read whatever it is: later versions may know more.
  int min = 0;
  int max = std::numeric_limits<int>::max();
};

struct Setting {
  const char16_t* name;  ///< of the value
  std::variant<SettingOf<bool>, NumberSetting, TextSetting, FlagsSetting, StringsSetting,
               SettingOf<CRect>>
      place;
  bool isReset = true;  ///< gets its default before it is read
};

/// All settings in the order in which they are read.
TESSARON_API std::span<const Setting> settingTable();

/// Gives a setting its default.
TESSARON_API void resetSetting(const Setting& setting, Config& config);

/// Reads a setting from the key. It stays as it was when the key is closed, when there is no such
/// value or none of its type and size, and on a failure, whose code is returned.
TESSARON_API std::int32_t readSetting(const Setting& setting, CRegKeyEx& key, Config& config);

/// Writes a setting. The system's error code.
TESSARON_API std::int32_t writeSetting(const Setting& setting, CRegKeyEx& key, Config& config);

/// Adds the stored general lists, and all custom ones there are. An error code as of readSetting.
TESSARON_API std::int32_t readStringLists(CRegKeyEx& general, CRegKeyEx& custom, Config& config);

}  // namespace tessaron
