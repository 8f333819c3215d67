// Unpacking a package, side by side with zlib inflating the same entries in one piece each and
// writing them to files: the least that has to be done. The last lines give the ratios. What is
// measured is the processor's time of this process; of several interleaved repetitions the best one
// counts. The files stand in the temporary folder (TMPDIR).

#include <benchmark/benchmark.h>
#include <fcntl.h>
#include <unistd.h>
#include <zlib.h>

#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <filesystem>
#include <fstream>
#include <map>
#include <random>
#include <string>
#include <vector>

#include "report.h"
#include "themes/theme_package.h"

namespace {

namespace fs = std::filesystem;

constexpr std::int64_t kPackageSize = std::int64_t{64} << 20;
constexpr std::int64_t kPictures = 256, kBitmaps = 41;   // values of their bytes
constexpr std::size_t kFileSize = std::size_t{2} << 20;  // a large picture
constexpr std::size_t kHeaderSize = 1044;

fs::path folder;

struct Entry {
  std::string name;
  std::size_t size;    // bytes when inflated
  std::size_t offset;  // of its data in the package
  std::size_t packedSize;
};

struct Package {
  fs::path path;
  std::vector<Entry> entries;
  std::size_t unpacked = 0;
};

std::string number(std::size_t value) {
  std::string bytes;
  for (int shift = 0; shift < 32; shift += 8) bytes += static_cast<char>(value >> shift);
  return bytes;
}

// Noise of so many values: 256 do not compress, as most pictures do not once they are in a file;
// 41 compress to two thirds, as bitmaps do.
std::string noise(std::mt19937& random, std::int64_t values) {
  std::string bytes(kFileSize, '\0');
  for (char& byte : bytes) byte = static_cast<char>(random() % values);
  return bytes;
}

std::string deflated(const std::string& content) {
  uLongf size = compressBound(content.size());
  std::string data(size, '\0');
  compress(reinterpret_cast<Bytef*>(data.data()), &size,
           reinterpret_cast<const Bytef*>(content.data()), content.size());
  data.resize(size);
  return data;
}

std::string entryHeader(std::size_t id, std::size_t packedSize, std::size_t size) {
  return number(id) + number(packedSize) + number(size) + std::string(64, '\0');
}

// A package of 64 MiB with as many files as that takes.
const Package& package(std::int64_t values) {
  static std::map<std::int64_t, Package> packages;
  const auto make = [values] {
    Package result{folder / ("Large" + std::to_string(values) + ".tpk"), {}, 0};
    std::mt19937 random;
    std::string body, index = "<index>";
    while (static_cast<std::int64_t>(body.size()) < kPackageSize) {
      const std::string data = deflated(noise(random, values));
      const std::size_t id = result.entries.size() + 1;
      const std::string name = "picture" + std::to_string(id) + ".bmp";
      index += "<file id=\"" + std::to_string(id) + "\" filename=\"" + name + "\"/>";
      body += entryHeader(id, data.size(), kFileSize);
      result.entries.push_back({name, kFileSize, body.size(), data.size()});
      body += data;
      result.unpacked += kFileSize;
    }
    index += "</index>";
    const std::string packedIndex = deflated(index);
    std::string head = std::string("TP\1\0", 4) + std::string(kHeaderSize - 4, '\7') +
                       entryHeader(0, packedIndex.size(), index.size()) + packedIndex;
    for (Entry& entry : result.entries) entry.offset += head.size();
    std::ofstream(result.path, std::ios::binary) << head << body;
    return result;
  };
  const auto found = packages.find(values);
  return found != packages.end() ? found->second : packages.emplace(values, make()).first->second;
}

double processorSeconds() {
  timespec own;
  clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &own);
  return static_cast<double>(own.tv_sec) + static_cast<double>(own.tv_nsec) * 1e-9;
}

std::size_t sizeOf(const fs::path& where) {
  std::size_t size = 0;
  for (const auto& entry : fs::recursive_directory_iterator(where))
    if (entry.is_regular_file()) size += entry.file_size();
  return size;
}

// Measures `unpack(where)` into an empty folder, with what was written before on the disk.
template <typename Unpack>
void measure(benchmark::State& state, Unpack unpack) {
  const Package& from = package(state.range(0));
  const fs::path where = folder / "unpacked";
  for (auto _ : state) {
    fs::remove_all(where);
    fs::create_directory(where);
    sync();
    const double begin = processorSeconds();
    unpack(from, where);
    state.SetIterationTime(processorSeconds() - begin);
    if (sizeOf(where) != from.unpacked) state.SkipWithError("not all was unpacked");
  }
}

void unpackPackage(benchmark::State& state) {
  measure(state, [](const Package& from, const fs::path& where) {
    CThemePackage read;
    read.path = from.path.u16string();
    read.Initialize(where.u16string(), true);
  });
}

// What no reader can spare: read the data, inflate it, write the files.
void inflateAndWrite(benchmark::State& state) {
  measure(state, [](const Package& from, const fs::path& where) {
    const int package = open(from.path.c_str(), O_RDONLY);
    std::vector<Bytef> packed, content;
    for (const Entry& entry : from.entries) {
      packed.resize(entry.packedSize);
      content.resize(entry.size);
      uLongf size = entry.size;
      const auto got =
          pread(package, packed.data(), packed.size(), static_cast<off_t>(entry.offset));
      if (got != static_cast<ssize_t>(packed.size()) ||
          uncompress(content.data(), &size, packed.data(), packed.size()) != Z_OK)
        std::abort();
      const int file = open((where / entry.name).c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0666);
      if (write(file, content.data(), size) != static_cast<ssize_t>(size)) std::abort();
      close(file);
    }
    close(package);
  });
}

}  // namespace

int main(int argc, char** argv) {
  folder = fs::temp_directory_path() / ("package_bench." + std::to_string(getpid()));
  fs::create_directory(folder);
  const auto add = [](const char* name, void (*function)(benchmark::State&)) {
    benchmark::RegisterBenchmark(name, function)
        ->Arg(kPictures)
        ->Arg(kBitmaps)
        ->Iterations(1)
        ->Repetitions(11)
        ->UseManualTime()
        ->Unit(benchmark::kMillisecond);
  };
  add("unpackPackage", unpackPackage);
  add("inflateAndWrite", inflateAndWrite);
  tessaron::Collector results;
  const bool hasRun = tessaron::runInterleaved(argc, argv, results);
  std::printf("\n");
  for (const std::int64_t values : {kPictures, kBitmaps}) {
    if (!hasRun) break;
    const std::string what = "unpack 64 MiB, " + std::to_string(package(values).unpacked >> 20) +
                             " MiB when inflated / zlib alone";
    tessaron::printRatio(
        what.c_str(),
        results.best("unpackPackage", values) / results.best("inflateAndWrite", values), 1.15);
  }
  fs::remove_all(folder);
  return hasRun ? 0 : 2;
}
