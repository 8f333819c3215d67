#include "output/chart.h"

#include <fmt/format.h>

#include <algorithm>
#include <charconv>
#include <cmath>
#include <limits>
#include <memory>
#include <nlohmann/json.hpp>
#include <optional>

#include "cli/failures.h"
#include "cli/options.h"
#include "cli/output.h"
#include "cli/terminal.h"
#include "graphics/pie_chart.h"
#include "output/csv.h"
#include "output/json.h"
#include "output/table.h"
#include "platform/gdiplus.h"
#include "support/text.h"
#include "verbs/verbs.h"

namespace tessaron::tool {
namespace {

using nlohmann::ordered_json;

struct Size {
  int width = 0;
  int height = 0;
};

/// Parses "600x400"; zeros for anything else, and for sizes without room for the legend.
Size parseSize(const std::string& text) {
  constexpr Size kMinSize = {200, 240};
  constexpr int kMaxSide = 8192;
  Size size;
  const char* end = text.data() + text.size();
  const auto width = std::from_chars(text.data(), end, size.width);
  if (width.ec != std::errc() || width.ptr == end || *width.ptr != 'x') return {};
  const auto height = std::from_chars(width.ptr + 1, end, size.height);
  const bool fits = height.ec == std::errc() && height.ptr == end && size.width >= kMinSize.width &&
                    size.height >= kMinSize.height && size.width <= kMaxSide &&
                    size.height <= kMaxSide;
  return fits ? size : Size{};
}

/// Formats a number with the precision of 32-bit floats.
std::string digitsOf(double value) { return fmt::format("{:.7g}", value); }

/// A row of the chart's data.
struct Slice {
  std::string name;
  std::int32_t count;
  double value;
  std::optional<double> percent;  ///< none when the sum is zero
};

/// Converts the chart's items, whose values are percentages of `sum`, or unscaled if that is zero.
std::vector<Slice> slicesOf(const GPSimpleChart& chart, double sum) {
  std::vector<Slice> slices;
  for (const scdata& item : chart.items) {
    Slice slice{toUtf8(item.name), item.count, item.value, {}};
    if (sum != 0) {
      slice.value = std::stod(digitsOf(item.value / 100.0 * sum));
      slice.percent = item.value;
    }
    slices.push_back(std::move(slice));
  }
  return slices;
}

std::string separatedRows(const std::vector<Slice>& slices, Form form) {
  std::string text = separatedRow(form, {"name", "count", "value", "percent"});
  for (const Slice& slice : slices)
    text += separatedRow(form, {slice.name, std::to_string(slice.count), digitsOf(slice.value),
                                slice.percent ? fmt::format("{:.6g}", *slice.percent) : ""});
  return text;
}

ordered_json jsonOf(const std::vector<Slice>& slices, ordered_json about) {
  ordered_json& items = about["items"] = ordered_json::array();
  for (const Slice& slice : slices)
    items.push_back(
        {{"name", slice.name},
         {"count", slice.count},
         {"value", slice.value},
         {"percent", slice.percent ? ordered_json(std::stod(digitsOf(*slice.percent))) : nullptr}});
  return about;
}

Table tableOf(const std::vector<Slice>& slices, const std::string& heading,
              const std::string& unit) {
  std::vector<std::vector<std::string>> rows = {{heading, "Count", unit, "Share"}};
  for (const Slice& slice : slices)
    rows.push_back({slice.name, std::to_string(slice.count), fmt::format("{:.2f}", slice.value),
                    slice.percent ? fmt::format("{:.2f} %", *slice.percent) : ""});
  std::vector<std::size_t> widths(rows[0].size());
  for (const auto& row : rows)
    for (std::size_t i = 0; i < row.size(); ++i) widths[i] = std::max(widths[i], columns(row[i]));
  for (auto& row : rows) {
    for (std::size_t i = 1; i < row.size(); ++i)  // align numbers to the right
      if (!row[i].empty()) row[i].insert(0, widths[i] - columns(row[i]), ' ');
    if (unit.empty()) row.erase(row.begin() + 2);
  }
  Table table(rows[0], {Fit::Wrap, Fit::Whole, Fit::Whole, Fit::Whole});
  for (std::size_t i = 1; i < rows.size(); ++i) {
    std::vector<Table::Cell> cells;
    for (std::string& text : rows[i]) cells.push_back({std::move(text)});
    table.add(cells);
  }
  return table;
}

/// Draws the chart as a PNG file.
std::string pngOf(GPPieChart& chart) {
  if (!chart.canvas) throw Failure{kFailed, {}, "libgdiplus, which draws, is not there"};
  for (const scdata& item : chart.items)
    if (item.value < 0)
      throw Failure{
          kFailed, {}, "\"" + toUtf8(item.name) + "\" is below zero: no slice shows that"};
  chart.draw();
  CLSID encoder{};
  std::string content;
  if (chart.GetEncoderClsid(u"image/png", &encoder) < 0 ||
      !encodeBitmap(*chart.canvas, encoder, content) || content.empty())
    throw Failure{kFailed, {}, "the chart cannot be drawn"};
  return content;
}

}  // namespace

void addChartForm(CLI::App& verb, ChartForm& form) {
  addFormFlags(verb, form.form, {Form::Json, Form::Csv, Form::Tsv, Form::Png});
  addOutputOption(verb, form.output);
  verb.add_option("--size", form.size, "The picture's size in pixels, from 200x240 to 8192x8192")
      ->type_name("WxH")
      ->capture_default_str()
      ->needs("--png")
      ->check([](const std::string& text) {
        return parseSize(text).width > 0 ? std::string() : "\"" + text + "\" is no such size";
      });
}

void giveChart(const std::vector<scdata>& items, const std::string& heading,
               const std::string& unit, ordered_json about, const ChartForm& form,
               const Context& context) {
  float sum = 0;  // with the chart's precision
  for (const scdata& item : items) sum += item.value;
  const bool isPicture = form.form == Form::Png;
  if (items.empty()) throw Failure{kFailed, {}, "there are no items"};
  if (sum == 0 && isPicture) throw Failure{kFailed, {}, "the values add up to nothing"};
  const auto isFinite = [](const scdata& item) { return std::isfinite(item.value); };

  const Size size = parseSize(form.size);
  GPPieChart picture(isPicture ? size.width : 1, isPicture ? size.height : 1);
  GPSimpleChart numbers;
  GPSimpleChart& chart = isPicture ? picture : numbers;
  for (const scdata& item : items) chart.feed(item);
  if (sum == 0) {
    chart.merge(form.groupRest);
  } else {
    chart.normalize(form.groupRest);
  }
  if (!std::isfinite(sum) || !std::ranges::all_of(chart.items, isFinite))
    throw Failure{kFailed, {}, "the values are too great"};

  const std::vector<Slice> slices = slicesOf(chart, sum);
  Output output(form.output);
  if (isPicture) {
    output.write(pngOf(picture));
  } else if (form.form == Form::Json) {
    output.write(jsonText(jsonOf(slices, std::move(about))) + '\n');
  } else if (form.form == Form::Table) {
    tableOf(slices, heading, unit).print(context, output);
  } else {
    output.write(separatedRows(slices, form.form));
  }
  output.finish();
  if (!isPicture || !output.isFile()) return;
  constexpr std::size_t kLegend = 14;
  const std::size_t count = chart.items.size();
  note(context, fmt::format("{}: {} {}", form.output, count, count == 1 ? "slice" : "slices"));
  if (count > kLegend) note(context, fmt::format("the legend has room for {}", kLegend));
}

}  // namespace tessaron::tool
