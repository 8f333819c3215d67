#include "cli/items.h"

#include <CLI/CLI.hpp>

#include "cli/collection.h"
#include "cli/failures.h"
#include "records/field_text.h"
#include "support/text.h"

namespace tessaron::tool {

std::u16string itemName(const std::string& argument) {
  const std::u16string name = fromUtf8(argument);
  return std::u16string(trimmed(name));
}

void requireItemName(CLI::Option& option) {
  option.check([](const std::string& value) {
    return itemName(value).empty() ? std::string("an item's name cannot be empty") : std::string();
  });
}

CRecord findItem(const std::string& path, const std::string& argument) {
  const std::u16string name = itemName(argument);
  CollectionReader collection(path);
  std::optional<CRecord> found;
  collection.forEachItem([&](const ItemStream& items) {
    if (!found && items.asin() == name) items.read(found.emplace());
  });
  if (!found) throw Failure{kFailed, collection.name(), "no item " + argument};
  return *std::move(found);
}

}  // namespace tessaron::tool
