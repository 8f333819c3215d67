#include "cli/selection.h"

#include <fmt/format.h>

#include <CLI/CLI.hpp>
#include <algorithm>
#include <utility>

#include "catalogue/file_links.h"
#include "cli/failures.h"
#include "cli/options.h"
#include "platform/system.h"
#include "support/spelling.h"
#include "support/text.h"

namespace tessaron::tool {
namespace {

constexpr const char* kQuery = "QUERY";

/// The option of a verb, or of all verbs, that a word such as "--sort=x" or "-cFILE" gives; null
/// when there is none.
const CLI::Option* optionOf(const CLI::App& app, const CLI::App& verb, const std::string& word) {
  const std::string name =
      word.starts_with("--") ? word.substr(0, word.find('=')) : word.substr(0, 2);
  const CLI::Option* own = verb.get_option_no_throw(name);
  return own ? own : app.get_option_no_throw(name);
}

/// Whether an option's value is the next word.
bool takesNextWord(const CLI::Option* option, const std::string& word) {
  if (!option || option->get_expected_min() == 0) return false;
  return word.starts_with("--") ? word.find('=') == word.npos : word.size() == 2;
}

/// Whether a word such as "-cover:x" names a field, although it begins as the option -c does.
bool namesField(const std::string& word) {
  const std::size_t end = word.find_first_of(":=");
  if (end == word.npos) return false;
  const std::string_view name = std::string_view(word).substr(1, end - 1);
  return name == kHasTest || name == kMissingTest || findItemField(name);
}

/// The verb with a query that is chosen, and where its words begin; null for any other.
const CLI::App* queryVerb(const CLI::App& app, const std::vector<std::string>& words,
                          std::size_t& begin) {
  for (std::size_t i = 0; i < words.size(); ++i) {
    if (words[i].starts_with('-')) {
      if (takesNextWord(optionOf(app, app, words[i]), words[i])) ++i;
      continue;
    }
    begin = i + 1;
    const CLI::App* verb = findVerb(app, words[i]);
    return verb && verb->get_option_no_throw(kQuery) ? verb : nullptr;
  }
  return nullptr;
}

/// Passes the items that match to an action.
class MatchEdit : public ItemEdit {
 public:
  MatchEdit(Query query, const std::function<ItemChange(const ItemStream&)>& action)
      : query_(std::move(query)), action_(action) {}

  ItemChange change(const ItemStream& items) override {
    CRecord record;
    record.fullDetail = query_.needsDetail();
    items.read(record);
    if (!query_.matches(record)) return {};
    keys_.push_back(record.ASIN);
    return action_(items);
  }

  bool isForAll() const { return query_.isEmpty(); }
  /// Of the items that the action was asked about.
  const std::vector<std::u16string>& keys() const { return keys_; }

 private:
  Query query_;
  const std::function<ItemChange(const ItemStream&)>& action_;
  std::vector<std::u16string> keys_;
};

}  // namespace

const CLI::App* findVerb(const CLI::App& app, const std::string& name) {
  const auto found =
      app.get_subcommands([&](const CLI::App* verb) { return verb->get_name() == name; });
  return found.empty() ? nullptr : found.front();
}

void addQueryArgument(CLI::App& verb, std::vector<std::string>& words) {
  verb.add_option(
          kQuery, words,
          "Only items that match, such as: status:lent due:..7d -group:book \"two words\"; see "
          "\"tessaron help query\"")
      ->type_name("");
}

void addQueryOption(CLI::App& verb, std::optional<std::string>& query) {
  CLI::Option* items = verb.get_option("ITEM")->required(false);
  verb.add_option("--query", query,
                  "All items that match, instead of those named; see \"tessaron help query\"")
      ->type_name("QUERY")
      ->excludes(items);
}

void requireItems(const std::vector<std::string>& items, const std::optional<std::string>& query) {
  if (items.empty() && !query) throw Failure{kUsage, {}, "ITEM or --query QUERY is required"};
}

std::vector<std::string> reversedArguments(const CLI::App& app, std::vector<std::string> words) {
  std::size_t at = 0;
  if (const CLI::App* verb = queryVerb(app, words, at)) {
    std::vector<std::string> query;
    std::vector<std::string> others(words.begin(), words.begin() + static_cast<std::ptrdiff_t>(at));
    for (; at < words.size() && words[at] != "--"; ++at) {
      const std::string& word = words[at];
      const CLI::Option* option = optionOf(app, *verb, word);
      const bool isOption =
          word.starts_with("--") || (word.starts_with('-') && option && !namesField(word));
      (isOption ? others : query).push_back(word);
      if (isOption && takesNextWord(option, word) && at + 1 < words.size())
        others.push_back(words[++at]);
    }
    if (at < words.size()) ++at;  // "--"
    query.insert(query.end(), words.begin() + static_cast<std::ptrdiff_t>(at), words.end());
    words = std::move(others);
    if (!query.empty()) words.emplace_back("--");
    words.insert(words.end(), query.begin(), query.end());
  }
  std::ranges::reverse(words);
  return words;
}

void throwUnknownField(const std::string& where, const std::string& name) {
  const std::string meant = nearestWord(name, itemFieldNames());
  throw Failure{kUsage,
                {},
                fmt::format("{}\"{}\" is no field{} (tessaron help query lists them)", where, name,
                            meant.empty() ? "" : fmt::format("; did you mean {}?", meant))};
}

ItemField requireField(std::string_view name) {
  std::optional<ItemField> field = findItemField(name);
  if (!field) throwUnknownField({}, std::string(name));
  return *std::move(field);
}

Query parseQuery(const std::string& text) {
  QueryError error;
  if (std::optional<Query> query = Query::parse(text, utcNow(), error)) return *std::move(query);
  const std::string where =
      fmt::format("query \"{}\", character {}: ", text,
                  countCharacters(std::string_view(text).substr(0, error.place)) + 1);
  if (!error.unknownField.empty()) throwUnknownField(where, error.unknownField);
  throw Failure{kUsage, {}, where + error.message};
}

std::vector<std::u16string> changeMatching(
    const std::string& path, const std::string& query,
    const std::function<ItemChange(const ItemStream&)>& action) {
  Query parsed = parseQuery(query);
  parsed.setFolder(linkFolder(fromUtf8(path)));
  MatchEdit edit(std::move(parsed), action);
  if (edit.isForAll()) throw Failure{kUsage, {}, "the query is empty: it means all items"};
  changeCollection(path, EditMode::Existing, edit);
  if (edit.keys().empty())
    throw Failure{kFailed, path, fmt::format("no item matches \"{}\"; nothing is changed", query)};
  return edit.keys();
}

Selection::Selection(const std::string& path, const std::vector<std::string>& words, bool twice)
    : words_(CLI::detail::join(words, " ")), query_(parseQuery(words_)), collection_(path, twice) {
  query_.setFolder(linkFolder(fromUtf8(path)));
}

void Selection::forEachRecord(bool detail, const std::function<void(const CRecord&)>& visit) {
  count_ = 0;
  collection_.forEachRecord(detail || query_.needsDetail(), [&](const CRecord& record) {
    if (!query_.matches(record)) return;
    ++count_;
    visit(record);
  });
}

std::string Selection::emptyReason() const {
  if (collection_.count() == 0) return "the collection is empty";
  return fmt::format("no item matches \"{}\"", words_);
}

}  // namespace tessaron::tool
