#include "verbs/chart.h"

#include <fmt/format.h>

#include <algorithm>
#include <charconv>
#include <cmath>
#include <limits>
#include <memory>
#include <nlohmann/json.hpp>
#include <optional>

#include "cli/terminal.h"
#include "graphics/pie_chart.h"
#include "output/csv.h"
#include "support/text.h"
#include "verbs/verbs.h"

namespace tessaron::tool {
namespace {

using nlohmann::ordered_json;

struct Size {
  int width = 0;
  int height = 0;
};

/// "600x400" as numbers; zeros for anything else. What is smaller has no room for the legend.
Size parseSize(const std::string& text) {
  constexpr Size kLeast = {200, 240};
  constexpr int kMost = 8192;
  Size size;
  const char* end = text.data() + text.size();
  const auto width = std::from_chars(text.data(), end, size.width);
  if (width.ec != std::errc() || width.ptr == end || *width.ptr != 'x') return {};
  const auto height = std::from_chars(width.ptr + 1, end, size.height);
  const bool fits = height.ec == std::errc() && height.ptr == end && size.width >= kLeast.width &&
                    size.height >= kLeast.height && size.width <= kMost && size.height <= kMost;
  return fits ? size : Size{};
}

/// The digits that a 32-bit number really has.
std::string digitsOf(double value) { return fmt::format("{:.7g}", value); }

/// What is given of an item as text or as a number.
struct Slice {
  std::string name;
  std::int32_t count;
  double value;
  std::optional<double> percent;  ///< none when all values add up to nothing
};

/// The chart's items, whose values are percentages of the sum; with a sum of nothing they are what
/// they were.
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
    for (std::size_t i = 1; i < row.size(); ++i)  // numbers stand to the right
      if (!row[i].empty()) row[i].insert(0, widths[i] - columns(row[i]), ' ');
    if (unit.empty()) row.erase(row.begin() + 2);
  }
  Table table(rows[0], {Fit::Wrap, Fit::Whole, Fit::Whole, Fit::Whole});
  for (std::size_t i = 1; i < rows.size(); ++i) {
    std::vector<Table::Cell> cells;
    for (std::string& text : rows[i]) cells.push_back({std::move(text)});
    table.add(std::move(cells));
  }
  return table;
}

/// The picture's bytes.
std::string pngOf(GPPieChart& chart) {
  if (chart.canvas == nullptr) throw Failure{kFailed, {}, "libgdiplus, which draws, is not there"};
  for (const scdata& item : chart.items)
    if (item.value < 0)
      throw Failure{
          kFailed, {}, "\"" + toUtf8(item.name) + "\" is below zero: no slice shows that"};
  chart.draw();
  CLSID encoder{};
  std::string content;
  if (chart.GetEncoderClsid(u"image/png", &encoder) < 0 ||
      chart.canvas->Save(content, &encoder, nullptr) != Gdiplus::Ok || content.empty())
    throw Failure{kFailed, {}, "the chart cannot be drawn"};
  return content;
}

struct Options {
  std::string items;
  ChartForm form;
};

/// Reads a line of name, count and value, separated by tabs. What is wrong with it, null for
/// nothing.
const char* parseLine(std::string_view line, scdata& item) {
  constexpr const char* kForeign = "not a name, a whole number and a value, separated by tabs";
  const std::size_t first = line.find('\t');
  const std::size_t second = first == line.npos ? first : line.find('\t', first + 1);
  if (second == line.npos) return kForeign;
  item.name = fromUtf8(line.substr(0, first));
  const std::string_view count = line.substr(first + 1, second - first - 1);
  std::string_view value = line.substr(second + 1);
  if (value.ends_with('%')) value.remove_suffix(1);  // as the library prints it
  const auto counted = std::from_chars(count.begin(), count.end(), item.count);
  const auto valued = std::from_chars(value.begin(), value.end(), item.value);
  constexpr std::errc kRange = std::errc::result_out_of_range;
  const auto isNumber = [&](const std::from_chars_result& read, std::string_view text) {
    return (read.ec == std::errc() || read.ec == kRange) && read.ptr == text.end();
  };
  if (!isNumber(counted, count) || !isNumber(valued, value) || !std::isfinite(item.value))
    return kForeign;
  if (counted.ec == kRange) return "the count is too great for a whole number of 32 bits";
  if (valued.ec == kRange) return "the value is too great or too small for a number of 32 bits";
  return nullptr;
}

std::vector<scdata> readItems(const std::string& path) {
  const std::string text = readInput(path);
  std::vector<scdata> items;
  std::size_t number = 0;
  for (std::size_t at = text.starts_with("\uFEFF") ? 3 : 0; at < text.size();) {
    const std::size_t end = std::min(text.find('\n', at), text.size());
    std::string_view line = std::string_view(text).substr(at, end - at);
    at = end + 1;
    ++number;
    if (line.ends_with('\r')) line.remove_suffix(1);
    if (line.empty()) continue;
    if (const char* fault = parseLine(line, items.emplace_back()))
      throw Failure{kBadData, fmt::format("{}:{}", displayName(path), number), fault};
  }
  return items;
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
  float sum = 0;  // as the chart adds them
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

void addChart(CLI::App& app, Context& context) {
  const auto options = std::make_shared<Options>();
  options->form.groupRest = false;
  CLI::App* verb = app.add_subcommand("chart", "Gives the shares of any items, or draws them");
  verb->add_option("ITEMS", options->items,
                   "Lines of a name, a count and a value, separated by tabs; - is standard input")
      ->type_name("")
      ->required();
  verb->add_flag("--group-rest", options->form.groupRest, "Make one of all from the 12th item on");
  addChartForm(*verb, options->form);
  verb->callback([options, &context] {
    context.run = [options, &context] {
      giveChart(readItems(options->items), "Name", "Value", ordered_json::object(), options->form,
                context);
      return kDone;
    };
  });
}

}  // namespace tessaron::tool
