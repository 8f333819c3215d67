#include "settings/setting_table.h"

#include <iterator>

#include "support/overloaded.h"

namespace tessaron {
namespace {

constexpr std::size_t kSettings = 37;

using Flag = SettingOf<bool>;
using Number = NumberSetting;
using Text = TextSetting;
using Flags = FlagsSetting;
using Strings = StringsSetting;
using Rect = SettingOf<CRect>;

constexpr Setting kTable[] = {
    {u"LoadLastCollectionOnStart", Flag{&Config::LoadLastCollectionOnStart, true}},
    {u"LastCollectionFileName", Text{&Config::LastCollectionFileName, u""}},
    {u"AutoSaveCollection", Flag{&Config::AutoSaveCollection, false}},
    {u"AutoSaveCollectionInterval", Number{&Config::AutoSaveCollectionInterval, 5, 1}},
    {u"ImageSizePixels", Number{&Config::ImageSizePixels, 85000, 1}},
    {u"WebcamDevice", Number{&Config::WebcamDevice, 0}},
    {u"WebcamStrictMode", Flag{&Config::WebcamStrictMode, true}},
    {u"InterfaceMode", Number{&Config::InterfaceMode, 1}},
    {u"RememberWindowPositionSize", Flag{&Config::RememberWindowPositionSize, true}},
    {u"EnableSplashScreen", Flag{&Config::EnableSplashScreen, true}},
    {u"CollationOption", Number{&Config::CollationOption, 0, 0, 3}},
    {u"HideNonRelevantPages", Flag{&Config::HideNonRelevantPages, true}},
    {u"LVShowFields", Flags{&Config::LVShowFields, 4}},
    {u"ItemListingStyle", Number{&Config::ItemListingStyle, 0}},
    {u"HighlightDueItems", Flag{&Config::HighlightDueItems, true}},
    {u"AmazonECSSite", Number{&Config::AmazonECSSite, 0}},
    {u"UpdatePriceTrackerOnStart", Flag{&Config::UpdatePriceTrackerOnStart, true}},
    {u"FetchLowPriceOffer", Flag{&Config::FetchLowPriceOffer, true}},
    {u"AccountEmail", Text{&Config::AccountEmail, u""}},
    {u"CustomIcons", Strings{&Config::CustomIcons}},
    {u"UseCaseInsensitiveSorting", Flag{&Config::UseCaseInsensitiveSorting, false}},
    {u"ShowHide", Flags{&Config::ShowHide, 22}},
    {u"CategoryPanePosition", Number{&Config::CategoryPanePosition, 20}},
    {u"ListPanePosition", Number{&Config::ListPanePosition, 50}},
    {u"TabPanePosition", Number{&Config::TabPanePosition, 70}},
    {u"WindowRect", Rect{&Config::WindowRect, {-1, -1, 749, 549}}},
    {u"WindowCmdShow", Number{&Config::WindowCmdShow, 10, 0, 11}},
    {u"SwapCategoryPane", Flag{&Config::SwapCategoryPane, false}},
    {u"SwapListPane", Flag{&Config::SwapListPane, false}},
    {u"ViewType", Number{&Config::ViewType, 2}},
    {u"SortType", Number{&Config::SortType, 0}},
    {u"ThemeFile", Text{&Config::ThemeFile, u"DefaultTheme.tpk"}},
    {u"ThemeScheme", Number{&Config::ThemeScheme, 0}},
    // QUIRK: these two are not set before they are read. It looks as if they had been forgotten.
    // Kept: what the program has found since its start outlives a second initialization.
    {u"WeekLastChecked", Number{&Config::WeekLastChecked, 0}, false},
    {u"NewVersion", Flag{&Config::NewVersion, false}, false},
    {u"ViewToolbar", Flag{&Config::ViewToolbar, true}},
    {u"ViewStatusBar", Flag{&Config::ViewStatusBar, true}},
};
static_assert(std::size(kTable) == kSettings);

constexpr const char16_t* kGeneralLists[] = {
    u"MediaTypes", u"Publishers",    u"SearchKeywords", u"Groups",       u"Studios",      u"Rating",
    u"Label",      u"PictureFormat", u"AspectRatio",    u"StatusTarget", u"ESRBAgeRating"};

// Stricter than the key's own reads: a number that is not 4 bytes long counts as none.
std::int32_t readNumber(const CRegKeyEx& key, const char16_t* name, std::uint32_t& number) {
  std::uint32_t read = 0, type = 0, bytes = sizeof read;
  const std::int32_t code = key.QueryValue(name, &type, &read, &bytes);
  if (code != ERROR_SUCCESS) return code;
  if (type != REG_DWORD || bytes != sizeof read) return ERROR_INVALID_DATA;
  number = read;
  return code;
}

// The code of a read, unless it only tells that there is no such value.
std::int32_t failureOf(std::int32_t code) {
  const bool isAbsent = code == ERROR_FILE_NOT_FOUND || code == ERROR_INVALID_DATA ||
                        code == ERROR_MORE_DATA || code == ERROR_INVALID_HANDLE;
  return isAbsent ? ERROR_SUCCESS : code;
}

}  // namespace

std::span<const Setting> settingTable() { return kTable; }

void resetSetting(const Setting& setting, Config& config) {
  std::visit(Overloaded{
                 [&](const Flags& it) { (config.*it.member).assign(it.defaultValue, true); },
                 [&](const Strings& it) { (config.*it.member).clear(); },
                 [&](const auto& it) { config.*it.member = it.defaultValue; },
             },
             setting.place);
}

std::int32_t readSetting(const Setting& setting, CRegKeyEx& key, Config& config) {
  const char16_t* const name = setting.name;
  std::uint32_t number = 0;
  const auto read = Overloaded{
      [&](const Flag& it) {
        const std::int32_t code = readNumber(key, name, number);
        if (code == ERROR_SUCCESS) config.*it.member = number != 0;
        return code;
      },
      [&](const Number& it) {
        const std::int32_t code = readNumber(key, name, number);
        if (code == ERROR_SUCCESS) config.*it.member = static_cast<int>(number);
        return code;
      },
      [&](const Text& it) { return key.QueryStringValueEx(name, config.*it.member); },
      [&](const Flags& it) { return key.QueryVectorBoolValueEx(name, config.*it.member); },
      [&](const Strings& it) { return key.QueryVectorStringValueEx(name, config.*it.member); },
      [&](const Rect& it) { return key.QueryWTLCRectValueEx(name, config.*it.member); },
  };
  return failureOf(std::visit(read, setting.place));
}

std::int32_t writeSetting(const Setting& setting, CRegKeyEx& key, Config& config) {
  const char16_t* const name = setting.name;
  const auto write = Overloaded{
      [&](const Flag& it) { return key.SetBoolValueEx(name, config.*it.member); },
      [&](const Number& it) { return key.SetIntValueEx(name, config.*it.member); },
      [&](const Text& it) { return key.SetStringValueEx(name, config.*it.member); },
      [&](const Flags& it) { return key.SetVectorBoolValueEx(name, config.*it.member); },
      [&](const Strings& it) { return key.SetVectorStringValueEx(name, config.*it.member); },
      [&](const Rect& it) { return key.SetWTLCRectValueEx(name, config.*it.member); },
  };
  return std::visit(write, setting.place);
}

std::int32_t readStringLists(CRegKeyEx& general, CRegKeyEx& custom, Config& config) {
  for (const char16_t* name : kGeneralLists) {
    const std::int32_t code =
        failureOf(general.QueryMapStringValueEx(config.generalStringLists, name));
    if (code != ERROR_SUCCESS) return code;
  }
  return failureOf(custom.QueryMapStringValueEx(config.customStringLists));
}

}  // namespace tessaron
