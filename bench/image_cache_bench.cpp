// The image cache, side by side with plain copies of its file and with lookups in a database. The
// last lines give the ratios. What is measured is the processor's time, with that of the copying
// processes, and of several interleaved repetitions the best one counts, so that others on the
// machine disturb little. The files stand in the temporary folder (TMPDIR).

#include <benchmark/benchmark.h>
#include <sqlite3.h>
#include <sys/resource.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <cstdlib>
#include <ctime>
#include <filesystem>
#include <random>
#include <string>
#include <vector>

#include "graphics/image_cache.h"
#include "report.h"
#include "support/text.h"

namespace {

namespace fs = std::filesystem;

constexpr std::int64_t kSections = 200;
constexpr std::int64_t kSmall = 4 << 10, kLarge = 256 << 10;
using Key = std::array<unsigned char, 16>;

fs::path folder;

const std::vector<Key>& keys() {
  static const std::vector<Key> all = [] {
    std::mt19937 random;
    std::vector<Key> made(kSections);
    for (Key& key : made)
      for (unsigned char& byte : key) byte = static_cast<unsigned char>(random());
    return made;
  }();
  return all;
}

std::vector<unsigned char> image(std::size_t number, std::int64_t size) {
  std::vector<unsigned char> bytes(static_cast<std::size_t>(size));
  std::mt19937 random(static_cast<unsigned>(number));
  for (unsigned char& byte : bytes) byte = static_cast<unsigned char>(random());
  return bytes;
}

std::u16string makeCache(std::int64_t size) {
  const fs::path path = folder / ("cache." + std::to_string(size));
  if (!fs::exists(path)) {
    CImageCacheMan cache(path.u16string());
    for (std::size_t i = 0; i < keys().size(); ++i) {
      const auto data = image(i, size);
      cache.saveToCache(data.data(), static_cast<std::uint32_t>(size), keys()[i].data(), nullptr, 1,
                        u"Cover");
    }
  }
  return path.u16string();
}

double seconds(const timeval& time) {
  return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_usec) * 1e-6;
}

// What this process and those that it has waited for have used of the processor.
double processorSeconds() {
  timespec own;
  clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &own);
  rusage children;
  getrusage(RUSAGE_CHILDREN, &children);
  return static_cast<double>(own.tv_sec) + static_cast<double>(own.tv_nsec) * 1e-9 +
         seconds(children.ru_utime) + seconds(children.ru_stime);
}

// Measures `timed()`, which tells whether it has worked, with what was written before on the disk.
// Keeps the best time on the clock in `best`.
template <typename Timed>
void measure(benchmark::State& state, double& best, Timed timed) {
  using Clock = std::chrono::steady_clock;
  for (auto _ : state) {
    sync();
    const Clock::time_point begin = Clock::now();
    const double processorBegin = processorSeconds();
    const bool done = timed();
    state.SetIterationTime(processorSeconds() - processorBegin);
    best = std::min(best, std::chrono::duration<double>(Clock::now() - begin).count());
    if (!done) state.SkipWithError("the run failed");
  }
}

double bestOpenAndClose = 1e9, bestCopyTwice = 1e9;

void openAndClose(benchmark::State& state) {
  const std::u16string path = makeCache(state.range(0));
  measure(state, bestOpenAndClose,
          [&] { return CImageCacheMan(path).sections.size() == kSections; });
}

// As the cache does: once to a new file, once over an old one.
void copyTwice(benchmark::State& state) {
  const std::string from = tessaron::toUtf8(makeCache(state.range(0)));
  const std::string fresh = folder / "fresh", old = folder / "old";
  fs::copy_file(from, old, fs::copy_options::overwrite_existing);
  const std::string command =
      "cp '" + from + "' '" + fresh + "' && cp '" + fresh + "' '" + old + '\'';
  measure(state, bestCopyTwice, [&] { return std::system(command.c_str()) == 0; });
  fs::remove(fresh);
}

// Measures `lookUp(key)`, which returns what it has found, with all keys far from their order. The
// time is that of one.
template <typename LookUp>
void measureLookups(benchmark::State& state, LookUp lookUp) {
  for (auto _ : state) {
    const double begin = processorSeconds();
    for (std::size_t i = 0; i < keys().size(); ++i) {
      const auto& bytes = lookUp(keys()[i * 67 % keys().size()]);
      benchmark::DoNotOptimize(bytes.data());
    }
    state.SetIterationTime((processorSeconds() - begin) / static_cast<double>(keys().size()));
  }
  if (lookUp(keys()[5]) != image(5, state.range(0))) state.SkipWithError("wrong bytes");
}

void lookUpInCache(benchmark::State& state) {
  CImageCacheMan cache(makeCache(state.range(0)));
  std::vector<unsigned char> bytes;
  measureLookups(state, [&](const Key& key) -> const std::vector<unsigned char>& {
    if (!cache.getFromCache(bytes, key.data(), nullptr, 1, u"cover")) bytes.clear();
    return bytes;
  });
}

// The same keys and bytes in a table with an index over all four keys.
void lookUpInDatabase(benchmark::State& state) {
  const fs::path path = folder / ("database." + std::to_string(state.range(0)));
  const bool isNew = !fs::exists(path);
  sqlite3* database = nullptr;
  sqlite3_open(path.c_str(), &database);
  const auto prepare = [&](const char* text) {
    sqlite3_stmt* statement = nullptr;
    if (sqlite3_prepare_v2(database, text, -1, &statement, nullptr) != SQLITE_OK)
      state.SkipWithError(sqlite3_errmsg(database));
    return statement;
  };
  const auto bindKeys = [](sqlite3_stmt* statement, const Key& key) {
    static const Key kNone{};
    sqlite3_bind_blob(statement, 1, key.data(), key.size(), SQLITE_STATIC);
    sqlite3_bind_blob(statement, 2, kNone.data(), kNone.size(), SQLITE_STATIC);
    sqlite3_bind_int(statement, 3, 1);
    sqlite3_bind_text(statement, 4, "Cover", -1, SQLITE_STATIC);
  };
  if (isNew) {
    sqlite3_exec(
        database,
        "CREATE TABLE images (key1 BLOB, key2 BLOB, variant INTEGER, tag TEXT COLLATE NOCASE, "
        "data BLOB, PRIMARY KEY (key1, key2, variant, tag)); BEGIN",
        nullptr, nullptr, nullptr);
    sqlite3_stmt* insert = prepare("INSERT INTO images VALUES (?, ?, ?, ?, ?)");
    for (std::size_t i = 0; i < keys().size(); ++i) {
      const auto data = image(i, state.range(0));
      bindKeys(insert, keys()[i]);
      sqlite3_bind_blob(insert, 5, data.data(), static_cast<int>(data.size()), SQLITE_STATIC);
      sqlite3_step(insert);
      sqlite3_reset(insert);
    }
    sqlite3_finalize(insert);
    sqlite3_exec(database, "COMMIT", nullptr, nullptr, nullptr);
  }
  // One transaction, so that the file is not locked anew for every lookup, as the cache's is not.
  sqlite3_exec(database, "BEGIN", nullptr, nullptr, nullptr);
  sqlite3_stmt* select =
      prepare("SELECT data FROM images WHERE key1 = ? AND key2 = ? AND variant = ? AND tag = ?");
  std::vector<unsigned char> bytes;
  measureLookups(state, [&](const Key& key) -> const std::vector<unsigned char>& {
    bindKeys(select, key);
    bytes.clear();
    if (sqlite3_step(select) == SQLITE_ROW) {
      const auto* data = static_cast<const unsigned char*>(sqlite3_column_blob(select, 0));
      bytes.assign(data, data + sqlite3_column_bytes(select, 0));
    }
    sqlite3_reset(select);
    return bytes;
  });
  sqlite3_finalize(select);
  sqlite3_close(database);
}

}  // namespace

int main(int argc, char** argv) {
  folder = fs::temp_directory_path() / ("image_cache_bench." + std::to_string(getpid()));
  fs::create_directory(folder);
  using Function = void(benchmark::State&);
  const auto addCopies = [](const char* name, Function* function) {
    benchmark::RegisterBenchmark(name, function)
        ->Arg(kLarge)
        ->Iterations(1)
        ->Repetitions(25)
        ->UseManualTime()
        ->Unit(benchmark::kMillisecond);
  };
  const auto addLookups = [](const char* name, Function* function) {
    benchmark::RegisterBenchmark(name, function)
        ->Arg(kSmall)
        ->Arg(kLarge)
        ->Iterations(20)
        ->Repetitions(15)
        ->UseManualTime()
        ->Unit(benchmark::kMicrosecond);
  };
  addCopies("openAndClose", openAndClose);
  addCopies("copyTwice", copyTwice);
  addLookups("lookUpInCache", lookUpInCache);
  addLookups("lookUpInDatabase", lookUpInDatabase);
  tessaron::Collector results;
  const bool hasRun = tessaron::runInterleaved(argc, argv, results);
  fs::remove_all(folder);
  if (!hasRun) return 2;
  std::printf("\n");
  tessaron::printRatio("open and close / cp twice, 200 sections of 256 KiB",
                       results.best("openAndClose", kLarge) / results.best("copyTwice", kLarge),
                       1.5);
  tessaron::printRatio("  on the clock", bestOpenAndClose / bestCopyTwice, 0);
  for (const std::int64_t size : {kSmall, kLarge}) {
    const std::string what = "lookup / SQLite, " + std::to_string(size >> 10) + " KiB";
    tessaron::printRatio(
        what.c_str(), results.best("lookUpInCache", size) / results.best("lookUpInDatabase", size),
        1.0);
  }
  return 0;
}
