#include <fmt/format.h>

#include <algorithm>
#include <memory>
#include <optional>

#include "cli/failures.h"
#include "cli/input.h"
#include "cli/output.h"
#include "cli/settings_store.h"
#include "cli/sort_language.h"
#include "cli/terminal.h"
#include "output/table.h"
#include "platform/standard_streams.h"
#include "platform/text.h"
#include "settings/collation.h"
#include "support/sort_form.h"
#include "support/text.h"
#include "verbs/verbs.h"

namespace tessaron::tool {
namespace {

struct Options {
  std::string input = "-";
  bool names = false;
  bool titles = false;
  std::optional<int> option;
  std::string language;
  std::vector<std::string> articles;
  std::vector<std::string> particles;
  bool explain = false;
  bool noCase = false;
  std::string locale;

  /// Whether the rules of a language or one's own count, instead of the library's.
  bool hasRules() const { return !language.empty() || !articles.empty() || !particles.empty(); }
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
  bool isTerminal_ = isTerminal(StandardStream::Out);
};

/// The rules that the options ask for. Fails with kUsage for an unknown language.
SortRules rulesFor(const Options& options) {
  SortRules rules;
  if (!options.language.empty()) rules = rulesOf(sortLanguage(options.language));
  for (const std::string& article : options.articles)
    rules.articles.push_back({fromUtf8(article), "--article"});
  for (const std::string& particle : options.particles) {
    const SortRules::Entry entry{fromUtf8(particle), "--particle"};
    // One's own rule counts, not the language's.
    std::erase_if(rules.kept,
                  [&](const SortRules::Entry& each) { return each.text == entry.text; });
    rules.moved.push_back(entry);
  }
  return rules;
}

constexpr const char* kHasComma = "it has a comma, so it is a sort form";

/// The library's sort forms, with the steps that led to them.
SortForm libraryTitle(std::u16string title) {
  const int option = CCollationSystem::m_nOption;
  const bool hasComma = title.find(u',') != title.npos;
  if (CCollationSystem::ConvertTitle(title) != 0)
    return {std::move(title), {"the article goes to the end"}};
  if (option == 1 || option == 2)
    return {std::move(title), {fmt::format("titles stay under option {}", option)}};
  return {std::move(title), {hasComma ? kHasComma : "it begins with neither \"The\" nor \"A\""}};
}

SortForm libraryName(std::u16string name) {
  const int option = CCollationSystem::m_nOption;
  if (option == 3) return {std::move(name), {"names stay under option 3"}};
  SortForm form{name, {}};
  const bool hasComma = name.find(u',') != name.npos;
  const bool isMoved = CCollationSystem::ConvertName(form.text) != 0;
  CCollationSystem::m_nOption = 1;  // the case alone
  const std::u16string written = name;
  CCollationSystem::ConvertName(name);
  CCollationSystem::m_nOption = option;
  if (name != written) form.steps.emplace_back("every word gets a capital and small letters");
  if (isMoved)
    form.steps.emplace_back("the last word goes to the front");
  else if (option == 1)
    form.steps.emplace_back("the order of names stays under option 1");
  else
    form.steps.emplace_back(hasComma ? kHasComma : "there is no word to go to the front");
  return form;
}

SortForm formOf(const std::u16string& text, const Options& options, const SortRules& rules) {
  if (options.hasRules())
    return options.titles ? titleSortForm(text, rules) : nameSortForm(text, rules);
  return options.titles ? libraryTitle(text) : libraryName(text);
}

int sortForms(const Options& options) {
  SortRules rules;
  if (options.hasRules()) {
    rules = rulesFor(options);
  } else {
    if (!options.option) loadSetting(u"CollationOption", _Config);
    CCollationSystem::m_nOption = options.option.value_or(_Config.CollationOption);
  }
  const LinePrinter printer;
  for (const std::string& line : readLines(options.input)) {
    const SortForm form = formOf(fromUtf8(line), options, rules);
    std::string out = toUtf8(form.text);
    if (options.explain && !line.empty()) out += '\t' + CLI::detail::join(form.steps, "; ");
    printer.print(out);
  }
  return kDone;
}

/// Prints the languages with their rules.
int listLanguages(const Context& context) {
  Table table({"Code", "Language", "Names", "Articles", "Source", "Particles that stay",
               "Particles that go", "Source"},
              {Fit::Whole, Fit::Whole});
  const auto list = [](std::u16string_view text) {
    std::string words = toUtf8(text);
    for (std::size_t at = 0; (at = words.find('|', at)) != words.npos;) words.replace(at, 1, ", ");
    return words;
  };
  const auto orderName = [](NameOrder order) {
    if (order == NameOrder::AsWritten) return "as written";
    return order == NameOrder::FamilyFirst ? "family name first" : "family name last";
  };
  for (const SortLanguage& each : sortLanguages())
    table.add({{std::string(each.code)},
               {toUtf8(each.names.substr(0, each.names.find(u'|')))},
               {orderName(each.order)},
               {list(each.articles)},
               {std::string(each.articleSource)},
               {list(each.kept)},
               {list(each.moved)},
               {std::string(each.nameSource)}});
  table.print(context);
  return kDone;
}

int sort(const Options& options) {
  std::string tag = options.locale.substr(0, options.locale.find('.'));  // de_DE.UTF-8
  std::ranges::replace(tag, '_', '-');
  if (!options.locale.empty() && !compareIn(tag))
    throw Failure{kUsage, {}, fmt::format("there is no order for \"{}\"", options.locale)};
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
      "else to --option: 0 names and titles, 1 the case of names, 2 names, 3 titles.\n"
      "With --language (a code as \"fr\", or a name as \"French\"; \"list\" lists all with their "
      "sources),\n"
      "--article or --particle the cataloging rules of that language or your own count instead, "
      "and\n"
      "no letter of a name changes its case: \"Vincent van Gogh\" becomes \"Gogh, Vincent van\" in "
      "Dutch\n"
      "and \"van Gogh, Vincent\" in English, \"L'Avare\" becomes \"Avare, L'\" in French.");
  CLI::Option* names =
      verb->add_flag("--names", options->names, "The lines are names (the default)");
  verb->add_flag("--titles", options->titles, "The lines are titles")->excludes(names);
  verb->add_option("--option", options->option, "What is converted, whatever the settings say")
      ->type_name("0..3")
      ->check(CLI::Range(0, 3));
  CLI::Option* option = verb->get_option("--option");
  verb->add_option("--language", options->language, "The language whose rules count")
      ->type_name("CODE")
      ->excludes(option);
  const auto addList = [&](const char* name, std::vector<std::string>& list, const char* help) {
    verb->add_option(name, list, help)
        ->type_name("LIST")
        ->delimiter(',')
        ->allow_extra_args(false)
        ->excludes(option);
  };
  addList(
      "--article", options->articles,
      "Further articles, with commas between them; one that ends with an apostrophe or a hyphen "
      "is written with the next word");
  addList("--particle", options->particles,
          "Further particles that go behind the given names: \"van,von der\"");
  verb->add_flag("--explain", options->explain, "Tell behind a tab how each form came about");
  verb->add_option("FILE", options->input, "The lines, if not from standard input");
  verb->callback([&context, options] {
    context.run = [&context, options] {
      return options->language == "list" ? listLanguages(context) : sortForms(*options);
    };
  });
}

void addSort(CLI::App& app, Context& context) {
  const auto options = std::make_shared<Options>();
  CLI::App* verb = app.add_subcommand("sort", "Sorts lines as the library sorts texts");
  verb->footer(
      "In the order of your language, numbers by their value. Lines that are the same in this\n"
      "respect stay as they stand; each is written with a line feed behind it. Case never counts:\n"
      "--no-case is what callers of the library say, and changes nothing. --locale names another\n"
      "language, and what it has several orders for: de-u-co-phonebk (phone book), es-u-co-trad\n"
      "(traditional), zh-u-co-pinyin, zh-u-co-stroke.");
  verb->add_flag("--no-case", options->noCase, "Do not regard case");
  verb->add_option("--locale", options->locale, "The order of this language, instead of yours")
      ->type_name("TAG");
  verb->add_option("FILE", options->input, "The lines, if not from standard input");
  verb->callback([&context, options] { context.run = [options] { return sort(*options); }; });
}

}  // namespace tessaron::tool
