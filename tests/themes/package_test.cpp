#include "themes/package.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#ifndef _WIN32
#include <sys/stat.h>
#endif

#include <fstream>
#include <map>

#include "support/allocations.h"
#include "support/file_content.h"
#include "support/package_samples.h"
#include "support/text.h"
#include "support/unreliable_file.h"
#include "temporary_folder.h"
#include "themes/file_names.h"
#include "themes/package_reader_internal.h"

namespace fs = std::filesystem;
using namespace samples;
using namespace std::string_literals;
using tessaron::faultOfFileName;
using tessaron::memoryFile;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Pair;
using testing::SizeIs;
using enum tessaron::PackageReport::Failure;

namespace {

struct Package : CPackage {
  void PostInitialize() override { ++finished; }
  int finished = 0;
};

using Files = std::vector<std::pair<std::string, std::string>>;

// A tree as paths and contents; links as what they lead to.
std::map<std::string, std::string> treeOf(const fs::path& folder) {
  std::map<std::string, std::string> tree;
  for (const fs::directory_entry& entry : fs::recursive_directory_iterator(folder)) {
    const fs::path place =
        fs::relative(entry.path().parent_path(), folder) / entry.path().filename();
    std::string& content = tree[tessaron::toUtf8(place.lexically_normal().generic_u16string())];
    if (entry.is_directory()) {
      content = "(folder)";
    } else {
      content = readFile(entry.path());
    }
  }
  return tree;
}

// A destination with something around it, and the package's folder.
class CPackageTest : public testing::Test {
 protected:
  CPackageTest() {
    fs::create_directory(data);
    std::ofstream(root.path / "outside.txt") << "outside";
    std::ofstream(data / "beside.txt") << "beside";
  }

  void unpack(Package& package, const std::string& content, bool extractAll = true) const {
    package.Initialize(*memoryFile(content), data.u16string(), extractAll);
  }
  // What the package's folder holds. Fails when anything changed around it.
  Files unpacked() const {
    Files files;
    std::map<std::string, std::string> tree = treeOf(root.path);
    EXPECT_EQ(tree["outside.txt"], "outside");
    EXPECT_EQ(tree["data/beside.txt"], "beside");
    for (const char* known : {"data", "outside.txt", "data/beside.txt"}) tree.erase(known);
    const std::string own = "data/"s + kIdentifier;
    tree.erase(own);
    for (const auto& [path, content] : tree) {
      EXPECT_TRUE(path.starts_with(own + '/')) << path;
      files.push_back({path.substr(own.size() + 1), content});
    }
    return files;
  }
  Files unpackedFrom(const std::string& content, bool extractAll = true) const {
    fs::remove_all(data / kIdentifier);
    Package package;
    unpack(package, content, extractAll);
    EXPECT_EQ(package.finished, 1);
    return unpacked();
  }

  TemporaryFolder root;
  const fs::path data = root.path / "data";
};

std::string reasons(const CPackage& package) {
  std::string all;
  for (const auto& problem : package.report.problems) all += problem.reason + '\n';
  return all;
}

}  // namespace

TEST_F(CPackageTest, UnpacksFilesAndReadsTheDescription) {
  const std::string big(1 << 20, 'b');
  const Files files = {{"back.png", "pixels\0\r\n"s}, {"\xE6\x98\x9F \xC3\xA4.jpg", big}};
  const std::string content = samples::package(files);
  Package package;
  package.path = writeFile(data / "Theme.tpk", content);
  package.Initialize(data.u16string(), true);
  fs::remove(data / "Theme.tpk");

  EXPECT_THAT(
      (std::vector{package.author, package.email, package.url, package.name, package.description}),
      ElementsAre(u"Ada \u00C4", u"a@example.org", u"http://example.org", u"Shelves",
                  u"Two of them"));
  EXPECT_EQ(tessaron::toUtf8(package.identifierText), kIdentifier);
  EXPECT_EQ(package.identifierText[63], 0);
  EXPECT_EQ(fs::path(package.GetPathExtracted()), data / kIdentifier);
  EXPECT_EQ(package.finished, 1);
  EXPECT_EQ(reasons(package), "");
  EXPECT_EQ(unpacked(), files);
  unpack(package, content);  // over what is there
  EXPECT_EQ(unpacked(), files);

  Package copy(package);
  package.mainDocument->Clear();
  EXPECT_STREQ(copy.mainDocument->RootElement()->Value(), "main");
  copy = package;
  EXPECT_EQ(copy.mainDocument->RootElement(), nullptr);
  EXPECT_EQ(copy.author, package.author);
}

TEST_F(CPackageTest, TellsWhatIsNoPackage) {
  const std::string good = package({});
  const std::pair<std::string, bool> rows[] = {{"", false},
                                               // clang-format off
                                               {"XP" + good.substr(2), false}, {"TP\2\0"s + good.substr(4), false},
                                               {"TP\1\1"s + good.substr(4), false}, {"TP\1\0"s, true},
                                               // clang-format on
                                               {good, true}};  // what is missing is zero
  for (const auto& row : rows) {
    SCOPED_TRACE(&row - rows);
    Package package;
    package.Initialize(*memoryFile(row.first), u"", true);
    EXPECT_EQ(package.report.isPackage, row.second);
    EXPECT_EQ(package.finished, 1);
    EXPECT_EQ(package.index->RootElement() != nullptr, row.first == good);
    EXPECT_EQ(package.GetPathExtracted(), u"");
  }
  Package missing;
  missing.path = (data / "missing.tpk").u16string();
  missing.Initialize(data.u16string(), true);
  EXPECT_EQ(missing.report.openError, std::errc::no_such_file_or_directory);
  EXPECT_EQ(missing.finished, 1);
  EXPECT_THAT(unpacked(), IsEmpty());
}

TEST_F(CPackageTest, FollowsTheIndex) {
  const struct {
    const char *index, *files;
  } rows[] = {
      {"", ""},
      {"<i><!-- --><a id='2' filename='a'/>t<b filename='b' id='3'/></i>", "a=two b=three "},
      {"<i><f id='2' filename='a'/><f id='2' filename='b'/></i>", "a=two b=two "},
      {"<i><f id='2' filename='a'/><f id='2' filename='a'/></i>", "a=two "},
      {"<i><f id='2' filename='a'/><f id='3' filename='a'/></i>", "a=three "},
      {"<i><f filename='a'/><f id='x' filename='b'/><f id='' filename='c'/><f id='2'/></i>", ""},
      {"<i><f id=' +2' filename='a'/><f id='3x' filename='b'/></i>", "a=two b=three "},
      {"<i><f id='4294967295' filename='a'/><f id='4294967298' filename='b'/></i>", "a=last "},
      {"<i><a><f id='2' filename='a'/></a></i>", ""},
      {"<i><f id='2' filename='a'/><", "a=two "},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.index);
    std::string files;
    for (const auto& [name, content] :
         unpackedFrom(packageHeader() + entry(0, row.index) + entry(2, "two") + entry(3, "three") +
                      entry(0xFFFFFFFF, "last")))
      files += name + '=' + content + ' ';
    EXPECT_EQ(files, row.files);
  }
  // Only what the index in front of it names; a later index takes the place of an earlier one.
  const std::string named2 = entry(0, indexXml({{2, "a"}}));
  EXPECT_THAT(unpackedFrom(packageHeader() + entry(2, "early") + named2), IsEmpty());
  EXPECT_THAT(unpackedFrom(packageHeader() + named2 + entry(0, indexXml({{3, "b"}})) +
                           entry(2, "two") + entry(3, "three")),
              ElementsAre(Pair("b", "three")));
}

TEST_F(CPackageTest, ReadsMainXmlAsItAlwaysDid) {
  const std::string index =
      entry(0, indexXml({{2, "a"}, {1, "b"}, {1, "MAIN.Xml"}, {1, "c"}, {3, "d"}}));
  const std::string content =
      packageHeader() + index + entry(2, "two") + entry(1, mainXml()) + entry(3, "three");
  EXPECT_THAT(unpackedFrom(content, true), SizeIs(4));
  EXPECT_THAT(unpackedFrom(content, false), SizeIs(2));

  Package indexOnly;
  indexOnly.Initialize(*memoryFile(content), u"", true);
  EXPECT_NE(indexOnly.index->RootElement(), nullptr);
  EXPECT_EQ(indexOnly.mainDocument->RootElement(), nullptr);

  fs::remove_all(data / kIdentifier);
  Package inspected;
  inspected.Inspect(*memoryFile(content), true);
  EXPECT_EQ(inspected.name, u"Shelves");
  EXPECT_EQ(inspected.report.entries.size(), 4u);
  inspected.Inspect(*memoryFile(content), false);
  EXPECT_EQ(inspected.report.entries.size(), 3u);
  EXPECT_FALSE(fs::exists(data / kIdentifier));
}

TEST_F(CPackageTest, TakesTheDataOfEntriesWithoutASizeForHeaders) {
  const std::string start = packageHeader() + entry(0, indexXml({{2, "a"}, {3, "b"}}));
  const std::string hidden = entry(3, "hidden");
  const auto size = static_cast<std::int32_t>(hidden.size());
  const std::string tail = entry(2, "two");
  for (const auto& [packed, plain] : {std::pair(size, 0), {0, 5}, {-size, 5}, {size, -1}})
    EXPECT_THAT(unpackedFrom(start + rawEntry(2, packed, plain, hidden) + tail),
                ElementsAre(Pair("a", "two"), Pair("b", "hidden")));
  EXPECT_THAT(unpackedFrom(start + rawEntry(9, 0, 0, "") + tail), ElementsAre(Pair("a", "two")));
}

TEST(FaultOfFileName, KnowsWhatAnySystemCannotTake) {
  // clang-format off
  const std::u16string_view bad[] = {
      u"", u".", u"..", u"../x", u"..\\x", u"/etc/x", u"\\\\server\\x", u"a/b", u"a\\b", u"C:x", u"C:\\x",
      u"x:stream", u"a\nb", u"a\u007F", u"what?", u"a*", u"a|b", u"<a>", u"\"a\"", u"CON", u"con.png", u"Nul.tar.gz",
      u"aux .txt", u"PRN", u"com1", u"LPT9.x", u"COM\u00B9.x", u"CONIN$", u"dot.", u"blank ", u"..."};
  for (const std::u16string_view name : bad)
    EXPECT_NE(faultOfFileName(name), nullptr) << tessaron::toUtf8(name);
  const std::u16string_view good[] = {u"a", u".hidden", u"a.b.c", u"..a", u"a..b", u"console", u"com", u"com10",
                                      u"comx", u"x.con", u"a b", u"~1"};
  // clang-format on
  for (const std::u16string_view name : good)
    EXPECT_EQ(faultOfFileName(name), nullptr) << tessaron::toUtf8(name);
  EXPECT_NE(faultOfFileName(u"a\0b"s), nullptr);
  for (const auto& [longest, unit] : {std::pair(255, u'x'), std::pair(85, u'\u661F')}) {
    EXPECT_EQ(faultOfFileName(std::u16string(longest, unit)), nullptr);
    EXPECT_NE(faultOfFileName(std::u16string(longest + 1, unit)), nullptr);
  }
}

TEST_F(CPackageTest, DropsNamesThatAreNotPlain) {
  const Files rows = {
      // clang-format off
      {"../outside.txt", "another folder"}, {(root.path / "outside.txt").string(), ""}, {"Aux.png", "device"},
      {".tessaron-1.tmp", "reserved for"}, {"GOOD.PNG", "case from good.png"},
      {"\xC3\x84.png", "case from \xC3\xA4.png"},
      // clang-format on
  };
  Files files = {{"good.png", "good"}, {"\xC3\xA4.png", "good"}};
  for (const auto& row : rows) files.push_back({row.first, "bad"});
  files.push_back({"last.png", "good"});
  const std::string content = package(files);
  Package package;
  unpack(package, content);
  EXPECT_THAT(unpacked(), ElementsAre(Pair("good.png", "good"), Pair("last.png", "good"),
                                      Pair("\xC3\xA4.png", "good")));
  ASSERT_EQ(package.report.problems.size(), rows.size()) << reasons(package);
  for (std::size_t i = 0; i < rows.size(); ++i) {
    EXPECT_EQ(tessaron::toUtf8(package.report.problems[i].name), rows[i].first);
    EXPECT_EQ(package.report.problems[i].entry, i + 4);
    EXPECT_THAT(package.report.problems[i].reason, HasSubstr(rows[i].second));
  }
  Package inspected;
  inspected.Inspect(*memoryFile(content), true);
  EXPECT_EQ(reasons(inspected), reasons(package));

  // A NUL cannot be named: XML turns it into another character.
  EXPECT_THAT(unpackedFrom(packageHeader() + entry(0, "<i><f id='2' filename='&#0;'/></i>") +
                           entry(2, "two")),
              ElementsAre(Pair("\xEF\xBF\xBD", "two")));
}

TEST_F(CPackageTest, KeepsToItsFolder) {
  fs::create_directories(data / kIdentifier / "folder");
  fs::create_hard_link(root.path / "outside.txt", data / kIdentifier / "link");
  Package package;
  unpack(package, samples::package({{"link", "bad"}, {"folder", "bad"}, {"good", "good"}}));
  EXPECT_THAT(unpacked(), ElementsAre(Pair("folder", "(folder)"), Pair("good", "good"),
                                      Pair("link", "outside")));
  ASSERT_EQ(package.report.problems.size(), 2u);
  EXPECT_EQ(package.report.problems[0].reason, "a link stands there");

  fs::remove_all(data / kIdentifier);
  std::ofstream(data / kIdentifier) << "a file";
  Package blocked;
  unpack(blocked, samples::package({{"a", "bad"}}));
  EXPECT_EQ(blocked.name, u"Shelves");
  EXPECT_THAT(blocked.report.failureReason, HasSubstr("cannot be used"));
  fs::remove(data / kIdentifier);
  EXPECT_THAT(unpacked(), IsEmpty());

  Package nowhere;
  nowhere.Initialize(*memoryFile(samples::package({{"a", "bad"}})), (data / "missing").u16string(),
                     true);
  EXPECT_FALSE(fs::exists(data / "missing"));
}

TEST_F(CPackageTest, TakesFilesThatAreCut) {
  const std::string content = package({{"a", "first"}, {"b", "second"}});
  const std::size_t b = content.size() - deflated("second").size();  // where its data begins
  const struct {
    std::size_t size;
    Files files;
    const char* reason;
  } rows[] = {
      {content.size() - 4, {{"a", "first"}, {"b", "second"}}, "ends inside"},  // the check value
      {b + 1, {{"a", "first"}, {"b", ""}}, "ends inside"},
      {b, {{"a", "first"}}, "ends where"},
      {b - 30, {{"a", "first"}}, "ends where"},  // inside a header
      {b - kEntryHeader, {{"a", "first"}}, ""},
      {1044 + 40, {}, "ends where"},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.size);
    EXPECT_EQ(unpackedFrom(content.substr(0, row.size)), row.files);
    Package package;
    unpack(package, content.substr(0, row.size));
    EXPECT_THAT(reasons(package), HasSubstr(row.reason));
    EXPECT_EQ(reasons(package).empty(), !*row.reason);
  }
}

TEST_F(CPackageTest, StopsBombsAndFalseClaims) {
  const std::string block = deflated(std::string(std::size_t{9} << 20, '\0'));
  const auto size = static_cast<std::int32_t>(block.size());
  const auto content = memoryFile(
      packageHeader() + entry(0, indexXml({{1, "main.xml"}, {2, "bomb"}, {3, "after"}})) +
      rawEntry(2, size, 1, block) + rawEntry(1, size, 1, block) + entry(3, "after"));
  Package package;
  const std::size_t before = allocatedBytes();
  tessaron::PackageReader(package, *content, {.fileSize = 8 << 20}).unpack(data.u16string(), true);
  EXPECT_LT(allocatedBytes() - before, 16u << 20);  // the document grows to its limit
  EXPECT_THAT(unpacked(), ElementsAre(Pair("after", "after"), Pair("bomb", "")));
  EXPECT_THAT(reasons(package), testing::AllOf(HasSubstr("than 8 MiB"), HasSubstr("than 4 MiB")));
  EXPECT_EQ(package.report.problems.back().name, u"main.xml");

  const std::size_t beforeClaim = allocatedBytes();
  EXPECT_THAT(unpackedFrom(packageHeader() + entry(0, indexXml({{2, "a"}})) +
                           rawEntry(2, INT32_MAX, INT32_MAX, deflated("data"))),
              ElementsAre(Pair("a", "data")));
  EXPECT_LT(allocatedBytes() - beforeClaim, 2u << 20);

  std::vector<std::pair<std::uint32_t, std::string>> copies;
  for (int i = 0; i < 200; ++i) copies.push_back({2, "copy" + std::to_string(i / 10)});
  fs::remove_all(data / kIdentifier);
  Package copied;
  unpack(copied, packageHeader() + entry(0, indexXml(copies)) + entry(2, "x"));
  EXPECT_THAT(unpacked(), SizeIs(16));
  EXPECT_THAT(copied.report.entries.back().names, SizeIs(17)) << "and no work with the others";

  const std::pair<tessaron::PackageLimits, bool> exact[] = {
      {{.entries = 3}, true}, {{.entries = 2}, false}, {{.names = 2}, true},
      {{.names = 1}, false},  {{.total = 9}, true},    {{.total = 8}, false}};
  const auto nine = memoryFile(packageHeader() + entry(0, indexXml({{2, "a"}, {3, "b"}})) +
                               entry(2, "12345678") + entry(3, "x"));
  for (const auto& [limits, isWithin] : exact) {
    SCOPED_TRACE(limits.entries + limits.names + limits.total);
    fs::remove_all(data / kIdentifier);
    Package limited;
    nine->seek(0);
    tessaron::PackageReader(limited, *nine, limits).unpack(data.u16string(), true);
    EXPECT_EQ(limited.report.failure, isWithin ? None : TooLarge);
    EXPECT_THAT(unpacked(), SizeIs(isWithin ? 2 : 0));
  }
}

TEST_F(CPackageTest, LeavesAllAsItWasWhenItGivesUp) {
  std::vector<std::pair<std::uint32_t, std::string>> names;
  for (std::uint32_t id = 2; id < 5; ++id)
    for (int i = 0; i < 16; ++i) names.push_back({id, std::to_string(16 * id + i)});
  const std::string index = entry(0, indexXml(names));
  const std::string copies = packageHeader() + index + entry(2, std::string(1000, 'x')) +
                             entry(3, std::string(1000, 'y')) + entry(4, "z");
  std::string sameName = packageHeader() + entry(0, indexXml({{2, "32"}}));
  for (int i = 0; i < 20; ++i) sameName += entry(2, std::to_string(i));
  std::string documents = packageHeader() + index + entry(2, "x");
  for (int i = 0; i < 5; ++i) documents += entry(0, "<i/>" + std::string(4000000, ' '));
  const struct {
    const char* reason;
    tessaron::PackageReport::Failure failure;
    const std::string& content;
    tessaron::PackageLimits limits;
  } rows[] = {
      {"unpacks to more than", TooLarge, copies, {.total = 31999}},
      {"more than 47 names", TooLarge, copies, {.names = 47}},
      {"more than 19 names", TooLarge, sameName, {.names = 19}},
      {"more than 20 entries", TooLarge, sameName, {.entries = 20}},
      {"no space left", CannotWrite, copies, {.spareSpace = UINT64_MAX >> 1}},
      {"documents are larger", TooLarge, documents, {}},
  };
  for (const bool isOver : {false, true}) {
    for (const auto& row : rows) {
      SCOPED_TRACE(row.reason);
      fs::remove_all(data / kIdentifier);
      if (isOver) {
        fs::create_directory(data / kIdentifier);
        std::ofstream(data / kIdentifier / "32") << "old";
        std::ofstream(data / kIdentifier / ".tessaron-9.tmp") << "of a process that was killed";
      }
      Package package;
      tessaron::PackageReader(package, *memoryFile(row.content), row.limits)
          .unpack(data.u16string(), true);
      EXPECT_EQ(package.report.failure, row.failure);
      EXPECT_THAT(package.report.failureReason, HasSubstr(row.reason));
      EXPECT_EQ(package.GetPathExtracted(), u"");
      EXPECT_EQ(fs::exists(data / kIdentifier), isOver);
      Package measured;
      tessaron::PackageReader(measured, *memoryFile(row.content), row.limits).measure();
      EXPECT_EQ(measured.report.failure, row.failure == TooLarge ? TooLarge : None);
      EXPECT_EQ(unpacked(), isOver ? (Files{{"32", "old"}}) : Files());
    }
  }
  Package package;
  tessaron::PackageReader(package, *memoryFile(copies), {.total = 32016, .names = 48})
      .unpack(data.u16string(), true);
  EXPECT_EQ(package.report.failureReason, "");
  EXPECT_THAT(unpacked(), SizeIs(48));
}

TEST_F(CPackageTest, WritesOnlyWhatDiffersFromWhatIsThere) {
  const std::string big(1300000, 'b');
  const std::string half = big.substr(0, 600000);
  for (const std::string& old : {big, half + 'x' + half, half, big + 'x', ""s, "x"s}) {
    SCOPED_TRACE(old.size());
    unpackedFrom(package({{"a.png", old}}));
    Package again;  // needs no space when nothing differs
    tessaron::PackageReader(again, *memoryFile(package({{"a.png", big}})),
                            {.spareSpace = UINT64_MAX >> 1})
        .unpack(data.u16string(), true);
    EXPECT_EQ(again.report.failureReason.empty(), old == big);
    unpack(again, package({{"a.png", big}}));
    EXPECT_TRUE(unpacked() == (Files{{"a.png", big}}));
  }
}

TEST_F(CPackageTest, KeepsWhatInflatesBeforeDamage) {
  std::string text;
  for (int i = 0; i < 200000; ++i) text += std::to_string(i);
  std::string packed = deflated(text);
  packed[packed.size() / 2] = static_cast<char>(~packed[packed.size() / 2]);
  packed.resize(packed.size() - 10);
  Package package;
  const auto size = static_cast<std::int32_t>(packed.size());
  unpack(package, packageHeader() + entry(0, indexXml({{2, "a"}, {3, "b"}})) +
                      rawEntry(2, size, 1, packed) + entry(3, "three"));
  const Files files = unpacked();
  EXPECT_THAT(files, ElementsAre(Pair("a", testing::StartsWith(text.substr(0, text.size() / 4))),
                                 Pair("b", "three")));
  EXPECT_THAT(reasons(package), HasSubstr("damaged"));
}

TEST_F(CPackageTest, ReadsFromUnreliableFiles) {
  const Files good = {{"a.png", "first"}, {"b.png", "second"}};
  const std::string content = samples::package(good);
  // A byte at a time, and a first header that is read again up to fifteen times.
  UnreliableFile slow(content), shaky(content);
  slow.maxRead = 1;
  shaky.fails = [](int read) { return read >= 1 && read <= 15; };
  for (UnreliableFile* file : {&slow, &shaky}) {
    fs::remove_all(data / kIdentifier);
    Package package;
    package.Initialize(*file, data.u16string(), true);
    EXPECT_EQ(unpacked(), good);
    EXPECT_EQ(reasons(package), "");
  }
  UnreliableFile cutHeader(content);  // fails within the first header
  cutHeader.maxRead = 4;
  cutHeader.fails = [](int read) { return read >= 3; };
  Package none;
  none.Initialize(cutHeader, data.u16string(), true);
  EXPECT_EQ(none.report.failure, CannotRead);
  EXPECT_FALSE(none.report.isPackage);
  // Header, four entries, end. Only the first entry's header can be read again.
  const Files old = {{"a.png", "old"}};
  for (int first = 0; first < 10; ++first) {
    for (const bool isForGood : {true, false}) {
      SCOPED_TRACE(first);
      EXPECT_EQ(unpackedFrom(package(old)), old);
      UnreliableFile broken(content);
      broken.fails = [=](int read) { return isForGood ? read >= first : read == first; };
      Package package;
      package.Initialize(broken, data.u16string(), true);
      EXPECT_EQ(package.finished, 1);
      EXPECT_LE(broken.reads, isForGood ? first + 16 : 16);
      const bool isTold = isForGood || first != 1;
      EXPECT_EQ(package.report.failure, isTold ? CannotRead : None);
      EXPECT_EQ(unpacked(), isTold ? old : good);
    }
  }
}

TEST_F(CPackageTest, PutsAllFilesInPlaceOrNone) {
  const Files old = {{"a", "old"}, {"c", "old"}, {"d", "old"}};
  EXPECT_EQ(unpackedFrom(package(old)), old);
  UnreliableFile file(package({{"a", "new"}, {"b", "new"}, {"c", "new"}, {"d", "new"}}));
  // A folder takes the place of a file after that was compared.
  file.fails = [&](int read) {
    if (read == 13) fs::remove(data / kIdentifier / "c");
    if (read == 13) fs::create_directory(data / kIdentifier / "c");
    return false;
  };
  Package package;
  package.Initialize(file, data.u16string(), true);
  EXPECT_EQ(file.reads, 14);
  EXPECT_EQ(package.report.failure, CannotWrite);
  EXPECT_THAT(package.report.failureReason, testing::StartsWith("\"c\": "));
  EXPECT_THAT(unpacked(), ElementsAre(Pair("a", "old"), Pair("c", "(folder)"), Pair("d", "old")));
}

#ifndef _WIN32  // where links have other forms
TEST_F(CPackageTest, FollowsNoLink) {
  const fs::path folder = data / kIdentifier, elsewhere = root.path / "elsewhere";
  fs::create_directories(folder);
  fs::create_directory(elsewhere);
  fs::create_symlink(root.path / "outside.txt", folder / "toFile");
  fs::create_symlink(root.path / "new", folder / "toNothing");
  fs::create_symlink(elsewhere, folder / "toFolder");
  ASSERT_EQ(mkfifo((folder / "pipe").c_str(), 0600), 0);
  const std::string content = package(
      {{"toFile", "bad"}, {"toNothing", "bad"}, {"toFolder", "bad"}, {"pipe", "bad"}, {"a", "a"}});
  const std::string link = "a link stands there";
  Package package;
  unpack(package, content);
  EXPECT_EQ(reasons(package), link + '\n' + link + '\n' + link + "\nNo such device or address\n");
  EXPECT_FALSE(fs::exists(root.path / "new"));
  EXPECT_TRUE(fs::is_empty(elsewhere));
  fs::remove(folder / "pipe");
  fs::remove(folder / "toNothing");
  std::map<std::string, std::string> tree = treeOf(root.path);
  EXPECT_EQ(tree["outside.txt"], "outside");
  EXPECT_EQ(tree["data/"s + kIdentifier + "/a"], "a");

  // The folder itself is refused as a link. The destination is the caller's choice.
  fs::remove_all(folder);
  fs::create_symlink(elsewhere, folder);
  unpack(package, content);
  EXPECT_TRUE(package.report.failureReason.ends_with(link));
  EXPECT_TRUE(fs::is_empty(elsewhere));
  fs::create_symlink(elsewhere, root.path / "destination");
  package.Initialize(*memoryFile(content), (root.path / "destination").u16string(), true);
  EXPECT_TRUE(fs::exists(elsewhere / kIdentifier / "a"));
}
#endif
