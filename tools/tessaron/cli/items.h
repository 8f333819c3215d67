#pragma once
// How verbs find the items that the command line names.

#include <cstddef>
#include <functional>
#include <span>
#include <string>
#include <vector>

#include "catalogue/edit.h"
#include "records/record.h"

namespace CLI {
class App;
}

namespace tessaron::tool {

/// Adds the required argument ITEM, see `ItemFinder`.
void addItemArgument(CLI::App& verb, std::string& name);

/// Adds the required arguments ITEM...; "-" among them stands for names on standard input.
void addItemArguments(CLI::App& verb, std::vector<std::string>& names);

/// What verbs tell in their help about the name of an item, and those that change several about
/// theirs.
extern const char* const kItemHelp;
extern const char* const kItemsHelp;

/// The arguments with the lines of standard input in the place of "-", without blank ones. Fails
/// with kFailed when nothing is left.
std::vector<std::string> itemNames(const std::vector<std::string>& arguments);

/// Finds the item that each of the names means. `found` is called with it and the number of the
/// name; a later call for a name takes the place of an earlier one. Fails with kFailed unless each
/// name means exactly one item: unknown names, and the items that a name may mean, are told on
/// standard error, followed by `consequence`.
void findItems(const std::string& path, const std::vector<std::string>& names,
               const std::function<void(const ItemStream&, std::size_t name)>& found,
               const char* consequence = "");

/// The items as records, in the order of the names. Fails as `findItems` does.
std::vector<CRecord> readItems(const std::string& path, const std::vector<std::string>& names);

/// Which items a key names that several of them have.
enum class SameKey { First, All };

/// Decides about an item; `names` are the numbers of the names that mean it. May be asked about all
/// items again from the start.
using ItemAction =
    std::function<ItemChange(const ItemStream& items, std::span<const std::size_t> names)>;

/// Changes the items that the names mean, all of them or none, in one rewrite of the file. Fails as
/// `findItems` and `changeCollection` do, and with kFailed when another item has the key `newKey`
/// or when an item was changed or removed between being found and being changed. Returns the keys
/// of the items for which `action` was asked, in the order of the collection.
std::vector<std::u16string> changeItems(const std::string& path,
                                        const std::vector<std::string>& names, SameKey sameKey,
                                        const ItemAction& action,
                                        const std::u16string& newKey = {});

/// The change that makes an item hold `record` instead of `known`, which was read from it.
ItemChange changeTo(const ItemStream& items, const CRecord& known, const CRecord& record);

}  // namespace tessaron::tool
