#include "cli/options.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <cctype>

namespace tessaron::tool {
namespace {

/// How many characters have to be added, left out, replaced or swapped with the next one to turn
/// one word into the other, whatever their case.
std::size_t editDistance(std::string_view a, std::string_view b) {
  const auto same = [](char x, char y) {
    return std::tolower(static_cast<unsigned char>(x)) ==
           std::tolower(static_cast<unsigned char>(y));
  };
  std::vector<std::vector<std::size_t>> rows(a.size() + 1, std::vector<std::size_t>(b.size() + 1));
  for (std::size_t i = 0; i <= a.size(); ++i) {
    for (std::size_t j = 0; j <= b.size(); ++j) {
      std::size_t& cost = rows[i][j] = i + j;  // right where either word is empty
      if (i == 0 || j == 0) continue;
      cost = std::min({rows[i - 1][j] + 1, rows[i][j - 1] + 1,
                       rows[i - 1][j - 1] + (same(a[i - 1], b[j - 1]) ? 0 : 1)});
      if (i > 1 && j > 1 && same(a[i - 1], b[j - 2]) && same(a[i - 2], b[j - 1]))
        cost = std::min(cost, rows[i - 2][j - 2] + 1);
    }
  }
  return rows[a.size()][b.size()];
}

}  // namespace

void addCollectionOption(CLI::App& verb, std::string& path, bool editable) {
  verb.add_option("-c,--collection", path, "The collection's file")
      ->type_name("FILE")
      ->required()
      ->check([editable](const std::string& value) -> std::string {
        if (value.empty()) return "the file's name is empty";
        return editable && value == "-" ? "standard input cannot be changed" : "";
      });
}

void addFormFlags(CLI::App& verb, Form& form, std::initializer_list<Form> offered) {
  struct Flag {
    const char* name;
    const char* help;
  };
  static constexpr Flag kFlags[] = {
      {nullptr, nullptr},
      {"--json", "Give the result as JSON"},
      {"--csv", "Give it as CSV (RFC 4180); no spreadsheet takes a text for a formula"},
      {"--tsv",
       "Give it tab-separated, a line a row: tabs, line ends and backslashes as \\t, "
       "\\n, \\r, \\\\"},
      {"--html", "Give it as a page for web browsers"},
      {"--ics", "Give it as a calendar (iCalendar)"},
      {"--xml", "Give it as XML"},
      {"--png", "Give it as a picture (PNG)"},
  };
  std::vector<CLI::Option*> flags;
  for (const Form each : offered) {
    const Flag& flag = kFlags[static_cast<std::size_t>(each)];
    CLI::Option* added = verb.add_flag_callback(
        flag.name, [&form, each] { form = each; }, flag.help);
    for (CLI::Option* other : flags) added->excludes(other);
    flags.push_back(added);
  }
}

void addOutputOption(CLI::App& verb, std::string& path) {
  verb.add_option("-o,--output", path, "Where to write the result, if not to standard output (-)")
      ->type_name("FILE")
      ->check([](const std::string& value) {
        return value.empty() ? std::string("the file's name is empty") : std::string();
      });
}

std::string_view nearest(std::string_view word, const std::vector<std::string>& candidates) {
  std::string_view best;
  std::size_t least = (word.size() + 2) / 4 + 1;  // a near one has fewer typing errors than that
  if (word.size() > 64) return best;              // not typed, and slow to compare
  for (const std::string& candidate : candidates) {
    const std::size_t distance = editDistance(word, candidate);
    if (distance >= least) continue;
    least = distance;
    best = candidate;
  }
  return best;
}

}  // namespace tessaron::tool
