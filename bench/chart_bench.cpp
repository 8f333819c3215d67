// How normalizing grows, what a pie costs beside the drawing calls that it is made of, and what a
// whole run of the tool costs beside gnuplot's.

#include <benchmark/benchmark.h>
#include <spawn.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cmath>
#include <cstdint>
#include <cstdio>
#include <ctime>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include "graphics/pie_chart.h"
#include "platform/gdiplus.h"
#include "report.h"
#include "support/text.h"

extern char** environ;

namespace {

namespace fs = std::filesystem;
using benchmark::State;

constexpr std::int64_t kSizes[] = {1'000, 10'000, 100'000, 1'000'000};
constexpr int kWidth = 600;
constexpr int kHeight = 400;
constexpr int kSlices = 12;

fs::path folder() {
  return fs::temp_directory_path() / ("chart_bench." + std::to_string(getpid()));
}

// Times the processor instead of the wall: other programs may run meanwhile.
template <typename Work>
void timeWork(State& state, Work work) {
  const std::clock_t begin = std::clock();
  work();
  state.SetIterationTime(static_cast<double>(std::clock() - begin) / CLOCKS_PER_SEC);
}

// Every name twice, far apart.
void normalize(State& state) {
  GPSimpleChart fed;
  for (std::int64_t i = 0; i < state.range(0); ++i)
    fed.feed({tessaron::fromUtf8("publisher " + std::to_string(i * 7919 % (state.range(0) / 2))), 1,
              static_cast<float>(i % 97)});
  for (auto _ : state) {
    GPSimpleChart chart = fed;
    timeWork(state, [&] { chart.normalize(false); });
  }
}

GPPieChart sampleChart() {
  GPPieChart chart(kWidth, kHeight);
  for (int i = 0; i < kSlices; ++i)
    chart.feed(
        {tessaron::fromUtf8("Item " + std::to_string(i)), i, static_cast<float>(kSlices - i)});
  chart.normalize(true);
  return chart;
}

void drawChart(State& state) {
  const std::u16string path = (folder() / "chart.png").u16string();
  for (auto _ : state) {
    timeWork(state, [&] {
      GPPieChart chart = sampleChart();
      chart.draw();
      if (!chart.writePng(path)) state.SkipWithError("cannot write");
    });
  }
}

// The calls that the chart above makes, their arguments worked out beforehand.
struct Calls {
  struct Pie {
    Gdiplus::Color color;
    int x, y, width, height;
    float start, sweep;
  };
  struct Row {
    Gdiplus::Color color;
    int x, y;
    std::u16string label;
    Gdiplus::RectF box;
  };
  std::vector<Pie> pies;
  std::vector<Row> rows;

  Calls() {
    constexpr int kPieWidth = kWidth - 40;
    constexpr int kPieHeight = kHeight - 213;
    constexpr int kColors[][3] = {{50, 193, 0},  {122, 229, 0}, {234, 255, 0}, {255, 215, 0},
                                  {255, 160, 0}, {255, 111, 0}, {255, 27, 0},  {255, 0, 117},
                                  {166, 0, 204}, {18, 0, 198},  {0, 87, 209},  {0, 168, 228}};
    constexpr double kDegree = 0.017453292519943295;
    const auto color = [&](int i, int thirds) {
      const auto part = [&](int c) {
        return static_cast<std::uint8_t>(kColors[i][c] * thirds / 3);
      };
      return Gdiplus::Color(part(0), part(1), part(2));
    };
    const auto angle = [&](float a) {
      const double degrees =
          std::atan2(std::sin(a * kDegree) * kPieHeight, std::cos(a * kDegree) * kPieWidth) /
          kDegree;
      return static_cast<float>(degrees < 0 ? degrees + 360 : degrees);
    };
    const GPPieChart chart = sampleChart();
    for (int layer = 0; layer <= 13; ++layer) {
      const int q = 100 * layer / 13;
      float start = -90;
      for (int i = 0; i < kSlices; ++i) {
        const float turn = chart.items[static_cast<std::size_t>(i)].value / 100 * 360;
        const float from = angle(start);
        const float sweep = angle(start + turn) - from;
        pies.push_back({color(i, layer < 13 ? 2 : 3), 20 + (100 - q) / 13 / 4, 33 - layer,
                        kPieWidth + (2 * q - 200) / 13 / 4, kPieHeight, from,
                        sweep < 0 ? sweep + 360 : sweep});
        start += turn;
      }
    }
    for (int i = 0; i < kSlices; ++i) {
      const scdata& item = chart.items[static_cast<std::size_t>(i)];
      const int x = i < 7 ? 20 : kWidth / 2;
      const int y = kPieHeight + 53 + 20 * (i % 7);
      rows.push_back(
          {color(i, 3),
           x,
           y,
           item.name + tessaron::fromUtf8(" " + std::to_string(item.count) + " (" +
                                          std::to_string(static_cast<int>(item.value)) + "%)"),
           {static_cast<float>(x + 20), static_cast<float>(y + 1), 260,
            static_cast<float>(i < kSlices - 1 ? 15 : kHeight - y - 16)}});
    }
  }
};

void drawBare(State& state) {
  using namespace Gdiplus;
  const Calls calls;
  const std::u16string path = (folder() / "bare.png").u16string();
  CLSID png;
  GPChart().GetEncoderClsid(u"image/png", &png);
  const auto draw = [&] {
    Bitmap canvas(kWidth, kHeight, PixelFormat24bppRGB);
    {
      Graphics graphics(&canvas);
      graphics.Clear(Color(0xFFFFFFFF));
      graphics.SetSmoothingMode(SmoothingModeAntiAlias);
      for (const Calls::Pie& pie : calls.pies) {
        const SolidBrush brush(pie.color);
        graphics.FillPie(&brush, pie.x, pie.y, pie.width, pie.height, pie.start, pie.sweep);
      }
      const FontFamily family(u"Tahoma");
      const Font font(&family, 8, FontStyleRegular, UnitPoint);
      StringFormat format;
      format.SetAlignment(StringAlignmentNear);
      format.SetTrimming(StringTrimmingEllipsisCharacter);
      const SolidBrush black(Color(0, 0, 0));
      for (const Calls::Row& row : calls.rows) {
        const SolidBrush brush(row.color);
        graphics.FillRectangle(&brush, row.x, row.y, 15, 15);
        graphics.DrawString(row.label.c_str(), static_cast<int>(row.label.size()), &font, row.box,
                            &format, &black);
      }
    }
    if (canvas.Save(path.c_str(), &png, nullptr) != Ok) state.SkipWithError("cannot write");
  };
  for (auto _ : state) timeWork(state, draw);
}

void runProgram(State& state, std::vector<std::string> arguments) {
  std::vector<char*> argv;
  for (std::string& argument : arguments) argv.push_back(argument.data());
  argv.push_back(nullptr);
  const auto childrenTime = [] {
    rusage used{};
    getrusage(RUSAGE_CHILDREN, &used);
    const auto seconds = [](const timeval& t) { return t.tv_sec + t.tv_usec * 1e-6; };
    return seconds(used.ru_utime) + seconds(used.ru_stime);
  };
  for (auto _ : state) {
    const double before = childrenTime();
    pid_t child = 0;
    int status = 1;
    if (posix_spawnp(&child, argv[0], nullptr, nullptr, argv.data(), environ) == 0)
      waitpid(child, &status, 0);
    if (status != 0) state.SkipWithError((arguments[0] + " fails").c_str());
    state.SetIterationTime(childrenTime() - before);
  }
}

void runTool(State& state) {
  const fs::path tool = fs::read_symlink("/proc/self/exe").parent_path() / "tessaron";
  std::ofstream items(folder() / "items.tsv");
  for (int i = 0; i < kSlices; ++i)
    items << "Item " << i << '\t' << i << '\t' << kSlices - i << '\n';
  items.close();
  runProgram(state, {tool, "-q", "chart", folder() / "items.tsv", "--png", folder() / "tool.png"});
}

// A flat pie, smooth as ours, with a name beside every slice.
void runGnuplot(State& state) {
  std::ofstream script(folder() / "pie.gp");
  script << "set terminal pngcairo size " << kWidth << ',' << kHeight << "\nset output '"
         << (folder() / "gnuplot.png").string() << R"('
unset border; unset tics; unset key
set xrange [-2:2]; set yrange [-1.33:1.33]
set style fill solid 1
do for [i=0:11] {
  set object i+1 circle at 0,0 size 1 arc [i*30:(i+1)*30] fc rgb hsv2rgb(i/12.0,1,1)
  set label i+1 sprintf('Item %d', i) at 1.1*cos((i+.5)*pi/6),1.1*sin((i+.5)*pi/6)
}
plot NaN notitle
)";
  script.close();
  runProgram(state, {"gnuplot", folder() / "pie.gp"});
}

void report(const tessaron::Collector& results) {
  std::printf("\n");
  for (const std::int64_t size : kSizes)
    std::printf("normalize %8lld items: %8.2f ms, %5.2f ns an item and doubling\n",
                static_cast<long long>(size), results.best("normalize", size) * 1e3,
                results.best("normalize", size) * 1e9 / static_cast<double>(size) /
                    std::log2(static_cast<double>(size)));
  tessaron::printRatio("pie to PNG / the bare drawing calls",
                       results.best("drawChart", kSlices) / results.best("drawBare", kSlices), 1.1);
  const double ours = results.best("runTool", kSlices);
  const double gnuplot = results.best("runGnuplot", kSlices);
  std::printf(
      "whole process, processor time: tessaron chart %.1f ms, gnuplot %.1f ms: %.2f times as "
      "fast\n",
      ours * 1e3, gnuplot * 1e3, gnuplot / ours);
}

std::string contentOf(const char* name) {
  std::ifstream file(folder() / name, std::ios::binary);
  return {std::istreambuf_iterator<char>(file), {}};
}

}  // namespace

int main(int argc, char** argv) {
  fs::create_directories(folder());
  for (const std::int64_t size : kSizes)
    benchmark::RegisterBenchmark("normalize", normalize)
        ->Arg(size)
        ->Repetitions(5)
        ->MinTime(0.05)
        ->UseManualTime()
        ->Unit(benchmark::kMillisecond);
  for (const auto& [name, function] : {std::pair("drawChart", &drawChart), {"drawBare", &drawBare}})
    benchmark::RegisterBenchmark(name, function)
        ->Arg(kSlices)
        ->Repetitions(20)
        ->MinTime(0.1)
        ->UseManualTime()
        ->Unit(benchmark::kMillisecond);
  for (const auto& [name, function] : {std::pair("runTool", &runTool), {"runGnuplot", &runGnuplot}})
    benchmark::RegisterBenchmark(name, function)
        ->Arg(kSlices)
        ->Iterations(1)
        ->Repetitions(40)
        ->UseManualTime()
        ->Unit(benchmark::kMillisecond);
  tessaron::Collector results;
  if (!tessaron::runInterleaved(argc, argv, results)) return 2;
  report(results);
  const bool same = contentOf("chart.png") == contentOf("bare.png");
  if (!same) std::printf("the bare calls drew another picture: the ratio says nothing\n");
  fs::remove_all(folder());
  return same ? 0 : 1;
}
