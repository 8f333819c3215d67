#include <algorithm>
#include <memory>

#include "settings/collation.h"
#include "support/text.h"
#include "verbs.h"

namespace tessaron::tool {
namespace {

struct Options {
  std::string input = "-";
  bool names = false;
  bool titles = false;
  int option = 0;
  bool noCase = false;
};

std::vector<std::string> linesOf(std::string_view text) {
  std::vector<std::string> lines;
  while (!text.empty()) {
    const std::size_t end = std::min(text.find('\n'), text.size());
    lines.emplace_back(text.substr(0, end));
    text.remove_prefix(std::min(end + 1, text.size()));
  }
  return lines;
}

int sortForms(const Options& options) {
  CCollationSystem::m_nOption = options.option;
  for (const std::string& line : linesOf(readInput(options.input))) {
    std::u16string text = fromUtf8(line);
    if (options.titles) {
      CCollationSystem::ConvertTitle(text);
    } else {
      CCollationSystem::ConvertName(text);
    }
    print(toUtf8(text) + '\n');
  }
  return kDone;
}

int sort(const Options& options) {
  struct Line {
    std::u16string text;
    std::string bytes;
  };
  std::vector<Line> lines;
  for (std::string& bytes : linesOf(readInput(options.input)))
    lines.push_back({fromUtf8(bytes), std::move(bytes)});
  std::ranges::stable_sort(lines, [&](const Line& a, const Line& b) {
    return CCollationSystem::CompareStringW(a.text.c_str(), b.text.c_str(), options.noCase) < 0;
  });
  for (const Line& line : lines) print(line.bytes + '\n');
  return kDone;
}

}  // namespace

void addSortForm(CLI::App& app, Context& context) {
  const auto options = std::make_shared<Options>();
  CLI::App* verb = app.add_subcommand("sortform", "Turns names or titles into what they sort by");
  verb->footer(
      "A line in, a line out: \"john smith\" becomes \"Smith, John\", and \"The Matrix\" becomes\n"
      "\"Matrix, The\". The options are those of the setting CollationOption: 0 converts names "
      "and\n"
      "titles, 1 only the case of names, 2 only names, 3 only titles.");
  CLI::Option* names =
      verb->add_flag("--names", options->names, "The lines are names (the default)");
  verb->add_flag("--titles", options->titles, "The lines are titles")->excludes(names);
  verb->add_option("--option", options->option, "What is converted")
      ->type_name("0..3")
      ->check(CLI::Range(0, 3))
      ->capture_default_str();
  verb->add_option("FILE", options->input, "The lines, if not from standard input");
  verb->callback([&context, options] { context.run = [options] { return sortForms(*options); }; });
}

void addSort(CLI::App& app, Context& context) {
  const auto options = std::make_shared<Options>();
  CLI::App* verb = app.add_subcommand("sort", "Sorts lines as the library sorts texts");
  verb->footer(
      "In the order of your language, numbers by their value. Lines that are the same in this\n"
      "respect stay as they stand. Case never counts: --no-case is what callers of the library "
      "say,\n"
      "and changes nothing.");
  verb->add_flag("--no-case", options->noCase, "Do not regard case");
  verb->add_option("FILE", options->input, "The lines, if not from standard input");
  verb->callback([&context, options] { context.run = [options] { return sort(*options); }; });
}

}  // namespace tessaron::tool
