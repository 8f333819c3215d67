#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "support/file_content.h"
#include "support/package_samples.h"
#include "support/text.h"
#include "support/xml/xml.h"
#include "temporary_folder.h"
#include "themes/package_writer.h"
#include "themes/theme_manager.h"

namespace fs = std::filesystem;
using testing::ElementsAre;
using testing::IsEmpty;

namespace {

CThemeScheme schemeOf(const std::string& xml) {
  TiXmlDocument document;
  EXPECT_FALSE(tessaron::parseXml(xml, document)) << xml;
  return CThemeScheme(document.RootElement());
}

}  // namespace

TEST(CThemeScheme, ReadsAllThatAnElementHas) {
  const CThemeScheme scheme = schemeOf(
      "<theme name='\xC3\x84' screenshot='s.png'>"
      "<templates><a mode='fullframe' file='f1'/><b mode='wideframe' file='w'/>"
      "<c mode='fullframe' file='f2'/><d mode='round' file='r'/><e mode='wideframe'/></templates>"
      "<virtualshelf background='b.png' uwidth='1' uheight='-2' uhspace='3' uvspace='4'>"
      "<group name='Book' image='i.png' olx='5' oly='6' olwidth='7' olheight='8'/><anything/>"
      "</virtualshelf></theme>");
  EXPECT_THAT((std::vector{scheme.name, scheme.screenshot, scheme.fullFrameTemplate,
                           scheme.wideFrameTemplate, scheme.background}),
              ElementsAre(u"\u00C4", u"s.png", u"f2", u"w", u"b.png"));
  EXPECT_THAT((std::vector{scheme.uwidth, scheme.uheight, scheme.uhspace, scheme.uvspace}),
              ElementsAre(1, -2, 3, 4));
  ASSERT_EQ(scheme.groups.size(), 2u);
  const SchemeGroup& group = scheme.groups[0];
  EXPECT_EQ(group.name + u' ' + group.image, u"Book i.png");
  EXPECT_THAT((std::vector{group.olx, group.oly, group.olwidth, group.olheight}),
              ElementsAre(5, 6, 7, 8));
  EXPECT_EQ(scheme.groups[1].image, u"");
  EXPECT_EQ(scheme.groups[1].olwidth, 0);
}

TEST(CThemeScheme, TakesWhatItKnows) {
  const std::pair<const char*, const char*> rows[] = {
      // template, background, width, groups
      {"<templates><t mode='fullframe'/></templates>", "//0/0"},
      {"<templates><t mode='FullFrame' file='f'/></templates>", "//0/0"},
      {"<Templates><t mode='fullframe' file='f'/></Templates>", "//0/0"},
      {"<virtualshelf background='b' uwidth='wide'><g/></virtualshelf>", "/b/0/1"},
      {"<VirtualShelf background='b' uwidth='4'><g/></VirtualShelf>", "//0/0"},
      {"<virtualshelf background='a' uwidth='4'><g/></virtualshelf>"
       "<virtualshelf uheight='1'><g/><h/></virtualshelf>",
       "/a/0/3"},
      {"<virtualshelf background='a'/><virtualshelf background='b' uwidth='5'/>", "/b/5/0"},
  };
  for (const auto& [inner, expected] : rows) {
    const CThemeScheme scheme = schemeOf("<theme>" + std::string(inner) + "</theme>");
    const std::string known =
        tessaron::toUtf8(scheme.fullFrameTemplate + u'/' + scheme.background + u'/') +
        std::to_string(scheme.uwidth) + '/' + std::to_string(scheme.groups.size());
    EXPECT_EQ(known, expected) << inner;
  }
  EXPECT_EQ(CThemeScheme(nullptr).name, u"");
}

TEST(CThemePackage, RebuildsItsSchemes) {
  CThemePackage package;
  package.Inspect(*tessaron::memoryFile(samples::package({})), true);
  ASSERT_EQ(package.schemes.size(), 2u);
  EXPECT_EQ(package.schemes[0]->name, u"Dark");
  const CThemePackage copy(package);
  package.PostInitialize();
  EXPECT_EQ(package.schemes.size(), 2u);
  package.mainDocument->Clear();
  package.PostInitialize();
  EXPECT_THAT(package.schemes, IsEmpty());
  ASSERT_EQ(copy.schemes.size(), 2u);
  EXPECT_EQ(copy.schemes[1]->background, u"back.png");
  package = copy;
  EXPECT_NE(package.schemes.at(1), copy.schemes[1]);
}

TEST(CThemeMan, ListsAndSelectsPackages) {
  const TemporaryFolder folder;
  const fs::path data = folder.path;
  const std::string good = samples::package({{"back.png", "b"}, {"../evil.png", "x"}});
  writeFile(data / "DefaultTheme.tpk", good);
  writeFile(data / "Other.TPK", samples::packageHeader());
  writeFile(data / "foreign.tpk", "no package");
  writeFile(data / "tpk", good);
  fs::create_directory(data / "folder.tpk");

  CThemeMan themes(data.u16string());
  EXPECT_TRUE(themes.imageCache().isOpen());
  EXPECT_TRUE(fs::exists(data / "ImageCache.db"));
  EXPECT_THAT(themes.packages(), ElementsAre(u"DefaultTheme.tpk", u"Other.TPK", u"foreign.tpk"));

  const std::size_t before = folder.entries();
  using Row = std::pair<std::u16string, std::int32_t>;
  const Row refused[] = {{u"missing.tpk", 0},
                         // clang-format off
                         {u"foreign.tpk", 0}, {u"folder.tpk", 0}, {u"Other.TPK", 0}, {u"", 0},
                         {u"DefaultTheme.tpk", 2}, {u"DefaultTheme.tpk", -1},
                         // clang-format on
                         {u"../" + data.filename().u16string() + u"/DefaultTheme.tpk", 0}};
  for (const auto& [file, scheme] : refused) EXPECT_FALSE(themes.select(file, scheme));
  EXPECT_EQ(themes.scheme(), nullptr);
  EXPECT_EQ(themes.picturePath(u"back.png"), u"");
  EXPECT_EQ(folder.entries(), before);

  ASSERT_TRUE(themes.select(u"DefaultTheme.tpk", 1));
  for (const auto& [file, scheme] : refused) EXPECT_FALSE(themes.select(file, scheme));
  EXPECT_EQ(themes.selectedFile(), u"DefaultTheme.tpk");
  ASSERT_NE(themes.scheme(), nullptr);
  EXPECT_EQ(themes.scheme()->name, u"Light");
  EXPECT_EQ(fs::path(themes.picturePath(themes.scheme()->background)),
            data / samples::kIdentifier / "back.png");
  EXPECT_TRUE(fs::is_regular_file(themes.picturePath(u"BACK.png")));
  EXPECT_EQ(themes.picturePath(u"../evil.png"), u"");
  EXPECT_EQ(themes.picturePath(u"none.png"), u"");

  fs::remove_all(data / samples::kIdentifier);
  writeFile(data / samples::kIdentifier, "in the way");
  EXPECT_FALSE(themes.select(u"DefaultTheme.tpk", 0));
  EXPECT_EQ(themes.lastReport().failure, tessaron::PackageReport::Failure::CannotCreate);
  EXPECT_EQ(themes.scheme()->name, u"Light");
}

TEST(CheckTheme, WarnsOfWhatIsNotMeant) {
  const struct {
    const char* description;
    const char* warnings;  // up to a comma
  } rows[] = {
      {"<theme screenshot='A.PNG'><x other='b.png'/></theme>", ""},
      {"",
       "main.xml it describes no theme; a.png nothing in main.xml names this picture; "
       "b.png nothing in main.xml names this picture; "},
      {"<theme screenshot='a.png'/><theme screenshot='s.png'><templates>"
       "<t mode='fullframe' file='nul.png'/><t mode='wideframe' file='b.png'/></templates>"
       "<virtualshelf background=''><g image='g.png'/></virtualshelf></theme>",
       "1 s.png the package lacks this file; 1 nul.png the package lacks this file; "
       "1 g.png the package lacks this file; "},
      {"<theme screenshot='a.png'><virtualshelf background='b.png' uwidth='-1' uheight=' +2' "
       "uhspace='' uvspace='99999999999'><g olx='1O' oly='2.5' olwidth='2147483647'/>"
       "</virtualshelf></theme>",
       "0 uhspace \"\" is no whole number; 0 uvspace \"99999999999\" is no whole number; "
       "0 olx \"1O\" is no whole number; 0 oly \"2.5\" is no whole number; "},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.description);
    const TemporaryFolder folder;
    writeFile(folder.path / "main.xml", "<p>" + std::string(row.description) + "</p>");
    for (const char* file : {"a.png", "b.png", "LICENSE"}) writeFile(folder.path / file, "x");
    std::string package, text;
    std::vector<tessaron::ThemeWarning> warnings;
    EXPECT_FALSE(tessaron::packFolder(folder.path.u16string(), package, warnings));
    for (const auto& warning : warnings) {
      if (warning.scheme) text += std::to_string(*warning.scheme) + ' ';
      text += tessaron::toUtf8(warning.name) + ' ' +
              warning.reason.substr(0, warning.reason.find(',')) + "; ";
    }
    EXPECT_EQ(text, row.warnings);
    // The identifier of these names and contents, in any version of the library.
    if (warnings.empty()) {
      EXPECT_EQ(package.substr(4, 16),
                "-5\x17Xx%.<\xEC\x2\xDF"
                "e\xD5\xD7Rp");
    }
  }
}

TEST(CheckTheme, TellsWhyFilesWereNotUnpacked) {
  using namespace samples;
  const TemporaryFolder folder;
  const std::string index =
      packageHeader() +
      entry(0, indexXml({{1, "main.xml"}, {2, "a"}, {2, "../a"}, {3, "b"}, {4, "c"}, {5, "d"}}));
  const auto unpack = [&](CThemePackage& package, const std::string& content) {
    package.Initialize(*tessaron::memoryFile(content), folder.path.u16string(), true);
  };
  const std::string theme =
      "<p><theme screenshot='a'><virtualshelf background='b'><g image='../a'/><g image='c'/>"
      "<g image='d'/><g image='other'/></virtualshelf></theme></p>";
  CThemePackage package, empty;
  std::string content = index + entry(1, theme) + entry(2, "a") + rawEntry(3, 4, 100, "none");
  content += entry(5, "all of it is there");
  content.resize(content.size() - 4);  // without the check value
  unpack(package, content);
  std::string text;
  for (const auto& warning : tessaron::findDropped(package, *package.schemes.at(0)))
    text += tessaron::toUtf8(warning.name) + ": " + warning.reason + '\n';
  EXPECT_EQ(text,
            "b: the background of the shelf: its data is damaged\n"
            "../a: the picture of the group \"\": the name leads into another folder\n"
            "c: the picture of the group \"\": it is missing\n");
  unpack(empty, index + entry(2, "a"));
  ASSERT_EQ(tessaron::checkTheme(empty).size(), 1u);
  EXPECT_EQ(tessaron::checkTheme(empty)[0].name, u"main.xml");
}

TEST(PackFolder, RefusesWhatNoPackageCanHold) {
  const struct {
    std::vector<const char*> files;  // a name that ends in '/' is a folder; '-' in front: empty
    const char* reason;
    const char* path;
  } rows[] = {{{}, "there is no main.xml in it", ""},
              {{"a.png"}, "there is no main.xml in it", ""},
              {{"main.xml", "-a.png"}, "an empty file cannot be packed", "a.png"},
              {{"-main.xml"}, "an empty file cannot be packed", "main.xml"},
              {{"main.xml", "more/"}, "only files can be packed", "more"},
#ifndef _WIN32  // which cannot create it
              {{"main.xml", "a.png\"n=\"b"},
               "the name has a character that file names cannot have",
               "a.png\"n=\"b"},
#endif
              {{"Main.xml"}, "the name differs only in case from main.xml", "Main.xml"}};
  for (const auto& row : rows) {
    SCOPED_TRACE(row.reason);
    const TemporaryFolder folder;
    for (std::string name : row.files) {
      const bool isEmpty = name.starts_with('-');
      if (isEmpty) name.erase(0, 1);
      if (name.ends_with('/')) {
        fs::create_directory(folder.path / name);
      } else {
        writeFile(folder.path / name, isEmpty ? "" : "<p/>");
      }
    }
    std::string package;
    std::vector<tessaron::ThemeWarning> warnings;
    const tessaron::PackError error =
        tessaron::packFolder(folder.path.u16string(), package, warnings);
    EXPECT_EQ(error.reason, row.reason);
    EXPECT_FALSE(error.isUnreadable);
    EXPECT_EQ(fs::path(error.path), *row.path ? folder.path / row.path : folder.path);
    EXPECT_EQ(package, "");
  }
  const TemporaryFolder folder;
  writeFile(folder.path / "big.bin", "");
  fs::resize_file(folder.path / "big.bin", (256 << 20) + 1);
  std::string package;
  std::vector<tessaron::ThemeWarning> warnings;
  EXPECT_EQ(tessaron::packFolder(folder.path.u16string(), package, warnings).reason,
            "it is larger than 256 MiB");
}

TEST(CThemeMan, NeedsNoDataFolder) {
  const TemporaryFolder folder;
  CThemeMan themes((folder.path / "missing").u16string());
  EXPECT_THAT(themes.packages(), IsEmpty());
  EXPECT_FALSE(themes.select(u"DefaultTheme.tpk", 0));
  EXPECT_FALSE(themes.imageCache().isOpen());
  EXPECT_EQ(folder.entries(), 0u);
}
