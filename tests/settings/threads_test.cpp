// What several threads do at once with objects of their own, most of all under ThreadSanitizer.

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
