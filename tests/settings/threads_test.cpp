// What several threads do at once with objects of their own, most of all under ThreadSanitizer.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <thread>
#include <vector>

#include "graphics/image_list.h"
#include "platform/image_list.h"
#include "records/record_set.h"
#include "settings/collation.h"
#include "settings/single_instance.h"
#include "settings/test_key.h"
#include "support/dos_date.h"
#include "support/string_table.h"
#include "support/text.h"
#include "temporary_folder.h"
#include "tessaron_c.h"

namespace {

constexpr int kThreads = 2, kValues = 50;
std::u16string wideNumber(int number) { return utf82wchar(std::to_string(number)); }

template <typename Work>
void runAtOnce(Work work) {
  std::vector<std::thread> threads;
  for (int thread = 0; thread < kThreads; ++thread) threads.emplace_back(work, thread);
  for (std::thread& thread : threads) thread.join();
}

// What everything that has process-wide parts gives.
std::u16string useEverything(int thread, int round) {
  std::u16string all(tessaron::stringAt(3000));
  all += DosDateTimeToString(13089);
  all += wideNumber(CCollationSystem::CompareStringW(u"é 9", u"É 10", 0));
  all += char2wchar(wchar2char(u"Abc"));

  const std::u16string name = u"tessaron threads " + wideNumber(thread * 1000 + round);
  const CLimitSingleInstance first(name.c_str()), second(name.c_str());
  all +=
      wideNumber(first.IsAnotherInstanceRunning()) + wideNumber(second.IsAnotherInstanceRunning());

  const HIMAGELIST list = tessaron::createImageList(16, 16, tessaron::Transparency::Alpha, 4, 4);
  CImageListEx(list).Reload(103, {});
  all += wideNumber(tessaron::imageCount(list));
  tessaron::destroyImageList(list);

  CRecordSet set;
  set.fromString(
      "<PriceTracker><Item><ASIN>1</ASIN><ItemAttributes><Title>  a  b </Title>"
      "</ItemAttributes></Item></PriceTracker>");
  for (const CRecord& record : set.records) all += record.Title;
  return all;
}

}  // namespace

TEST(Threads, ReadWhatTheyHaveWrittenThroughKeysOfTheirOwn) {
  const TestKey test;
  runAtOnce([&](int thread) {
    CRegKeyEx key;
    ASSERT_EQ(key.Open(HKEY_CURRENT_USER, (u"Software\\" + test.name).c_str()), 0);
    for (int i = 0; i < kValues; ++i) {
      std::u16string text = wideNumber(i) + static_cast<char16_t>(u'a' + thread), read;
      tessaron::RegistryBatch batch(key);
      EXPECT_EQ(key.SetStringValueEx(text.c_str(), text), 0);
      EXPECT_EQ(batch.end(), 0);
      EXPECT_EQ(key.QueryStringValueEx(text.c_str(), read), 0);
      EXPECT_EQ(read, text);
    }
  });
  std::uint32_t count = 0;
  EXPECT_EQ(test.key.CountValues(count), 0);
  EXPECT_EQ(count, 0u + kThreads * kValues);
}

TEST(Threads, DoNotDisturbEachOther) {
  const std::u16string expected = useEverything(kThreads, 0);
  EXPECT_NE(expected.find(u"01"), expected.npos) << "the second guard sees the first";
  runAtOnce([&](int thread) {
    for (int round = 0; round < 100; ++round) ASSERT_EQ(useEverything(thread, round), expected);
  });
}

// Each with files of its own; the history of edits is one folder.
TEST(Threads, ShareTheCInterface) {
  const TemporaryFolder folder;
  const auto use = [&](int thread, int round) {
    const auto path = [&](const char* suffix) {
      return (folder.path / (std::to_string(thread) + suffix)).string();
    };
    const auto take = [](char* text) {
      const std::string taken = text ? text : "";
      tsr_free(text);
      return taken;
    };
    tsr_edit* edit = nullptr;
    ASSERT_EQ(tsr_edit_begin(path(".xml").c_str(), &edit), TSR_OK);
    const std::string title = "Title " + std::to_string(round);
    ASSERT_EQ(tsr_edit_add(edit, ("{\"Title\": \"" + title + "\"}").c_str(), 1, nullptr), TSR_OK);
    ASSERT_EQ(tsr_edit_commit(edit, nullptr), TSR_OK) << tsr_last_error();
    tsr_collection* collection = nullptr;
    char* text = nullptr;
    ASSERT_EQ(tsr_collection_open(path(".xml").c_str(), &collection), TSR_OK);
    ASSERT_EQ(tsr_collection_query(collection, "\"title\" year:..2100"), TSR_OK);
    tsr_collection_close(collection);
    ASSERT_EQ(tsr_undo(path(".xml").c_str(), 1), TSR_OK) << tsr_last_error();

    ASSERT_EQ(tsr_title_sort_form("Die Stille", thread == 0 ? "de" : "fr", &text), TSR_OK);
    EXPECT_EQ(take(text), thread == 0 ? "Stille, Die" : "Die Stille");
    int order = 0;
    EXPECT_EQ(tsr_compare("Disc 9", "disc 10", &order), TSR_OK);
    EXPECT_LT(order, 0);
    const char* const names[] = {"books", "films"};
    const double values[] = {3, 1};
    ASSERT_EQ(tsr_draw_chart(names, values, 2, 64, 48, path(".png").c_str()), TSR_OK);
    ASSERT_EQ(tsr_describe_file(path(".png").c_str(), &text), TSR_OK);
    EXPECT_THAT(take(text), testing::HasSubstr("64 x 48"));
    EXPECT_EQ(tsr_list_package(path(".png").c_str(), &text), TSR_DAMAGED);
    EXPECT_STRNE(tsr_last_error(), "");
  };
  runAtOnce([&](int thread) {
    for (int round = 0; round < 10; ++round) use(thread, round);
  });
}
