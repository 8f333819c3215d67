#include "settings/config.h"

#include <gmock/gmock.h>

#include <filesystem>
#include <fstream>
#include <iterator>

#include "graphics/image_list.h"
#include "platform/system.h"
#include "settings/setting_lookup.h"
#include "settings/setting_table.h"
#include "support/overloaded.h"

namespace fs = std::filesystem;
using testing::Contains;
using testing::Each;
using testing::ElementsAre;
using testing::ElementsAreArray;
using testing::SizeIs;

namespace {

class ConfigTest : public testing::Test {
 protected:
  ConfigTest() {
    clear();
    for (const auto& [key, name] : keys()) EXPECT_EQ(key->Create(HKEY_CURRENT_USER, name), 0);
    fs::create_directories(data);
  }
  ~ConfigTest() override {
    clear();
    fs::remove_all(data);
    fs::remove_all(home / "Temp");
  }

  std::vector<std::pair<CRegKeyEx*, const char16_t*>> keys() {
    return {{&options, tessaron::kOptionsKey},
            {&general, tessaron::kGeneralListsKey},
            {&custom, tessaron::kCustomListsKey}};
  }
  // The keys are those that the application uses, too.
  void clear() {
    for (const auto& [key, name] : keys()) {
      key->Close();
      CRegKeyEx root;
      root.Open(HKEY_CURRENT_USER, u"Software");
      root.DeleteSubKey(std::u16string_view(name).substr(9).data());  // behind "Software\"
    }
  }
  static void set(CRegKeyEx& key, const char16_t* name, std::vector<std::u16string> strings) {
    EXPECT_EQ(key.SetVectorStringValueEx(name, strings), 0);
  }

  // Whether all members of the table are the same.
  static void expectSame(const Config& one, const Config& other) {
    for (const tessaron::Setting& setting : tessaron::settingTable()) {
      const auto isSame = [&](const auto& it) { return one.*it.member == other.*it.member; };
      EXPECT_TRUE(std::visit(isSame, setting.place)) << fs::path(setting.name);
    }
  }

  // The flags and numbers, in the order of the table.
  static std::vector<int> numbers(const Config& config) {
    std::vector<int> all;
    const auto add =
        tessaron::Overloaded{[&](bool value) { all.push_back(value); },
                             [&](int value) { all.push_back(value); }, [](const auto&) {}};
    for (const tessaron::Setting& setting : tessaron::settingTable())
      std::visit([&](const auto& it) { add(config.*it.member); }, setting.place);
    return all;
  }

  CRegKeyEx options, general, custom;
  const fs::path home = tessaron::programFolder();
  const fs::path data = home / "Data";
};

}  // namespace

TEST_F(ConfigTest, HasItsDefaultsWhereNothingOfTheRightKindIsStored) {
  const std::uint32_t number = 99, two[2] = {99, 0};
  options.SetValue(u"ImageSizePixels", REG_DWORD, &number, 2);
  options.SetValue(u"ViewType", REG_DWORD, two, 8);
  options.SetValue(u"TabPanePosition", REG_BINARY, &number, 4);
  options.SetValue(u"AutoSaveCollection", REG_SZ, u"y", 4);
  options.SetValue(u"AccountEmail", REG_SZ, u"me", 4);
  options.SetValue(u"LVShowFields", REG_BINARY, "\0\0\0", 3);
  options.SetValue(u"WindowRect", REG_BINARY, two, 8);
  options.SetValue(u"CustomIcons", REG_SZ, u"a.ico\0", 14);

  Config config;
  config.WeekLastChecked = 7;
  config.NewVersion = true;
  config.SortType = 7;
  config.Initialize();
  EXPECT_THAT(numbers(config),
              ElementsAreArray({1, 0, 5,  85000, 0,  1,  1, 1, 1, 0, 1, 0, 1, 0, 1,
                                1, 0, 20, 50,    70, 10, 0, 0, 2, 0, 0, 7, 1, 1, 1}));
  EXPECT_THAT(numbers(Config()), Each(0)) << "before Initialize";
  EXPECT_EQ(config.WindowRect, (CRect{-1, -1, 749, 549}));
  Config defaults;
  for (const tessaron::Setting& setting : tessaron::settingTable()) resetSetting(setting, defaults);
  defaults.WeekLastChecked = 7;
  defaults.NewVersion = true;
  expectSame(config, defaults);
}

TEST_F(ConfigTest, ComesBackAsItWasWritten) {
  Config first;
  first.Initialize();
  int count = 0;
  for (const tessaron::Setting& setting : tessaron::settingTable()) {
    const auto change = tessaron::Overloaded{
        [&](bool& value) { value = !value; },
        [&](int& value) { value = --count; },
        [&](std::u16string& value) { value = std::u16string(setting.name) + u" \u4E16"; },
        [&](std::vector<bool>& value) { value[2] = false; },
        [&](std::vector<std::u16string>& value) {
          value = {u"one.ico", u"two.png"};
        },
        [&](CRect& value) {
          value = {1, 2, 3, 4};
        }};
    std::visit([&](const auto& it) { change(first.*it.member); }, setting.place);
  }
  first.generalStringLists[u"Studios"] = {u"Studio A"};
  first.customStringLists[u"Shelf"] = {u"left", u"right"};
  first.Uninitialize();

  Config second;
  second.Initialize();
  EXPECT_EQ(second.ThemeFile, u"DefaultTheme.tpk") << "there is no package of the stored name";
  EXPECT_EQ(second.ThemeScheme, 0);
  second.ThemeFile = first.ThemeFile;
  second.ThemeScheme = first.ThemeScheme;
  expectSame(first, second);
  EXPECT_EQ(second.generalStringLists, first.generalStringLists);
  EXPECT_EQ(second.customStringLists, first.customStringLists);
}

TEST_F(ConfigTest, AddsStoredListsToTheBuiltInOnes) {
  set(general, u"MediaTypes", {u"Wax Cylinder", u"DVD"});
  set(general, u"Groups", {u"b", u"a"});
  set(general, u"Region", {u"0"});   // none of those that are read
  set(general, u"Unknown", {u"x"});  // neither
  set(custom, u"Shapes", {u"round"});
  Config config;
  config.Initialize();
  StringSetMap& lists = config.generalStringLists;
  EXPECT_THAT(lists[u"MediaTypes"], testing::AllOf(SizeIs(11), Contains(u"Wax Cylinder")));
  EXPECT_THAT(lists[u"Groups"], ElementsAre(u"a", u"b"));
  EXPECT_THAT(lists[u"Region"],
              ElementsAre(u"1", u"2", u"3", u"4", u"5", u"6", u"7", u"8", u"All"));
  EXPECT_THAT(lists[u"ESRBAgeRating"], ElementsAre(u"Adults Only", u"Early Childhood", u"Everyone",
                                                   u"Mature", u"Rating Pending", u"Teen"));
  EXPECT_EQ(lists.count(u"Unknown"), 0u);
  EXPECT_EQ(config.customStringLists, (StringSetMap{{u"Shapes", {u"round"}}}));
}

TEST(Settings, AreFoundByNameAndNearName) {
  const std::pair<const char16_t*, const char16_t*> rows[] = {{u"viewTOOLBAR", u"ViewToolbar"},
                                                              {u"ViewTolbar", u"ViewToolbar"},
                                                              {u"sorttyp", u"SortType"},
                                                              {u"toolbar", u"ViewToolbar"},
                                                              {u"Pane", u"SwapListPane"},
                                                              {u"ab", u""},
                                                              {u"LastChecked", u"WeekLastChecked"},
                                                              {u"quite another", u""}};
  for (const auto& [name, expected] : rows) {
    const tessaron::Setting* setting = tessaron::nearestSetting(name);
    EXPECT_EQ(setting ? setting->name : u"", std::u16string_view(expected)) << fs::path(name);
  }
  EXPECT_EQ(tessaron::findSetting(u"VIEWtoolbar"), tessaron::nearestSetting(u"ViewToolbar"));
  EXPECT_EQ(tessaron::findSetting(u"toolbar"), nullptr);
}

TEST_F(ConfigTest, FindsItsFoldersAndResources) {
  std::ofstream(data / "PriceTracker.xml")
      << "<PriceTracker><Items><Item><ASIN>A1</ASIN></Item></Items></PriceTracker>";
  Config config;
  config.Initialize();
  config.Initialize();  // nothing twice
  ASSERT_EQ(config.priceTracker.records.size(), 1u);
  EXPECT_EQ(config.priceTracker.records[0].ASIN, u"A1");
  EXPECT_EQ(fs::path(config.GetWorkingDirectory()), home);
  EXPECT_TRUE(fs::is_directory(home / "Temp"));
  EXPECT_EQ(fs::path(config.temporaryFolder), home / "Temp");
  EXPECT_EQ(fs::path(config.helpFilePath), home / "Help" / "Tessaron_Help.chm");
  EXPECT_TRUE(config.themeManager->imageCache().isOpen());
  EXPECT_TRUE(fs::exists(data / "ImageCache.db"));
  for (const auto& [list, size, count] : {std::tuple(config.smallImages, 16, 11),
                                          {config.largeImages, 32, 11},
                                          {config.statusImages, 16, 8}}) {
    int width = 0, height = 0;
    EXPECT_TRUE(tessaron::imageListSize(list.get(), width, height));
    EXPECT_EQ(std::pair(width, height), std::pair(size, size));
    EXPECT_EQ(tessaron::imageCount(list.get()), count);
  }
  fs::remove(data / "PriceTracker.xml");
  config.Initialize();
  EXPECT_TRUE(config.priceTracker.records.empty());
}

TEST_F(ConfigTest, LeavesImageListsToTheApplicationsObject) {
  for (const bool alpha : {true, false}) {
    _Config.has32BitDisplay = alpha;
    Config other;
    other.Initialize();
    const auto kind = alpha ? tessaron::Transparency::Alpha : tessaron::Transparency::Magenta;
    const SharedImageList list(tessaron::createImageList(16, 16, kind, 8, 8),
                               tessaron::destroyImageList);
    CImageListEx(list.get()).Reload(102U, {});
    EXPECT_EQ(tessaron::imagePixels(list.get(), 0).argb.at(0), alpha ? 0xFFFF00FF : 0);
  }
}

TEST_F(ConfigTest, NumbersItsTemporaryFileNames) {
  Config config;
  config.Initialize();
  const fs::path made = config.GetTempFileNameW();
  EXPECT_TRUE(fs::exists(made));
  fs::remove(made);
  fs::path name;
  for (int i = 1; i <= 31; ++i) name = config.GetTempFileNameW();
  std::string file = name.filename().string();
  for (char& c : file) c = static_cast<char>(std::toupper(c));
  EXPECT_EQ(file, "TRT1F.TMP");
  EXPECT_EQ(name.parent_path(), made.parent_path());
  EXPECT_EQ(name.parent_path(), fs::path(tessaron::temporaryFolder()).parent_path());
}
