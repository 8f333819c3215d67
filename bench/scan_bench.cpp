// Measures the description of a folder of files against two other programs, the description of one
// that an index knows against the first one, and the thumbnail of a large photograph against
// decoding and rescaling it.

#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <functional>
#include <map>
#include <string>
#include <vector>

#include "report.h"
#include "support/pictures/jpeg_scale.h"

namespace {

namespace fs = std::filesystem;

constexpr int kFiles = 2000;
constexpr int kRounds = 5;

struct Cost {
  double clock = 1e9;      ///< seconds
  double processor = 1e9;  ///< seconds, of all threads
  double memory = 1e9;     ///< KiB at most
};

/// Runs `work` in a child process and keeps the lowest costs. False when it failed.
bool measure(Cost& cost, const std::function<bool()>& work) {
  const auto begin = std::chrono::steady_clock::now();
  const pid_t child = fork();
  if (child == 0) _exit(work() ? 0 : 1);
  int status = 0;
  rusage usage{};
  if (child < 0 || wait4(child, &status, 0, &usage) != child || status != 0) return false;
  const std::chrono::duration<double> clock = std::chrono::steady_clock::now() - begin;
  const auto seconds = [](const timeval& time) {
    return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_usec) * 1e-6;
  };
  cost.clock = std::min(cost.clock, clock.count());
  cost.processor = std::min(cost.processor, seconds(usage.ru_utime) + seconds(usage.ru_stime));
  cost.memory = std::min(cost.memory, static_cast<double>(usage.ru_maxrss));
  return true;
}

bool run(const std::string& command) { return std::system(command.c_str()) == 0; }

/// Replaces the process with the program, so that no shell is measured.
bool runInPlace(std::vector<std::string> words) {
  if (!std::freopen("/dev/null", "w", stdout) || !std::freopen("/dev/null", "w", stderr))
    return false;
  std::vector<char*> arguments;
  for (std::string& word : words) arguments.push_back(word.data());
  arguments.push_back(nullptr);
  execvp(arguments[0], arguments.data());
  return false;
}

const char* const kPicture = "-f lavfi -i testsrc2=size=";
const char* const kSound = "-f lavfi -i sine=frequency=440:duration=5 ";

/// Describes 10,000 files with an index, anew and again.
bool benchIndex(const fs::path& folder, const std::string& tool) {
  constexpr int kCopies = 5;
  const fs::path many = folder.parent_path() / "many";
  for (int copy = 0; copy < kCopies; ++copy) {
    fs::create_directories(many / std::to_string(copy));
    for (const auto& file : fs::directory_iterator(folder))
      fs::create_hard_link(file, many / std::to_string(copy) / file.path().filename());
  }
  const fs::path index = folder.parent_path() / "index.db";
  const std::vector<std::string> words = {tool, "scan", "-r", "--csv", "--index", index, many};
  Cost first, again;
  for (int round = 0; round < kRounds; ++round) {
    fs::remove(index);
    for (Cost* cost : {&first, &again})
      if (!measure(*cost, [&words] { return runInPlace(words); })) return false;
  }
  std::printf("\n10,000 files: first %.2f s, again %.2f s\n", first.clock, again.clock);
  tessaron::printRatio("10,000 files with an index: again / first", again.clock / first.clock, 0.1);
  return true;
}

/// Makes the files of a folder of mixed kinds.
bool makeOriginals(const fs::path& folder) {
  const auto make = [&](const std::string& what, const char* name) {
    return run("ffmpeg -loglevel error -nostdin -y " + what + " '" + (folder / name).string() +
               "'");
  };
  const std::string picture = kPicture, sound = kSound;
  const std::string drawing = "-f lavfi -i mandelbrot=size=", frame = " -frames:v 1";
  const std::string film = picture + "640x480:rate=25 ", three = "-t 3 ";
  for (const char* name : {"letter.txt", "page.html", "archive.zip"})
    std::ofstream(folder / name) << std::string(40'000, '.');
  return make(picture + "640x480" + frame, "small.jpg") &&
         make(drawing + "2048x1536" + frame, "photo.jpg") &&
         make(drawing + "4000x3000" + frame + " -q:v 3", "large.jpg") &&
         make(picture + "800x600" + frame, "drawing.gif") &&
         make(picture + "320x240" + frame, "drawing.bmp") &&
         make(picture + "640x480" + frame, "scan.tif") &&
         make(picture + "720x576:rate=25 " + three + "-f vob -c:v mpeg2video", "two.mpg") &&
         make(picture + "352x288:rate=25 " + three + "-f mpeg", "one.mpg") &&
         make(film + sound + three + "-c:v mpeg4 -c:a libmp3lame", "four.avi") &&
         make(film + sound + three + "-c:v mjpeg", "motion.avi") &&
         make(film + sound + three, "film.wmv") && make(film + sound + three, "film.mov") &&
         make(sound + "-metadata title=Title -metadata artist=Someone", "song.mp3") &&
         make(sound, "sound.wav") && make(sound + "-metadata title=Title", "song.ogg") &&
         make(sound + "-metadata title=Title", "song.wma");
}

bool makeFolder(const fs::path& originals, const fs::path& folder) {
  fs::create_directory(originals);
  fs::create_directory(folder);
  if (!makeOriginals(originals)) return false;
  std::vector<fs::path> files(fs::directory_iterator(originals), fs::directory_iterator{});
  std::ranges::sort(files);
  for (std::size_t i = 0; i < kFiles; ++i) {
    const fs::path& from = files[i % files.size()];
    fs::copy_file(from, folder / (std::to_string(i) + '-' + from.filename().string()));
  }
  return true;
}

bool benchFolder(const fs::path& folder, const std::string& tool) {
  const std::map<std::string, std::vector<std::string>> programs = {
      {"tessaron", {tool, "scan", "--json", folder}},
      {"mediainfo", {"mediainfo", folder}},
      {"exiftool", {"exiftool", "-r", folder}}};
  std::map<std::string, Cost> costs;
  for (int round = 0; round < kRounds; ++round)
    for (const auto& [name, words] : programs)
      if (!measure(costs[name], [&command = words] { return runInPlace(command); })) return false;
  for (const auto& [name, cost] : costs)
    std::printf("%-12s %7.2f s, processor %7.2f s, memory %6.0f KiB\n", name.c_str(), cost.clock,
                cost.processor, cost.memory);
  const Cost& own = costs["tessaron"];
  for (const char* other : {"mediainfo", "exiftool"}) {
    const std::string what = "2,000 files: scan / " + std::string(other);
    tessaron::printRatio(what.c_str(), own.clock / costs[other].clock, 0.2);
    tessaron::printRatio("  processor", own.processor / costs[other].processor, 0);
  }
  return true;
}

bool benchThumbnail(const fs::path& photo) {
  // Noise, as in every photograph: a smooth picture would decode too fast.
  if (!run("ffmpeg -loglevel error -nostdin -y -f lavfi -i mandelbrot=size=6000x4000 -frames:v 1 "
           "-vf noise=alls=12 -pix_fmt yuvj420p -q:v 3 '" +
           photo.string() + "'")) {
    return false;
  }
  std::printf("\n24 megapixels in %ju bytes\n", static_cast<std::uintmax_t>(fs::file_size(photo)));
  const std::u16string path = photo.u16string();
  Cost idle, scaled, decoded;
  for (int round = 0; round < 2 * kRounds; ++round) {
    const bool done =
        measure(idle, [] { return true; }) &&
        measure(scaled,
                [&] {
                  fipWinImage image;
                  return jpegScaleDirect(path, image, 256, 256) == 8;
                }) &&
        measure(decoded, [&] {
          fipImage image;
          return image.load(photo.c_str()) && image.rescale(750, 500, FILTER_CATMULLROM);
        });
    if (!done) return false;
  }
  std::printf(
      "thumbnail %.0f ms, decode and rescale %.0f ms; beyond an idle process %.0f and %.0f KiB\n",
      scaled.processor * 1e3, decoded.processor * 1e3, scaled.memory - idle.memory,
      decoded.memory - idle.memory);
  tessaron::printRatio("24 megapixels: thumbnail / decode and rescale",
                       scaled.processor / decoded.processor, 1 / 3.0);
  tessaron::printRatio("  memory", (scaled.memory - idle.memory) / (decoded.memory - idle.memory),
                       0.1);
  return true;
}

}  // namespace

int main(int, char** argv) {
  const fs::path folder = fs::temp_directory_path() / ("scan_bench." + std::to_string(getpid()));
  fs::create_directory(folder);
  const std::string tool = fs::path(argv[0]).parent_path() / "tessaron";
  const bool done = makeFolder(folder / "originals", folder / "files") &&
                    benchFolder(folder / "files", tool) && benchIndex(folder / "files", tool) &&
                    benchThumbnail(folder / "photo.jpg");
  fs::remove_all(folder);
  if (!done) std::fprintf(stderr, "scan_bench: a program failed\n");
  return done ? 0 : 2;
}
