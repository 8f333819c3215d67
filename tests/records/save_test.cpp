#include <gtest/gtest.h>

#include <atomic>
#include <filesystem>
#include <string>
#include <system_error>
#include <thread>

#include "records/record_set.h"
#include "support/allocations.h"
#include "support/files.h"
#include "temporary_folder.h"

namespace {

namespace fs = std::filesystem;

CRecordSet setOf(std::size_t count, const std::u16string& title) {
  CRecordSet set;
  set.records.resize(count);
  for (CRecord& record : set.records) record.Title = title;
  return set;
}

std::string textOf(CRecordSet set) {
  std::string text;
  set.toString(text);
  return text;
}

std::string content(const fs::path& path) {
  std::string text;
  ReadFileToString(path.u16string(), text);
  return text;
}

TEST(CRecordSetSaving, ReplacesTheFileOrFailsWithoutATrace) {
  const TemporaryFolder folder;
  const fs::path path = folder.path / u"Sammlung \u65E5\u672C.xml", sub = folder.path / "sub";
  std::error_code error = std::make_error_code(std::errc::io_error);
  EXPECT_TRUE(setOf(3, u"old").saveTo(path.u16string(), error));
  EXPECT_FALSE(error);
  EXPECT_EQ(content(path), textOf(setOf(3, u"old")));
  EXPECT_FALSE(setOf(1, u"new").toFile(path.u16string())) << "also after success";
  EXPECT_EQ(content(path), textOf(setOf(1, u"new")));

  fs::create_directory(sub);
  for (const fs::path& bad : {sub, folder.path / "none" / "a.xml", fs::path()}) {
    EXPECT_FALSE(setOf(1, u"x").saveTo(bad.u16string(), error)) << bad;
    EXPECT_TRUE(error) << bad;
  }
  EXPECT_TRUE(fs::is_directory(sub));
  EXPECT_EQ(folder.entries(), 2u);
}

TEST(CRecordSetSaving, NeverShowsHalfAFile) {
  const TemporaryFolder folder;
  const fs::path path = folder.path / "a.xml";
  CRecordSet sets[] = {setOf(10, u"small"), setOf(40, u"large")};
  const std::string small = textOf(sets[0]), large = textOf(sets[1]);
  sets[0].toFile(path.u16string());
  std::atomic<bool> stop = false;
  std::thread writer([&] {
    for (int i = 0; i < 60; ++i) sets[i % 2].toFile(path.u16string());
    stop = true;
  });
  while (!stop) {
    const std::string text = content(path);
    // A reader may find the file held on Windows, and then gets nothing.
    EXPECT_TRUE(text == small || text == large || text.empty()) << text.size();
  }
  writer.join();
  EXPECT_EQ(content(path), large);
  EXPECT_EQ(folder.entries(), 1u);
}

TEST(FromFile, ChangesNothingWhenMemoryDoesNotSuffice) {
  const TemporaryFolder folder;
  const fs::path path = folder.path / "a.xml";
  std::error_code error;
  ASSERT_TRUE(setOf(2, std::u16string(99, u'x')).saveTo(path.u16string(), error));
  // True when it was read; with the n-th allocation failing.
  const auto read = [&](auto& into, std::size_t n) {
    std::u16string name = path.u16string();
    const FailingAllocation failing(n);
    return into.fromFile(std::move(name));
  };
  std::size_t n = 0;
  for (bool done = false; !done;) {
    ASSERT_LT(++n, 5000u);
    CRecordSet set = setOf(1, u"kept");
    done = read(set, n);
    EXPECT_EQ(set.records.size(), done ? 3u : 1u) << n;
    EXPECT_EQ(set.records[0].Title, u"kept");
    CRecord record;
    record.Title = u"kept";
    EXPECT_EQ(read(record, n) ? u"kept" : record.Title, u"kept") << n;
  }
  EXPECT_GT(n, 30u);
}

}  // namespace
