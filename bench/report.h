#pragma once

#include <benchmark/benchmark.h>

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <map>
#include <string>
#include <vector>

namespace tessaron {

/// Prints every run as usual and keeps the best time of each benchmark and size.
class Collector : public benchmark::ConsoleReporter {
 public:
  void ReportRuns(const std::vector<Run>& runs) override {
    ConsoleReporter::ReportRuns(runs);
    for (const Run& run : runs) {
      if (run.run_type != Run::RT_Iteration || run.error_occurred) continue;
      const std::string key = run.run_name.function_name + '/' + run.run_name.args;
      const double seconds = run.real_accumulated_time / static_cast<double>(run.iterations);
      const auto [place, isNew] = best_.emplace(key, seconds);
      if (!isNew) place->second = std::min(place->second, seconds);
    }
  }

  /// Seconds of the best run; 0 when there was none.
  double best(const char* benchmark, std::int64_t size) const {
    const auto found = best_.find(std::string(benchmark) + '/' + std::to_string(size));
    return found == best_.end() ? 0 : found->second;
  }

 private:
  std::map<std::string, double> best_;
};

/// Prints a line with a ratio and, unless it is 0, whether it keeps the limit.
inline void printRatio(const char* what, double ratio, double limit) {
  std::printf("%-58s %6.2f", what, ratio);
  if (limit > 0) std::printf("   at most %g: %s", limit, ratio <= limit ? "kept" : "MISSED");
  std::printf("\n");
}

/// Runs the registered benchmarks in interleaved repetitions and collects their times. False when
/// the command line was wrong.
inline bool runInterleaved(int argc, char** argv, Collector& results) {
  std::vector<char*> arguments(argv, argv + argc);
  std::string interleave = "--benchmark_enable_random_interleaving=true";
  arguments.insert(arguments.begin() + 1, interleave.data());
  arguments.push_back(nullptr);
  int count = argc + 1;
  benchmark::Initialize(&count, arguments.data());
  if (benchmark::ReportUnrecognizedArguments(count, arguments.data())) return false;
  benchmark::RunSpecifiedBenchmarks(&results);
  return true;
}

}  // namespace tessaron
