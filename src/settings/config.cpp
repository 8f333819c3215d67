#include "settings/config.h"

#include <initializer_list>
#include <utility>

#include "graphics/image_list.h"
#include "graphics/image_list_internal.h"
#include "platform/directory.h"
#include "platform/system.h"
#include "settings/setting_table.h"
#include "support/string_table.h"

using tessaron::joinPath;
using tessaron::Setting;
using tessaron::systemColor;
using tessaron::SystemColor;
using tessaron::Transparency;

Config _Config;

namespace {

[[maybe_unused]] const bool isFollowed =
    (tessaron::followAlphaFlag(&_Config.has32BitDisplay), true);

// Numbers in the string table: the first and the last of a list's built-in entries.
constexpr std::uint32_t kFirstRegion = 4501, kLastRegion = 4509;
constexpr std::uint32_t kFirstAgeRating = 8101, kLastAgeRating = 8106;

constexpr const char16_t* kMediaTypes[] = {
    u"DVD",       u"Audio CD", u"Video CD",           u"CD-ROM", u"DVD-ROM", u"Hardcover",
    u"Paperback", u"VHS Tape", u"Theatrical Release", u"Other"};

constexpr unsigned kStatusStrip = 102, kSmallCommandStrip = 103, kLargeCommandStrip = 104;
constexpr int kSmallImage = 16, kLargeImage = 32, kImages = 16;  // sizes in pixels; room for images

std::int32_t openOrCreate(CRegKeyEx& key, const char16_t* name) {
  const std::int32_t code = key.Open(HKEY_CURRENT_USER, name);
  if (code == ERROR_SUCCESS || code == ERROR_BUSY) return code;
  return key.Create(HKEY_CURRENT_USER, name);
}

SharedImageList share(HIMAGELIST list) { return {list, tessaron::destroyImageList}; }

}  // namespace

Config::Config() = default;
Config::~Config() = default;
Config::Config(const Config& other) = default;
Config& Config::operator=(const Config& other) = default;

std::int32_t Config::Initialize() {
  systemTemporaryPath = tessaron::temporaryFolder();
  temporaryFileNameNumber = 0;
  has32BitDisplay = tessaron::screenBitsPerPixel() == 32;

  workingDirectory = tessaron::programFolder();
  if (workingDirectory.empty()) workingDirectory = systemTemporaryPath;
  temporaryFolder = joinPath(workingDirectory, u"Temp");
  tessaron::createFolder(temporaryFolder);

  for (const Setting& setting : tessaron::settingTable()) {
    if (setting.isReset) resetSetting(setting, *this);
  }
  ResetGeneralStringList();
  const std::int32_t code = readSettings();

  dataFolder = joinPath(workingDirectory, u"Data");
  loadTheme();
  loadImages();
  priceTracker.clear();
  priceTracker.fromFile(joinPath(dataFolder, u"PriceTracker.xml"));
  helpFilePath = joinPath(joinPath(workingDirectory, u"Help"), u"Tessaron_Help.chm");
  return code;
}

// The first error. When others hold the store for too long, no further key is tried.
std::int32_t Config::openKeys() {
  for (CRegKeyEx* key : {&optionsKey, &generalStringListKey, &customStringListKey, &dataKey})
    key->Close();
  std::int32_t first = ERROR_SUCCESS;
  for (const auto& [key, name] : {std::pair(&optionsKey, tessaron::kOptionsKey),
                                  {&generalStringListKey, tessaron::kGeneralListsKey},
                                  {&customStringListKey, tessaron::kCustomListsKey},
                                  {&dataKey, tessaron::kDataKey}}) {
    const std::int32_t code = openOrCreate(*key, name);
    if (first == ERROR_SUCCESS) first = code;
    if (code == ERROR_BUSY) break;
  }
  return first;
}

std::int32_t Config::readSettings() {
  const tessaron::RegistryDeadline deadline;
  const std::int32_t opened = openKeys();
  const tessaron::RegistryBatch batch(optionsKey, tessaron::RegistryBatch::Mode::Read);
  std::int32_t code = batch.code();
  for (const Setting& setting : tessaron::settingTable()) {
    if (code == ERROR_SUCCESS) code = readSetting(setting, optionsKey, *this);
  }
  if (code == ERROR_SUCCESS)
    code = tessaron::readStringLists(generalStringListKey, customStringListKey, *this);
  if (code == ERROR_SUCCESS) return opened;
  for (CRegKeyEx* key : {&optionsKey, &generalStringListKey, &customStringListKey}) key->Close();
  return code;
}

void Config::loadTheme() {
  themeManager.reset();  // lets go of the image cache, which the new one opens
  themeManager = std::make_shared<CThemeMan>(dataFolder);
  if (themeManager->select(ThemeFile, ThemeScheme)) return;
  ThemeFile = u"DefaultTheme.tpk";
  ThemeScheme = 0;
  themeManager->select(ThemeFile, ThemeScheme);
}

void Config::loadImages() {
  const auto kind = has32BitDisplay ? Transparency::Alpha : Transparency::Magenta;
  const auto create = [&](int size) {
    return share(tessaron::createImageList(size, size, kind, kImages, kImages));
  };
  smallImages = create(kSmallImage);
  largeImages = create(kLargeImage);
  statusImages = share(tessaron::loadImageList(kStatusStrip, kSmallImage));
  CImageListEx(smallImages.get()).Reload(kSmallCommandStrip, CustomIcons);
  CImageListEx(largeImages.get()).Reload(kLargeCommandStrip, CustomIcons);
}

std::int32_t Config::Uninitialize() {
  const tessaron::RegistryDeadline deadline;
  tessaron::RegistryBatch batch(optionsKey);
  if (batch.code() != ERROR_SUCCESS) return batch.code();
  std::int32_t first = ERROR_SUCCESS;
  const auto keep = [&](std::int32_t code) {
    if (first == ERROR_SUCCESS) first = code;
  };
  for (const Setting& setting : tessaron::settingTable())
    keep(writeSetting(setting, optionsKey, *this));
  for (CRegKeyEx* key : {&generalStringListKey, &customStringListKey})
    keep(key->m_hKey ? ERROR_SUCCESS : ERROR_INVALID_HANDLE);
  generalStringListKey.SetMapStringValueEx(generalStringLists);
  customStringListKey.SetMapStringValueEx(customStringLists);
  return first == ERROR_SUCCESS ? batch.end() : first;
}

void Config::ResetGeneralStringList() {
  const auto add = [&](const char16_t* name, std::uint32_t first, std::uint32_t last) {
    for (std::uint32_t number = first; number <= last; ++number) {
      generalStringLists[name].emplace(tessaron::stringAt(number));
    }
  };
  add(u"Region", kFirstRegion, kLastRegion);
  add(u"ESRBAgeRating", kFirstAgeRating, kLastAgeRating);
  generalStringLists[u"MediaTypes"].insert(std::begin(kMediaTypes), std::end(kMediaTypes));
}

std::u16string Config::GetWorkingDirectory() const { return workingDirectory; }

std::u16string Config::GetTempFileNameW() {
  return tessaron::temporaryFileName(systemTemporaryPath, u"TRT", temporaryFileNameNumber++);
}

COLORREF Config::GetColorHighLight() const { return systemColor(SystemColor::Highlight); }
COLORREF Config::GetColorHighLightText() const { return systemColor(SystemColor::HighlightText); }
COLORREF Config::GetColorWindowBackground() const { return systemColor(SystemColor::Window); }
COLORREF Config::GetColorWindowText() const { return systemColor(SystemColor::WindowText); }
COLORREF Config::GetColorBtnHighLight() const { return systemColor(SystemColor::ButtonHighlight); }
COLORREF Config::GetColorBtnFace() const { return systemColor(SystemColor::ButtonFace); }
COLORREF Config::GetColorBtnShadow() const { return systemColor(SystemColor::ButtonShadow); }
COLORREF Config::GetColorMenuText() const { return systemColor(SystemColor::MenuText); }

COLORREF Config::GetColorMenuHighLight() const {
  return systemColor(tessaron::isThemeApplied() ? SystemColor::MenuHighlight
                                                : SystemColor::Highlight);
}

int Config::GetVScrollWidth() const { return tessaron::verticalScrollBarWidth(); }
