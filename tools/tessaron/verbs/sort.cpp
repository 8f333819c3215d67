#include <unistd.h>

#include <algorithm>
#include <memory>
#include <optional>

#include "cli/failures.h"
#include "cli/input.h"
#include "cli/output.h"
#include "cli/settings_store.h"
#include "cli/terminal.h"
#include "settings/collation.h"
#include "support/text.h"
#include "verbs/verbs.h"

namespace tessaron::tool {
namespace {

struct Options {
  std::string input = "-";
  bool names = false;
  bool titles = false;
  std::optional<int> option;
  bool noCase = false;
};

/// The lines of a file, without line ends and byte-order mark.
std::vector<std::string> readLines(const std::string& path) {
  constexpr std::string_view kByteOrderMark = "\xEF\xBB\xBF";
  const std::string content = readInput(path);
  std::string_view text = content;
  if (text.starts_with(kByteOrderMark)) text.remove_prefix(kByteOrderMark.size());
  std::vector<std::string> lines;
  while (!text.empty()) {
    const std::size_t end = std::min(text.find('\n'), text.size());
    std::string_view line = text.substr(0, end);
    if (line.ends_with('\r')) line.remove_suffix(1);
    lines.emplace_back(line);
    text.remove_prefix(std::min(end + 1, text.size()));
  }
  return lines;
}

/// Prints lines; on a terminal without control sequences.
class LinePrinter {
 public:
  void print(const std::string& line) const {
    tool::print((isTerminal_ ? printable(line) : line) + '\n');
  }

 private:
  bool isTerminal_ = terminalWidth(STDOUT_FILENO).has_value();
};

int sortForms(const Options& options) {
  if (!options.option) loadSetting(u"CollationOption", _Config);
  CCollationSystem::m_nOption = options.option.value_or(_Config.CollationOption);
  const LinePrinter printer;
  for (const std::string& line : readLines(options.input)) {
    std::u16string text = fromUtf8(line);
    if (options.titles) {
      CCollationSystem::ConvertTitle(text);
    } else {
      CCollationSystem::ConvertName(text);
    }
    printer.print(toUtf8(text));
  }
  return kDone;
}

int sort(const Options& options) {
  struct Line {
    std::u16string text;
    std::string bytes;
  };
  std::vector<Line> lines;
  for (std::string& bytes : readLines(options.input))
    lines.push_back({fromUtf8(bytes), std::move(bytes)});
  std::ranges::stable_sort(lines, [&](const Line& a, const Line& b) {
    return CCollationSystem::CompareStringW(a.text.c_str(), b.text.c_str(), options.noCase) < 0;
  });
  const LinePrinter printer;
  for (const Line& line : lines) printer.print(line.bytes);
  return kDone;
}

}  // namespace

void addSortForm(CLI::App& app, Context& context) {
  const auto options = std::make_shared<Options>();
  CLI::App* verb = app.add_subcommand("sortform", "Turns names or titles into what they sort by");
  verb->footer(
      "A line in, a line out: \"john smith\" becomes \"Smith, John\", and \"The Matrix\" becomes\n"
      "\"Matrix, The\". What is converted is up to the setting CollationOption, as in import, or\n"
      "else to --option: 0 names and titles, 1 the case of names, 2 names, 3 titles.");
  CLI::Option* names =
      verb->add_flag("--names", options->names, "The lines are names (the default)");
  verb->add_flag("--titles", options->titles, "The lines are titles")->excludes(names);
  verb->add_option("--option", options->option, "What is converted, whatever the settings say")
      ->type_name("0..3")
      ->check(CLI::Range(0, 3));
  verb->add_option("FILE", options->input, "The lines, if not from standard input");
  verb->callback([&context, options] { context.run = [options] { return sortForms(*options); }; });
}

void addSort(CLI::App& app, Context& context) {
  const auto options = std::make_shared<Options>();
  CLI::App* verb = app.add_subcommand("sort", "Sorts lines as the library sorts texts");
  verb->footer(
      "In the order of your language, numbers by their value. Lines that are the same in this\n"
      "respect stay as they stand; each is written with a line feed behind it. Case never counts:\n"
      "--no-case is what callers of the library say, and changes nothing.");
  verb->add_flag("--no-case", options->noCase, "Do not regard case");
  verb->add_option("FILE", options->input, "The lines, if not from standard input");
  verb->callback([&context, options] { context.run = [options] { return sort(*options); }; });
}

}  // namespace tessaron::tool
