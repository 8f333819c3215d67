#pragma once
// Which items a verb is about: the query on its command line.

#include <cstddef>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "catalogue/item_field.h"
#include "catalogue/query.h"
#include "cli/collection.h"

namespace CLI {
class App;
}

namespace tessaron::tool {

/// The verb of that name; null when there is none.
const CLI::App* findVerb(const CLI::App& app, const std::string& name);

/// Adds the argument QUERY..., whose words are put together with blanks.
void addQueryArgument(CLI::App& verb, std::vector<std::string>& words);

/// Adds --query QUERY, which the verb takes in the place of its argument ITEM.
void addQueryOption(CLI::App& verb, std::optional<std::string>& query);

/// Fails with kUsage when neither items nor a query are given.
void requireItems(const std::vector<std::string>& items, const std::optional<std::string>& query);

/// The arguments of the process, without its name, last one first, as CLI::App::parse takes them.
/// All words of a query are behind a "--", since some begin with a hyphen: those that name a field,
/// or begin with no short option of the verb.
std::vector<std::string> reversedArguments(const CLI::App& app, std::vector<std::string> words);

/// The query in a text. Fails with kUsage, and tells the place of the fault.
Query parseQuery(const std::string& text);

/// Changes the items that match a query, all in one rewrite of the file. Fails as `parseQuery` and
/// `changeCollection` do; with kUsage for a query without terms, with kFailed when no item matches.
/// Returns the keys of the items for which `action` was asked, in the order of the collection.
std::vector<std::u16string> changeMatching(
    const std::string& path, const std::string& query,
    const std::function<ItemChange(const ItemStream&)>& action);

/// The field of that name. Fails with kUsage, and the nearest name, when there is none.
ItemField requireField(std::string_view name);

/// Fails with kUsage: `name` names no field; tells the nearest one. `where` begins the message.
[[noreturn]] void throwUnknownField(const std::string& where, const std::string& name);

/// The items of a collection that match a query. Fails as `CollectionReader` and `parseQuery` do.
class Selection {
 public:
  Selection(const std::string& path, const std::vector<std::string>& words, bool twice = false);

  /// As `CollectionReader::forEachRecord`, for the items that match.
  void forEachRecord(bool detail, const std::function<void(const CRecord&)>& visit);
  /// Number of items that the last walk visited.
  std::size_t count() const { return count_; }
  /// Why there are none: the collection is empty, or nothing matches.
  std::string emptyReason() const;
  std::string name() const { return collection_.name(); }
  bool isWhole() const { return query_.isEmpty(); }

 private:
  std::string words_;
  Query query_;  // parsed before the file is opened
  CollectionReader collection_;
  std::size_t count_ = 0;
};

}  // namespace tessaron::tool
