#include "graphics/image_cache.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <iterator>
#include <memory>

#include "graphics/image_cache_internal.h"
#include "support/allocations.h"
#include "support/bytes.h"
#include "support/file_content.h"
#include "support/unreliable_file.h"

namespace fs = std::filesystem;
using namespace std::string_literals;

namespace {

constexpr std::size_t kHeader = 1026;
constexpr std::size_t kSectionHeader = 108;

const std::string kEmptyFile = "CM" + std::string(1024, '\0');

// A section as it stands on disk, written down apart from the library's own encoder.
std::string section(char key, const std::string& data, std::uint32_t offset = 0,
                    const std::u16string& tag = u"") {
  std::string bytes = le32(static_cast<std::uint32_t>(data.size())) + le32(offset) +
                      std::string(16, key) + std::string(16, '\0') + le32(7);
  for (const char16_t unit : tag) bytes += {static_cast<char>(unit), static_cast<char>(unit >> 8)};
  bytes.resize(kSectionHeader, '\0');
  return bytes + data;
}

const unsigned char* bytesOf(const std::string& text) {
  return reinterpret_cast<const unsigned char*>(text.data());
}
std::string key(char byte) { return std::string(16, byte); }

bool save(CImageCacheMan& cache, char byte, const std::string& data) {
  return cache.saveToCache(bytesOf(data), static_cast<std::uint32_t>(data.size()),
                           bytesOf(key(byte)), nullptr, 7, u"");
}

// What a lookup gives, or "none".
std::string find(CImageCacheMan& cache, char byte, const std::u16string& tag = u"") {
  std::vector<unsigned char> bytes(3, 'x');
  const bool found = cache.getFromCache(bytes, bytesOf(key(byte)), nullptr, 7, tag);
  if (found) return {bytes.begin(), bytes.end()};
  EXPECT_EQ(bytes, std::vector<unsigned char>(3, 'x'));
  return "none";
}

class CImageCacheManTest : public testing::Test {
 protected:
  CImageCacheManTest() {
    fs::create_directories(folder);
    path = (folder / u"Bilder \u4E16.db").u16string();
  }
  ~CImageCacheManTest() override { fs::remove_all(folder); }

  void write(const std::string& content) const {
    fs::remove(path);  // emptying a file costs some file systems a flush
    writeFile(path, content);
  }
  std::string read() const { return readFile(path); }
  fs::path workPath() const { return path + u",$~tmp~$"; }

  // The same in a process that a test starts, another one in another build folder.
  const fs::path folder = fs::temp_directory_path() /
                          ("tessaron-cache-" + std::to_string(fs::hash_value(fs::current_path())) +
                           testing::UnitTest::GetInstance()->current_test_info()->name());
  std::u16string path;
};

}  // namespace

TEST_F(CImageCacheManTest, WritesTheFrozenFormat) {
  {
    CImageCacheMan cache(path);
    EXPECT_TRUE(cache.isOpen());
    EXPECT_EQ(read(), "");
  }
  EXPECT_EQ(read(), kEmptyFile);

  // Foreign header, a section without data, numbers in fields without meaning.
  write("XY" + std::string(1024, '!') + section('a', "first", 0xDEADBEEF, u"T\u00E4g") +
        section('b', "") + section('c', "third", 1));
  {
    CImageCacheMan cache(path);
    EXPECT_EQ(cache.sections.size(), 2u);
    EXPECT_EQ(find(cache, 'a', u"t\u00C4G"), "first");
    EXPECT_TRUE(save(cache, 'd', "f\0urth"s));
    EXPECT_EQ(find(cache, 'd'), "f\0urth"s);
    EXPECT_EQ(read().substr(0, 2), "XY");
  }
  const std::string expected = kEmptyFile + section('a', "first", 0xDEADBEEF, u"T\u00E4g") +
                               section('c', "third", 1) + section('d', "f\0urth"s);
  EXPECT_EQ(read(), expected);
  EXPECT_FALSE(fs::exists(workPath()));
  CImageCacheMan again(path);
  again.deinit();
  EXPECT_EQ(read(), expected);
  again.init();
  EXPECT_EQ(find(again, 'c'), "third");
}

TEST_F(CImageCacheManTest, ComparesAllFourKeys) {
  const std::string zero(16, '\0'), one(16, '\1');
  const std::u16string tag31(31, u'\u00FC'), tag32(32, u'y');
  struct Key {
    const std::string* second;
    std::uint32_t variant;
    std::u16string tag;
  };
  const std::tuple<Key, Key, bool> rows[] = {
      // clang-format off
      {{nullptr, 1, u""}, {nullptr, 1, u""}, true}, {{nullptr, 1, u""}, {&zero, 1, u""}, true},
      {{&zero, 1, u""}, {nullptr, 1, u""}, true}, {{&one, 1, u""}, {&one, 1, u""}, true},
      {{&one, 1, u""}, {nullptr, 1, u""}, false}, {{nullptr, 1, u""}, {nullptr, 0x10001, u""}, false},
      {{nullptr, 1, u"Cover"}, {nullptr, 1, u"cOVER"}, true},
      {{nullptr, 1, u"Cover"}, {nullptr, 1, u"Covers"}, false},
      {{nullptr, 1, u"Cover"}, {nullptr, 1, u"Co-ver"}, false},
      {{nullptr, 1, u"a\0b"s}, {nullptr, 1, u"a\0c"s}, true},
      {{nullptr, 1, tag31}, {nullptr, 1, std::u16string(31, u'\u00DC')}, true},
      {{nullptr, 1, tag32}, {nullptr, 1, tag32}, false}, {{nullptr, 1, tag32}, {nullptr, 1, tag32.substr(1)}, true},
      // clang-format on
  };
  const auto pointer = [](const std::string* text) { return text ? bytesOf(*text) : nullptr; };
  for (const auto& row : rows) {
    SCOPED_TRACE(&row - rows);
    const auto& [saved, asked, isFound] = row;
    write("");
    CImageCacheMan cache(path);
    ASSERT_TRUE(cache.saveToCache(bytesOf(one), 1, bytesOf(one), pointer(saved.second),
                                  saved.variant, saved.tag));
    std::vector<unsigned char> bytes;
    for (const std::string* first : {&one, &zero})
      EXPECT_EQ(cache.getFromCache(bytes, bytesOf(*first), pointer(asked.second), asked.variant,
                                   asked.tag),
                isFound && first == &one);
  }
}

TEST_F(CImageCacheManTest, RefusesWhatItCannotRead) {
  CImageCacheMan cache(path);
  const auto* const wild = reinterpret_cast<const unsigned char*>(16);
  const std::string data = key('k');
  std::vector<unsigned char> bytes;
  for (const unsigned char* bad : {wild, static_cast<const unsigned char*>(nullptr)}) {
    EXPECT_FALSE(cache.saveToCache(bytesOf(data), 16, bad, nullptr, 0, u""));
    EXPECT_FALSE(cache.saveToCache(bad, 16, bytesOf(data), nullptr, 0, u""));
    EXPECT_FALSE(cache.getFromCache(bytes, bad, nullptr, 0, u""));
  }
  EXPECT_FALSE(cache.saveToCache(bytesOf(data), 0, bytesOf(data), nullptr, 0, u""));
  EXPECT_TRUE(cache.sections.empty());
  EXPECT_TRUE(cache.saveToCache(bytesOf(data), 16, bytesOf(data), wild, 0, u""));
  EXPECT_TRUE(cache.getFromCache(bytes, bytesOf(data), wild, 0, u""));
}

TEST_F(CImageCacheManTest, KeepsTheNewestTwoHundredAndFindsTheOldestOfDuplicates) {
  std::string expected = kEmptyFile;
  {
    CImageCacheMan cache(path);
    for (int i = 0; i < 203; ++i) {
      const char name = static_cast<char>(i < 100 ? i : 100);
      ASSERT_TRUE(save(cache, name, std::to_string(i)));
      if (i > 2) expected += section(name, std::to_string(i));
    }
    EXPECT_EQ(find(cache, 0), "0");
  }
  EXPECT_EQ(read(), expected);
  CImageCacheMan cache(path);
  EXPECT_EQ(find(cache, 2), "none");
  EXPECT_EQ(find(cache, 3), "3");
  EXPECT_EQ(find(cache, 100), "100");
}

TEST_F(CImageCacheManTest, IsHeldByOneAndUntouchedByOthers) {
  const std::string before = kEmptyFile + section('a', "data");
  write(before);
  CImageCacheMan first(path);
  {
    CImageCacheMan second(path);
    EXPECT_FALSE(second.isOpen());
    EXPECT_TRUE(save(second, 'b', "lost"));
    EXPECT_EQ(find(second, 'b'), "none");
  }
  EXPECT_EQ(read(), before);
  EXPECT_EQ(find(first, 'a'), "data");
  first.deinit();
  fs::create_directory(workPath());  // in the working file's place
  {
    CImageCacheMan third(path);
    EXPECT_FALSE(third.isOpen());
    save(third, 'b', "lost");
  }
  EXPECT_EQ(read(), before);
}

TEST_F(CImageCacheManTest, CopiesShareTheFilesOfTheirOriginal) {
  auto original = std::make_unique<CImageCacheMan>(path);
  save(*original, 'a', "one");
  auto copy = std::make_unique<CImageCacheMan>(*original);
  CImageCacheMan other((folder / "other").u16string());
  save(other, 'o', "kept");
  other = *copy;
  EXPECT_GT(fs::file_size(folder / "other"), kHeader);
  EXPECT_EQ(find(other, 'a'), "one");
  EXPECT_TRUE(save(other, 'b', "two"));
  copy.reset();
  EXPECT_EQ(find(*original, 'a'), "one");
  EXPECT_TRUE(save(*original, 'c', "three"));
  EXPECT_EQ(read(), "");
  original.reset();
  EXPECT_FALSE(other.isOpen());
  EXPECT_EQ(find(other, 'a'), "none");
  EXPECT_EQ(read(), kEmptyFile + section('a', "one") + section('c', "three"))
      << "not what its copy has saved in between";
}

TEST_F(CImageCacheManTest, LosesOnlyWhatIsNewWhenItsProcessDies) {
  testing::GTEST_FLAG(death_test_style) = "threadsafe";
  const std::string before = kEmptyFile + section('a', "data");
  write(before);
  EXPECT_DEATH(
      {
        CImageCacheMan cache(path);
        save(cache, 'b', std::string(300000, 'b'));
        if (find(cache, 'b').size() == 300000) std::fputs("is open", stderr);
        std::raise(9);  // a kill, where there are signals
        std::_Exit(9);
      },
      "is open");
  EXPECT_EQ(read(), before);
  EXPECT_EQ(std::distance(fs::directory_iterator(folder), {}), 1);
  CImageCacheMan cache(path);
  EXPECT_EQ(find(cache, 'a'), "data");
}

TEST_F(CImageCacheManTest, TakesDamagedFiles) {
  const std::string first = section('a', "first"), second = section('b', "second");
  const std::string whole = kEmptyFile + first + second;
  const struct {
    std::string content;
    std::string a, b;
  } rows[] = {
      {whole.substr(0, kHeader - 2), "none", "none"},
      {whole.substr(0, kHeader + 3), "none", "none"},
      {whole.substr(0, kHeader + first.size() + 30), "first", "none"},  // inside the keys
      {whole.substr(0, whole.size() - 2), "first", "seco\0\0"s},
      {whole + "stray", "first", "second"},
      {kEmptyFile + first + std::string(kSectionHeader, '\0') + second, "first", "second"},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(&row - rows);
    write(row.content);
    for (int round = 0; round < 2; ++round) {  // as it was damaged, and as it was written back
      CImageCacheMan cache(path);
      EXPECT_EQ(find(cache, 'a'), row.a);
      EXPECT_EQ(find(cache, 'b'), row.b);
      EXPECT_TRUE(round == 1 || save(cache, 'n', "new"));
      EXPECT_EQ(find(cache, 'n'), "new");
    }
  }
}

TEST(CacheFile, TellsReadErrorsFromDamage) {
  using tessaron::CacheLoad;
  const std::string whole = kEmptyFile + section('a', "first") + section('b', "second");
  for (int failing = 0; failing < 5; ++failing) {  // two headers, two sections, nothing
    SCOPED_TRACE(failing);
    UnreliableFile file(whole);
    file.fails = [=](int read) { return read == failing; };
    tessaron::CacheWalk walk(file);
    int count = 0;
    while (walk.next()) ++count;
    EXPECT_EQ(walk.hasReadError(), failing < 3);
    EXPECT_EQ(walk.isWhole(), failing >= 3);
    EXPECT_EQ(count, std::clamp(failing - 1, 0, 2));
    file.reads = 0;
    std::vector<CACHESECTIONHEADER> sections;
    EXPECT_EQ(tessaron::loadCache(file, *tessaron::memoryFile(""), sections),
              failing < 4 ? CacheLoad::ReadError : CacheLoad::Whole);
  }
  UnreliableFile cut(whole.substr(0, whole.size() - 1)), full("");
  std::vector<CACHESECTIONHEADER> sections;
  EXPECT_EQ(tessaron::loadCache(cut, *tessaron::memoryFile(""), sections), CacheLoad::Whole);
  full.failsWriting = [](int) { return true; };
  EXPECT_EQ(tessaron::loadCache(cut, full, sections), CacheLoad::Failed);
}

TEST(CacheFile, TellsEveryFailureToWrite) {
  const std::string before = kEmptyFile + section('a', "first");
  for (int failing = 0; failing < 5; ++failing) {
    SCOPED_TRACE(failing);
    UnreliableFile from(before), to("");
    to.failsWriting = [=](int write) { return write == failing; };
    from.fails = [=](int read) { return failing == 4 && read == 2; };
    tessaron::CacheWalk walk(from);
    ASSERT_TRUE(walk.next());
    const bool isWritten = tessaron::writeCache(to, from, {&walk.section(), 1});
    EXPECT_EQ(isWritten, failing == 2 || failing == 3);
    if (!isWritten) continue;
    CACHESECTIONHEADER added = walk.section();
    EXPECT_FALSE(tessaron::appendSection(to, added, std::as_bytes(std::span("data"))));
    EXPECT_EQ(to.size(), before.size()) << "cut back to what was whole";
  }
}

TEST_F(CImageCacheManTest, NeedsLittleMemoryWhateverSizesAreClaimed) {
  const std::string large(8 << 20, 'L');
  std::string cut = section('c', "there");
  for (const std::uint32_t claim : {0xFFFFFFFFu, 0x80000000u, 0x200000u}) {
    write(kEmptyFile + section('a', large) + cut.replace(0, 4, le32(claim)));
    const std::size_t before = allocatedBytes();
    CImageCacheMan cache(path);
    EXPECT_EQ(cache.sections.back().dataSize, 5u + (1 << 20));
    cache.deinit();
    EXPECT_LT(allocatedBytes() - before, 100000u);
    EXPECT_EQ(fs::file_size(path), kHeader + 2 * kSectionHeader + large.size() + 5 + (1 << 20));
    cache.init();
    EXPECT_EQ(find(cache, 'a'), large);
    EXPECT_EQ(find(cache, 'c').substr(0, 6), "there\0"s);
  }
}
