// Takes back an edit whose record in the history is the input, up to a zero byte; the rest is the
// collection.

#include <algorithm>
#include <string>

#include "catalogue/history.h"
#include "fuzz.h"
#include "records/item_stream.h"
#include "support/edited_collection.h"

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string input = asText(data, size);
  const std::size_t end = std::min(input.find('\0'), size);
  const std::string text = input.substr(std::min(end + 1, size));
  tessaron::EditedCollection collection;
  if (collection.parse(text)) return 0;
  tessaron::UndoEdit undo(tessaron::memoryFile(input.substr(0, end)), 1);
  const auto file = tessaron::memoryFile(collection.text());
  tessaron::ItemStream items(*file);
  items.parseOnDemand();
  std::string written;
  const auto keep = [&](std::string_view part) {
    written += part;
    return true;
  };
  const tessaron::EditEnd ending = tessaron::editItems(items, undo, keep);
  CHECK(undo.isSound() || ending != tessaron::EditEnd::Changed);
  CHECK(undo.conflictCount() >= undo.conflicts().size());
  if (ending != tessaron::EditEnd::Changed) return 0;
  tessaron::EditedCollection after;
  CHECK(!after.parse(written));
  return 0;
}
