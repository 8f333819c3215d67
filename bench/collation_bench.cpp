// Measures the conversion of a name to its sort form, and sorting titles against ICU's collator
// with the same rules.

#include <benchmark/benchmark.h>
#include <unicode/coll.h>

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <memory>
#include <random>
#include <string>
#include <vector>

#include "report.h"
#include "settings/collation.h"
#include "support/text.h"

namespace {

using benchmark::State;
using Texts = std::vector<std::u16string>;

constexpr std::int64_t kNames = 1'000'000;
constexpr std::int64_t kTitles = 100'000;

// Words of a few letters; `accents` percent of them have a letter outside ASCII.
std::u16string words(std::mt19937& random, unsigned count, unsigned accents) {
  std::u16string text;
  while (count-- > 0) {
    if (!text.empty()) text += u' ';
    for (auto n = 2 + random() % 8; n > 0; --n) text += static_cast<char16_t>(u'a' + random() % 26);
    if (random() % 100 < accents) text += u"éöñşя"[random() % 5];
  }
  return text;
}

Texts makeNames() {
  std::mt19937 random(1);
  Texts names(kNames);
  for (std::u16string& name : names) name = words(random, 2 + random() % 2, 3);
  return names;
}

// Many titles share a prefix, as the volumes of a series do.
Texts makeTitles(unsigned accents) {
  std::mt19937 random(2);
  Texts series(200);
  for (std::u16string& name : series) name = words(random, 2, accents);
  Texts titles(kTitles);
  for (std::u16string& title : titles) {
    title = random() % 2 == 0 ? series[random() % series.size()] + u", Volume " +
                                    tessaron::fromUtf8(std::to_string(random() % 300))
                              : words(random, 1 + random() % 5, accents);
    title[0] = static_cast<char16_t>(random() % 2 == 0 ? title[0] & ~0x20 : title[0]);
  }
  return titles;
}

// Leaves copying the input out of the time.
template <typename Prepare, typename Work>
void timeWork(State& state, Prepare prepare, Work work) {
  for (auto _ : state) {
    state.PauseTiming();
    auto data = prepare();
    state.ResumeTiming();
    work(data);
    benchmark::DoNotOptimize(data.data());
    state.PauseTiming();
    data.clear();
    data.shrink_to_fit();
    state.ResumeTiming();
  }
}

void convertNames(State& state) {
  const Texts names = makeNames();
  CCollationSystem::m_nOption = 0;
  timeWork(
      state, [&] { return names; }, [](Texts& texts) { CCollationSystem::ConvertNames(texts); });
}

// Lower bound: copies the converted texts into strings of the same length.
void copyNames(State& state) {
  Texts names = makeNames();
  CCollationSystem::m_nOption = 0;
  Texts converted = names;
  CCollationSystem::ConvertNames(converted);
  timeWork(
      state, [&] { return names; },
      [&](Texts& texts) {
        for (std::size_t i = 0; i < texts.size(); ++i) texts[i] = converted[i];
      });
}

void sortTitles(State& state) {
  const Texts titles = makeTitles(static_cast<unsigned>(state.range(0)));
  timeWork(
      state, [&] { return titles; },
      [](Texts& texts) {
        std::ranges::stable_sort(texts, [](const std::u16string& a, const std::u16string& b) {
          return CCollationSystem::CompareStringW(a.c_str(), b.c_str(), 1) < 0;
        });
      });
}

std::unique_ptr<icu::Collator> makeRules() {
  UErrorCode error = U_ZERO_ERROR;
  std::unique_ptr<icu::Collator> rules(
      icu::Collator::createInstance(icu::Locale::getRoot(), error));
  rules->setStrength(icu::Collator::SECONDARY);
  rules->setAttribute(UCOL_NUMERIC_COLLATION, UCOL_ON, error);
  return rules;
}

void sortByIcu(State& state) {
  const Texts titles = makeTitles(static_cast<unsigned>(state.range(0)));
  const std::unique_ptr<icu::Collator> rules = makeRules();
  timeWork(
      state, [&] { return titles; },
      [&](Texts& texts) {
        std::ranges::stable_sort(texts, [&](const std::u16string& a, const std::u16string& b) {
          UErrorCode error = U_ZERO_ERROR;
          return rules->compare(a.data(), static_cast<std::int32_t>(a.size()), b.data(),
                                static_cast<std::int32_t>(b.size()), error) < 0;
        });
      });
}

void sortByIcuKeys(State& state) {
  const Texts titles = makeTitles(static_cast<unsigned>(state.range(0)));
  const std::unique_ptr<icu::Collator> rules = makeRules();
  timeWork(
      state, [&] { return titles; },
      [&](Texts& texts) {
        std::vector<std::pair<std::string, std::size_t>> keys;
        for (std::size_t i = 0; i < texts.size(); ++i) {
          std::uint8_t key[512];
          const auto size = rules->getSortKey(
              texts[i].data(), static_cast<std::int32_t>(texts[i].size()), key, sizeof key);
          keys.emplace_back(std::string(key, key + size), i);
        }
        std::ranges::sort(keys);
        Texts sorted;
        for (const auto& key : keys) sorted.push_back(std::move(texts[key.second]));
        texts = std::move(sorted);
      });
}

bool sortsAlike(unsigned accents) {
  Texts ours = makeTitles(accents);
  Texts icus = ours;
  const std::unique_ptr<icu::Collator> rules = makeRules();
  std::ranges::stable_sort(ours, [](const std::u16string& a, const std::u16string& b) {
    return CCollationSystem::CompareStringW(a.c_str(), b.c_str(), 1) < 0;
  });
  std::ranges::stable_sort(icus, [&](const std::u16string& a, const std::u16string& b) {
    UErrorCode error = U_ZERO_ERROR;
    return rules->compare(a.data(), static_cast<std::int32_t>(a.size()), b.data(),
                          static_cast<std::int32_t>(b.size()), error) < 0;
  });
  return ours == icus;
}

}  // namespace

int main(int argc, char** argv) {
  for (const auto& [name, function] :
       {std::pair("convertNames", &convertNames), {"copyNames", &copyNames}})
    benchmark::RegisterBenchmark(name, function)
        ->Arg(kNames)
        ->Iterations(1)
        ->Repetitions(5)
        ->Unit(benchmark::kMillisecond);
  for (const auto& [name, function] : {std::pair("sortTitles", &sortTitles),
                                       {"sortByIcu", &sortByIcu},
                                       {"sortByIcuKeys", &sortByIcuKeys}})
    benchmark::RegisterBenchmark(name, function)
        ->Arg(0)
        ->Arg(5)
        ->Arg(100)
        ->Iterations(1)
        ->Repetitions(5)
        ->Unit(benchmark::kMillisecond);
  tessaron::Collector results;
  if (!tessaron::runInterleaved(argc, argv, results)) return 2;
  const double nanoseconds = 1e9 / static_cast<double>(kNames);
  std::printf("\nConvertName: %.0f ns a name; copying its result: %.0f ns\n",
              results.best("convertNames", kNames) * nanoseconds,
              results.best("copyNames", kNames) * nanoseconds);
  for (const int accents : {0, 5, 100}) {
    std::printf("100,000 titles, %d of 100 words not in ASCII: %.1f ms\n", accents,
                results.best("sortTitles", accents) * 1e3);
    tessaron::printRatio("  beside ICU's comparison",
                         results.best("sortTitles", accents) / results.best("sortByIcu", accents),
                         1.2);
    tessaron::printRatio(
        "  beside ICU's sort keys",
        results.best("sortTitles", accents) / results.best("sortByIcuKeys", accents), 0);
    if (sortsAlike(static_cast<unsigned>(accents))) continue;
    std::printf("ICU sorts them otherwise: the ratio says nothing\n");
    return 1;
  }
  return 0;
}
