#include "items.h"

#include <CLI/CLI.hpp>

#include "cli.h"
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

std::size_t findItem(const Collection& collection, const std::string& path,
                     const std::string& argument) {
  const std::size_t index = collection.find(itemName(argument));
  if (index == Collection::npos) throw Failure{kFailed, displayName(path), "no item " + argument};
  return index;
}

}  // namespace tessaron::tool
