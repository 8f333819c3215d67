#include "manual/completion.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <array>
#include <functional>
#include <string_view>
#include <unordered_map>

#include "catalogue/item_field.h"
#include "cli/collection.h"
#include "cli/failures.h"
#include "cli/options.h"
#include "cli/selection.h"
#include "cli/status_names.h"
#include "cli/terminal.h"
#include "manual/pages.h"
#include "settings/setting_table.h"
#include "support/ascii.h"
#include "support/text.h"

namespace tessaron::tool {
namespace {

constexpr std::size_t kMaxItems = 100;  ///< as many as anybody looks through

/// A command line without its last word, taken apart as the parser does.
struct Line {
  const CLI::App* verb = nullptr;
  const CLI::Option* pending = nullptr;  ///< an option whose value is next
  std::size_t positionals = 0;           ///< how many the verb has by now
  bool hasDashes = false;                ///< "--" was there: no more options
  std::string collection;                ///< of -c
};

bool takesValue(const CLI::Option& option) { return option.get_expected_min() > 0; }

/// The option that a word begins with: "--sort=x", "-cFILE"; null when there is none.
const CLI::Option* optionOf(const CLI::App& app, const CLI::App& verb, const std::string& word) {
  const std::string name =
      word.starts_with("--") ? word.substr(0, word.find('=')) : word.substr(0, 2);
  const CLI::Option* own = verb.get_option_no_throw(name);
  return own ? own : app.get_option_no_throw(name);
}

/// Whether the option's value is in the same word; `value` gets it.
bool hasValue(const std::string& word, std::string& value) {
  const std::size_t at = word.starts_with("--") ? word.find('=') : 1;
  if (at == word.npos || at + 1 >= word.size()) return false;
  value = word.substr(at + 1);
  return true;
}

void takeOption(const CLI::App& app, const std::string& word, Line& line) {
  const CLI::Option* option = optionOf(app, *line.verb, word);
  if (!option || !takesValue(*option)) return;
  std::string value;
  if (!hasValue(word, value))
    line.pending = option;
  else if (option->check_name("--collection"))
    line.collection = value;
}

Line parse(const CLI::App& app, const std::vector<std::string>& words) {
  Line line;
  line.verb = &app;
  for (std::size_t i = 0; i + 1 < words.size(); ++i) {
    const std::string& word = words[i];
    if (line.pending) {
      if (line.pending->check_name("--collection")) line.collection = word;
      line.pending = nullptr;
    } else if (word == "--") {
      line.hasDashes = true;
    } else if (!line.hasDashes && word.size() > 1 && word.starts_with('-')) {
      takeOption(app, word, line);
    } else if (const CLI::App* verb = findVerb(*line.verb, word)) {
      line.verb = verb;
    } else {
      ++line.positionals;
    }
  }
  return line;
}

/// The candidates, as they are collected.
class Candidates {
 public:
  /// Words that begin with `start`, whatever its case, with `before` in front of each.
  explicit Candidates(std::string_view start, std::string before = {})
      : start_(start), before_(std::move(before)) {}

  bool begins(std::string_view word) const {
    return word.size() >= start_.size() && equalIgnoringCase(word.substr(0, start_.size()), start_);
  }

  void add(std::string_view word, std::string_view about = {}) {
    if (!begins(word)) return;
    text_.append(before_).append(word);
    if (!about.empty()) text_.append("\t").append(printable(about));
    text_ += '\n';
  }

  void addList(const std::string& list, char separator) {
    for (const std::string& word : CLI::detail::split(list, separator))
      add(CLI::detail::trim_copy(word));
  }

  const std::string& start() const { return start_; }
  std::string text() const { return "words\n" + text_; }

 private:
  std::string start_;
  std::string before_;
  std::string text_;
};

/// Ends a walk through a collection.
struct Enough {};

/// Titles that begin with the text, and keys that do; an item that shares its title, or whose title
/// cannot be typed, is offered by its key.
class ItemSearch {
 public:
  explicit ItemSearch(Candidates& candidates) : candidates_(candidates) {}

  void see(const ItemStream& items) {
    if (!mayMatch(items.item())) return;
    CRecord record;
    record.fullDetail = false;
    items.read(record);
    const std::string title = toUtf8(record.Title), key = toUtf8(record.ASIN);
    if (!candidates_.start().empty()) candidates_.add(key, title);
    if (!candidates_.begins(title)) return;
    const bool isPlain = printable(title) == title && !title.starts_with('-');
    const auto [known, isNew] = titles_.try_emplace(title, key);
    if (isNew && isPlain)
      candidates_.add(title, key);
    else if (isNew || known->second != key)
      keys_.emplace_back(key, title);
    if (titles_.size() + keys_.size() >= kMaxItems) throw Enough{};
  }

  /// Items that are known by their key alone do not begin with the text.
  std::string finish() const {
    std::string text = candidates_.text();
    for (const auto& [key, title] : keys_) text += key + '\t' + printable(title) + '\n';
    return text;
  }

 private:
  /// Whether a text in the item may begin with the letters; items are not parsed for less.
  bool mayMatch(std::string_view item) const {
    const std::string& start = candidates_.start();
    const auto isPlain = [](char c) { return c != '&' && c != '<' && c != '>'; };
    if (start.empty() || start.front() == ' ' || !std::ranges::all_of(start, isPlain)) return true;
    for (std::size_t tag = item.find('>'); tag != item.npos; tag = item.find('>', tag + 1)) {
      const std::size_t begin = item.find_first_not_of(" \t\r\n", tag + 1);
      const std::string_view text = item.substr(std::min(begin, item.size()));
      const auto [wanted, got] = std::ranges::mismatch(start, text, {}, lowerLetter, lowerLetter);
      if (wanted == start.end()) return true;
      const std::string_view rest(got, text.end());
      // What XML, or an old fault in the text, may write in another way.
      if (rest.starts_with("<!") || rest.starts_with("&#") || rest.starts_with("&quot;") ||
          rest.starts_with("&apos;") || (!rest.empty() && (rest[0] < ' ' || rest[0] > '~')))
        return true;
    }
    return false;
  }

  Candidates& candidates_;
  std::unordered_map<std::string, std::string> titles_;  // with the key of the first item
  std::vector<std::pair<std::string, std::string>> keys_;
};

std::string itemsOf(const Line& line, Candidates& candidates) {
  const std::string path = line.collection.empty() ? usualCollection() : line.collection;
  if (path.empty() || path == "-") return candidates.text();
  ItemSearch search(candidates);
  try {
    CollectionReader(path).forEachItem([&](const ItemStream& items) { search.see(items); });
  } catch (const Enough&) {
  }
  return search.finish();
}

void addFields(Candidates& candidates, std::string_view behind) {
  for (const std::string& name : itemFieldNames()) candidates.add(name + std::string(behind));
}

/// What follows the last separator of a list is completed; the rest stays in front of it.
Candidates lastOf(const std::string& word, std::string_view separators) {
  const std::size_t at = word.find_last_of(separators);
  const std::size_t begin = at == word.npos ? 0 : at + 1;
  return Candidates(word.substr(begin), word.substr(0, begin));
}

std::string fieldList(const std::string& word) {
  Candidates candidates = lastOf(word, ",-");
  addFields(candidates, "");
  return candidates.text();
}

std::string query(const std::string& word) {
  Candidates candidates = word.starts_with('-') ? lastOf(word, "-") : Candidates(word);
  addFields(candidates, ":");
  return candidates.text();
}

/// What a value is: by the name of a positional, or by what an option says behind its own name.
std::string valuesOf(const CLI::App& app, const Line& line, const CLI::Option& option,
                     const std::string& word, const std::string& before) {
  const std::string type = option.get_type_name();
  const std::string name =
      option.get_positional() ? option.get_single_name() : type.substr(0, type.find(':'));
  const auto isOneOf = [&](auto... names) { return ((name == names) || ...); };
  if (isOneOf("FILE", "DAMAGED", "OTHER", "RESPONSE", "IMAGE", "PATH", "ITEMS") && before.empty())
    return "files\n";
  if (isOneOf("FOLDER", "DIR") && before.empty()) return "folders\n";
  if (name == "FIELD,FIELD..." || name == "FIELD,-FIELD...") return fieldList(word);
  if (name == "QUERY") return query(word);

  Candidates candidates(word, before);
  const std::size_t choices = type.find(":{");
  if (choices != type.npos)
    candidates.addList(type.substr(choices + 2, type.find('}', choices) - choices - 2), ',');
  else if (type.find('|') != type.npos)
    candidates.addList(type, '|');
  else if (option.check_name("--status"))
    candidates.addList("none, all, " + statusChoices(), ',');
  else if (name == "ITEM")
    return itemsOf(line, candidates);
  else if (name == "NAME=VALUE" || name == "FIELD=COLUMN")
    addFields(candidates, "=");
  else if (name == "DATE")
    candidates.addList("today,tomorrow,+7d,+14d,+28d", ',');
  else if (name == "TOPIC")
    for (const std::string& topic : topics(app)) candidates.add(topic);
  else if (name == "NAME" && line.verb->get_parent()->get_name() == "settings")
    for (const Setting& setting : settingTable()) candidates.add(toUtf8(setting.name));
  return candidates.text();
}

std::string optionsOf(const CLI::App& app, const CLI::App& verb, const std::string& word) {
  Candidates candidates(word);
  for (const CLI::App* each : {&verb, &app}) {
    for (const CLI::Option* option : each->get_options()) {
      if (option->get_positional() || option->get_group().empty()) continue;
      if (each == &app && &verb != &app && verb.get_option_no_throw(option->get_name())) continue;
      for (const std::string& name : option->get_lnames())
        candidates.add("--" + name, option->get_description());
      if (word != "-") continue;  // a letter says little to those who look for a word
      for (const std::string& name : option->get_snames())
        candidates.add("-" + name, option->get_description());
    }
  }
  return candidates.text();
}

std::string verbsOf(const CLI::App& app, const std::string& word) {
  Candidates candidates(word);
  for (const CLI::App* verb : app.get_subcommands([](const CLI::App*) { return true; }))
    if (!verb->get_name().empty()) candidates.add(verb->get_name(), verb->get_description());
  return candidates.text();
}

std::string complete(const CLI::App& app, const std::vector<std::string>& words) {
  const Line line = parse(app, words);
  const std::string word = words.empty() ? std::string() : words.back();
  if (line.pending) return valuesOf(app, line, *line.pending, word, "");
  if (!line.hasDashes && word.starts_with('-')) {
    const std::size_t at = word.find('=');
    if (at == word.npos) return optionsOf(app, *line.verb, word);
    const CLI::Option* option = optionOf(app, *line.verb, word);
    return option ? valuesOf(app, line, *option, word.substr(at + 1), word.substr(0, at + 1))
                  : "words\n";
  }
  const auto isPositional = [](const CLI::Option* option) { return option->get_positional(); };
  const std::vector<const CLI::Option*> positionals = line.verb->get_options(isPositional);
  if (positionals.empty()) return verbsOf(*line.verb, word);
  const std::size_t place = std::min(line.positionals, positionals.size() - 1);
  const CLI::Option& option = *positionals[place];
  const bool isFull = line.positionals > place && option.get_items_expected_max() <= 1;
  return isFull ? "words\n" : valuesOf(app, line, option, word, "");
}

}  // namespace

std::string completionsOf(const CLI::App& app, const std::vector<std::string>& words) {
  try {
    return complete(app, words);
  } catch (const Failure&) {  // no settings, no collection, a damaged one
    return "words\n";
  }
}

}  // namespace tessaron::tool
