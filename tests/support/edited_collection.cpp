#include "support/edited_collection.h"

#include <algorithm>
#include <functional>
#include <memory>
#include <utility>

#include "catalogue/item_merge.h"

namespace tessaron {
namespace {

/// Changes the item at one position, or adds one.
struct OneEdit : ItemEdit {
  ItemChange change(const ItemStream& items) override {
    return index-- == 0 ? decide(items) : ItemChange();
  }
  std::string addition() override { return std::exchange(added, {}); }

  std::size_t index = EditedCollection::npos;
  std::function<ItemChange(const ItemStream&)> decide;
  std::string added;
};

}  // namespace

RecoveredText recoverText(const std::string& damaged) {
  const std::unique_ptr<File> file = memoryFile(damaged);
  std::string text;
  const Recovery recovery = recover(*file, [&](std::string_view part) {
    text += part;
    return true;
  });
  if (recovery.items == 0) text = recovery.faults.empty() ? damaged : emptyCollection();
  return {recovery, std::move(text)};
}

XmlError EditedCollection::parse(std::string text) {
  const std::unique_ptr<File> file = memoryFile(text);
  ItemStream items(*file);
  std::vector<CRecord> records;
  while (items.next()) items.read(records.emplace_back());
  if (items.badCharacter()) return items.badCharacter();
  if (items.error()) return items.error();
  text_ = std::move(text);
  records_ = std::move(records);
  return {};
}

std::size_t EditedCollection::find(std::u16string_view asin) const {
  const auto found = std::find_if(records_.begin(), records_.end(),
                                  [&](const CRecord& record) { return record.ASIN == asin; });
  return found == records_.end() ? npos : static_cast<std::size_t>(found - records_.begin());
}

void EditedCollection::add(const CRecord& record) {
  OneEdit edit;
  edit.added = itemText(record);
  apply(edit);
}

bool EditedCollection::update(std::size_t index, const CRecord& record) {
  OneEdit edit;
  edit.index = index;
  edit.decide = [&](const ItemStream& items) {
    CRecord known;
    items.read(known);
    auto text = updateItem(items.item(), items.version(), known, record);
    return text ? replaceItem(items, *std::move(text)) : ItemChange();
  };
  return apply(edit);
}

void EditedCollection::remove(std::size_t index) {
  OneEdit edit;
  edit.index = index;
  edit.decide = [](const ItemStream&) { return ItemChange{ItemChange::Kind::Drop, {}}; };
  apply(edit);
}

XmlError EditedCollection::import(std::string response, std::uint16_t today, ImportCounts& counts) {
  Import import(today);
  if (ResponseSummary summary = import.add(memoryFile(std::move(response))); summary.error)
    return summary.error;
  apply(import);
  counts = import.counts();
  return {};
}

SourceError EditedCollection::import(RecordSource& source, std::uint16_t today,
                                     ImportCounts& counts) {
  Import import(today);
  import.add(source);
  if (source.error()) return source.error();
  apply(import);
  counts = import.counts();
  return {};
}

bool EditedCollection::apply(ItemEdit& edit) {
  const std::unique_ptr<File> file = memoryFile(text_);
  ItemStream items(*file);
  std::string out;
  const EditEnd end = editItems(items, edit, [&](std::string_view text) {
    out += text;
    return true;
  });
  return end == EditEnd::Changed && !parse(std::move(out));
}

}  // namespace tessaron
