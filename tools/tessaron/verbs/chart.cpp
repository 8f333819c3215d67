#include "output/chart.h"

#include <fmt/format.h>

#include <charconv>
#include <cmath>
#include <limits>
#include <memory>
#include <nlohmann/json.hpp>

#include "cli/failures.h"
#include "cli/input.h"
#include "cli/paths.h"
#include "support/text.h"
#include "verbs/verbs.h"

namespace tessaron::tool {
namespace {

struct Options {
  std::string items;
  ChartForm form;
};

/// Parses a line of name, count and value, separated by tabs. Returns an error message, or null.
const char* parseLine(std::string_view line, scdata& item) {
  constexpr const char* kForeign = "not a name, a whole number and a value, separated by tabs";
  const std::size_t first = line.find('\t');
  const std::size_t second = first == line.npos ? first : line.find('\t', first + 1);
  if (second == line.npos) return kForeign;
  item.name = fromUtf8(line.substr(0, first));
  const std::string_view count = line.substr(first + 1, second - first - 1);
  std::string_view value = line.substr(second + 1);
  if (value.ends_with('%')) value.remove_suffix(1);  // the library prints shares so
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
      giveChart(readItems(options->items), "Name", "Value", nlohmann::ordered_json::object(),
                options->form, context);
      return kDone;
    };
  });
}

}  // namespace tessaron::tool
