// Measures the search for start codes in a block of bytes against memchr, which looks through the
// same bytes for one that is absent.

#include <cstring>
#include <random>
#include <string>

#include "mediainfo/mpeg_scan_internal.h"
#include "report.h"

namespace {

using tessaron::MpegScan;

constexpr std::byte kAbsent{0xB7};

enum Kind : std::int64_t { kPlain, kRandom, kZeros };

// A block without start codes and without `kAbsent`: both searches read it to the end.
std::vector<std::byte> block(std::int64_t kind) {
  std::mt19937 random(1);
  std::vector<std::byte> bytes(MpegScan::kBlockSize);
  for (std::byte& byte : bytes) {
    const auto any = static_cast<std::byte>(random());
    if (kind == kPlain) byte = any | std::byte{0x08};
    if (kind == kRandom) byte = any;
    if (byte == kAbsent) byte = std::byte{0xFF};
  }
  while (tessaron::findStartCode(bytes) < bytes.size()) {
    bytes[tessaron::findStartCode(bytes)] = std::byte{0xFF};
  }
  return bytes;
}

void scanBlock(benchmark::State& state) {
  const std::vector<std::byte> bytes = block(state.range(0));
  for (auto _ : state) {
    MpegScan scan;
    scan.scanBlock(bytes);
    benchmark::DoNotOptimize(scan);
  }
  state.SetBytesProcessed(state.iterations() * static_cast<std::int64_t>(bytes.size()));
}

void runMemchr(benchmark::State& state) {
  const std::vector<std::byte> bytes = block(state.range(0));
  for (auto _ : state) {
    const void* found = std::memchr(bytes.data(), std::to_integer<int>(kAbsent), bytes.size());
    benchmark::DoNotOptimize(found);
    if (found != nullptr) state.SkipWithError("the byte is there");
  }
  state.SetBytesProcessed(state.iterations() * static_cast<std::int64_t>(bytes.size()));
}

}  // namespace

int main(int argc, char** argv) {
  constexpr std::pair<Kind, const char*> kKinds[] = {
      {kPlain, "neither 0 nor 1"}, {kRandom, "random bytes"}, {kZeros, "zeros"}};
  for (const auto& [kind, text] : kKinds) {
    for (const auto& [name, function] :
         {std::pair{"scanBlock", &scanBlock}, {"runMemchr", &runMemchr}}) {
      benchmark::RegisterBenchmark(name, function)->Arg(kind)->Iterations(2000)->Repetitions(50);
    }
  }
  tessaron::Collector results;
  if (!tessaron::runInterleaved(argc, argv, results)) return 2;
  std::printf("\n");
  for (const auto& [kind, text] : kKinds) {
    tessaron::printRatio((std::string("scan of a block / memchr, ") + text).c_str(),
                         results.best("scanBlock", kind) / results.best("runMemchr", kind), 3.0);
  }
  return 0;
}
