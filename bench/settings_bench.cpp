// 10,000 settings in one batch, side by side with the same rows written by SQLite's own functions.
// The last lines give the ratio; of several interleaved repetitions the best one counts. Every run
// begins with a new file in the temporary folder (TMPDIR), whose making is not measured.

#include <benchmark/benchmark.h>
#include <sqlite3.h>
#include <unistd.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <vector>

#include "report.h"
#include "settings/reg_key.h"

namespace {

namespace fs = std::filesystem;

constexpr std::int64_t kSettings = 10000;
constexpr const char16_t* kKey = u"Software\\Bench";

fs::path folder;

const std::vector<std::u16string>& names() {
  static const std::vector<std::u16string> all = [] {
    std::vector<std::u16string> made;
    for (std::int64_t i = 0; i < kSettings; ++i) {
      const std::string number = std::to_string(i);
      made.push_back(u"WindowPosition" + std::u16string(number.begin(), number.end()));
    }
    return made;
  }();
  return all;
}

// A new store without values, closed.
std::string newStore() {
  static int number = 0;
  const std::string path = folder / std::to_string(++number);
  setenv("TESSARON_SETTINGS", path.c_str(), 1);
  CRegKeyEx key;
  key.Create(HKEY_CURRENT_USER, kKey);
  return path;
}

void writeSettings(benchmark::State& state) {
  for (auto _ : state) {
    state.PauseTiming();
    const std::string path = newStore();
    CRegKeyEx key;
    key.Open(HKEY_CURRENT_USER, kKey);
    state.ResumeTiming();
    tessaron::RegistryBatch batch(key);
    std::int32_t code = 0;
    int value = 0;
    for (const std::u16string& name : names()) {
      code |= key.SetIntValueEx(name.c_str(), ++value);
    }
    code |= batch.end();
    state.PauseTiming();
    if (code != 0) state.SkipWithError("a setting was not written");
    key.Close();
    fs::remove(path);
    state.ResumeTiming();
  }
}

void writeRows(benchmark::State& state) {
  for (auto _ : state) {
    state.PauseTiming();
    const std::string path = newStore();
    sqlite3* database = nullptr;
    sqlite3_stmt* insert = nullptr;
    int code = sqlite3_open(path.c_str(), &database);
    code |= sqlite3_exec(database, "PRAGMA synchronous = FULL; SELECT * FROM key", nullptr, nullptr,
                         nullptr);
    state.ResumeTiming();
    code |= sqlite3_prepare_v2(database,
                               "INSERT INTO value(key, folded, name, type, data) "
                               "VALUES(?, ?, ?, ?, ?) ON CONFLICT(key, folded) "
                               "DO UPDATE SET type = excluded.type, data = excluded.data",
                               -1, &insert, nullptr);
    code |= sqlite3_exec(database, "BEGIN IMMEDIATE", nullptr, nullptr, nullptr);
    std::uint32_t value = 0;
    for (const std::u16string& name : names()) {
      const int size = static_cast<int>(name.size() * sizeof(char16_t));
      ++value;
      sqlite3_bind_int(insert, 1, 2);
      sqlite3_bind_blob(insert, 2, name.data(), size, SQLITE_STATIC);
      sqlite3_bind_blob(insert, 3, name.data(), size, SQLITE_STATIC);
      sqlite3_bind_int(insert, 4, 4);
      sqlite3_bind_blob(insert, 5, &value, sizeof value, SQLITE_STATIC);
      if (sqlite3_step(insert) != SQLITE_DONE) code = 1;
      sqlite3_reset(insert);
    }
    code |= sqlite3_exec(database, "COMMIT", nullptr, nullptr, nullptr);
    state.PauseTiming();
    if (code != 0) state.SkipWithError("a row was not written");
    sqlite3_finalize(insert);
    sqlite3_close(database);
    fs::remove(path);
    state.ResumeTiming();
  }
}

}  // namespace

int main(int argc, char** argv) {
  folder = fs::temp_directory_path() / ("settings_bench." + std::to_string(getpid()));
  fs::create_directory(folder);
  const auto add = [](const char* name, void (*function)(benchmark::State&)) {
    benchmark::RegisterBenchmark(name, function)
        ->Arg(kSettings)
        ->Iterations(3)
        ->Repetitions(15)
        ->UseRealTime()
        ->Unit(benchmark::kMillisecond);
  };
  add("writeSettings", writeSettings);
  add("writeRows", writeRows);
  tessaron::Collector results;
  const bool hasRun = tessaron::runInterleaved(argc, argv, results);
  fs::remove_all(folder);
  if (!hasRun) return 2;
  std::printf("\n");
  tessaron::printRatio(
      "10,000 settings in one batch / SQLite alone",
      results.best("writeSettings", kSettings) / results.best("writeRows", kSettings), 0);
  return 0;
}
