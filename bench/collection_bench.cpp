// Loading and printing collections, side by side with what the XML library alone needs for the same
// text. The last lines give the ratios. What is measured is the processor's time, and of several
// interleaved repetitions the best one counts, so that others on the machine disturb little.

#include <benchmark/benchmark.h>
#include <malloc.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <filesystem>
#include <fstream>
#include <map>
#include <memory>
#include <sstream>
#include <string>
#include <string_view>

#include "records/record_set.h"
#include "report.h"
#include "sample_collection.h"
#include "support/files.h"
#include "support/text.h"
#include "support/xml/xml.h"

namespace {

constexpr std::int64_t kSmall = 1000, kMedium = 10000, kLarge = 100000;

const std::string& sampleText(std::int64_t items) {
  static std::map<std::int64_t, std::string> texts;
  std::string& text = texts[items];
  if (text.empty()) tessaron::sampleCollection(static_cast<std::size_t>(items)).toString(text);
  return text;
}

double processorSeconds() {
  timespec time;
  clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &time);
  return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_nsec) * 1e-9;
}

// Calls `prepare(text)`, which returns a pointer, and measures `timed(*pointer)`, which returns
// another; null is a failure. The end of both is not measured.
template <typename Prepare, typename Timed>
void measure(benchmark::State& state, Prepare prepare, Timed timed) {
  const std::string& text = sampleText(state.range(0));
  for (auto _ : state) {
    const auto input = prepare(text);
    malloc_trim(0);  // what was freed before is not to be tidied up on this run's account
    const double begin = processorSeconds();
    const auto result = timed(*input);
    const double end = processorSeconds();
    if (!result) state.SkipWithError("the run failed");
    state.SetIterationTime(end - begin);
  }
  state.SetBytesProcessed(static_cast<std::int64_t>(text.size()) * state.iterations());
}

const std::string* asItIs(const std::string& text) { return &text; }

// The XML library as it comes, with its defaults.
std::unique_ptr<TiXmlDocument> parsed(const std::string& text) {
  auto document = std::make_unique<TiXmlDocument>();
  document->Parse(text.c_str(), nullptr, TIXML_ENCODING_LEGACY);
  return document->Error() ? nullptr : std::move(document);
}

std::unique_ptr<CRecordSet> loaded(const std::string& text) {
  auto set = std::make_unique<CRecordSet>();
  return set->fromString(text) ? std::move(set) : nullptr;
}

void loadLibrary(benchmark::State& state) { measure(state, asItIs, parsed); }

void loadSet(benchmark::State& state) { measure(state, asItIs, loaded); }

void printLibrary(benchmark::State& state) {
  measure(state, parsed, [](const TiXmlDocument& document) {
    auto text = std::make_unique<std::string>();
    *text << document;
    return text;
  });
}

void printDocument(benchmark::State& state) {
  measure(state, parsed, [](const TiXmlDocument& document) {
    auto text = std::make_unique<std::string>();
    tessaron::printXml(document, *text);
    return text;
  });
}

void printSet(benchmark::State& state) {
  measure(state, loaded, [](CRecordSet& set) {
    auto text = std::make_unique<std::string>();
    return set.toString(*text) ? std::move(text) : nullptr;
  });
}

void printBuiltLibrary(benchmark::State& state) {
  measure(state, loaded, [](CRecordSet& set) {
    TiXmlDocument document;
    set.toXml(&document);
    auto text = std::make_unique<std::string>();
    *text << document;
    return text;
  });
}

void printTimes(const tessaron::Collector& results) {
  struct Comparison {
    const char* name;
    const char* ours;
    const char* library;
    double limit;  // 0 for a figure without a target
  };
  constexpr Comparison kComparisons[] = {
      {"CRecordSet::fromString / TinyXML's parse", "loadSet", "loadLibrary", 0.5},
      {"printXml / TinyXML's print of the same document", "printDocument", "printLibrary", 1.3},
      {"CRecordSet::toString / toXml and TinyXML's print", "printSet", "printBuiltLibrary", 0.3},
      {"CRecordSet::toString / TinyXML's print alone", "printSet", "printLibrary", 0.6},
  };
  for (const auto& [name, ours, library, limit] : kComparisons) {
    for (const std::int64_t items : {kSmall, kMedium, kLarge}) {
      const double alone = results.best(library, items);
      if (alone == 0) continue;
      const std::string what = std::string(name) + ", " + std::to_string(items);
      tessaron::printRatio(what.c_str(), results.best(ours, items) / alone, limit);
    }
    // How much more an item costs in the large collection, over how much more it costs the library.
    const auto growth = [&](const char* benchmark) {
      return results.best(benchmark, kLarge) / results.best(benchmark, kSmall);
    };
    if (results.best(library, kLarge) > 0 && results.best(library, kSmall) > 0) {
      tessaron::printRatio("  growth of the cost per item, beyond TinyXML's own",
                           growth(ours) / growth(library), 1.5);
    }
  }
}

// The memory program: loads the file in one of two ways and prints the process's peak.
int loadAndPrintPeak(std::string_view way, const std::string& path) {
  std::string text;
  if (!tessaron::readFile(tessaron::fromUtf8(path), text)) return 1;
  if (way == "library" ? !parsed(text) : !CRecordSet().fromString(std::move(text))) return 1;
  std::ifstream status("/proc/self/status");
  for (std::string line; std::getline(status, line);) {
    if (line.starts_with("VmHWM:")) std::printf("%s\n", line.c_str() + 6);
  }
  return 0;
}

// The peak of a process that does nothing but load, in MiB; 0 when it failed.
double peakOf(const char* program, const char* way, const std::string& path) {
  const std::string command = '\'' + std::string(program) + "' --peak " + way + " '" + path + '\'';
  FILE* pipe = popen(command.c_str(), "r");
  if (!pipe) return 0;
  double kilobytes = 0;
  const int fields = std::fscanf(pipe, "%lf", &kilobytes);
  return pclose(pipe) == 0 && fields == 1 ? kilobytes / 1024 : 0;
}

void printPeaks(const char* program) {
  const std::filesystem::path path =
      std::filesystem::temp_directory_path() / ("collection_bench." + std::to_string(getpid()));
  for (const std::int64_t items : {kSmall, kMedium, kLarge}) {
    const std::string& text = sampleText(items);
    std::ofstream(path, std::ios::binary) << text;
    const double library = peakOf(program, "library", path);
    const double ours = peakOf(program, "set", path);
    std::printf(
        "peak memory of a load, %6lld items (%.1f MiB of text): %.0f MiB, TinyXML alone "
        "%.0f MiB, ratio %.2f\n",
        static_cast<long long>(items), static_cast<double>(text.size()) / (1 << 20), ours, library,
        ours / library);
  }
  std::filesystem::remove(path);
}

}  // namespace

int main(int argc, char** argv) {
  if (argc == 4 && std::string_view(argv[1]) == "--write") {  // ITEMS FILE: a collection for others
    std::ofstream(argv[3], std::ios::binary) << sampleText(std::atoll(argv[2]));
    return 0;
  }
  if (argc == 4 && std::string_view(argv[1]) == "--peak") return loadAndPrintPeak(argv[2], argv[3]);
  const std::string program = std::filesystem::read_symlink("/proc/self/exe");

  constexpr std::pair<const char*, void (*)(benchmark::State&)> kBenchmarks[] = {
      {"loadLibrary", loadLibrary},   {"loadSet", loadSet},
      {"printLibrary", printLibrary}, {"printDocument", printDocument},
      {"printSet", printSet},         {"printBuiltLibrary", printBuiltLibrary},
  };
  for (const auto& [name, function] : kBenchmarks) {
    for (const std::int64_t items : {kSmall, kMedium, kLarge}) {
      benchmark::RegisterBenchmark(name, function)
          ->Arg(items)
          ->Iterations(1)
          ->Repetitions(items == kLarge ? 5 : 15)
          ->UseManualTime()
          ->Unit(benchmark::kMillisecond);
    }
  }
  tessaron::Collector results;
  if (!tessaron::runInterleaved(argc, argv, results)) return 2;
  std::printf("\n");
  printTimes(results);
  printPeaks(program.c_str());
  return 0;
}
