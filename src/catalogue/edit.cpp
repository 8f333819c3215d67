#include "catalogue/edit.h"

#include <memory>
#include <optional>
#include <span>
#include <utility>

#include "catalogue/collection_file_internal.h"
#include "platform/file.h"
#include "records/record_set.h"
#include "support/text.h"

namespace tessaron {
namespace {

// Joins the text before dropped items and the text before the next one; drops one of two blanks.
std::string joined(std::string carried, std::string_view behind) {
  if (!behind.empty() && isXmlSpace(behind.front()))
    carried.resize(blankBefore(carried, carried.size()).begin);
  return carried += behind;
}

// Writes what follows the last item, with the additions in their place.
bool writeTail(const ItemStream& items, ItemEdit& edit, const std::string& carried,
               std::string_view indent, const TextSink& out, bool& changed) {
  const std::string_view tail = items.before();
  const std::string text = joined(carried, tail);
  std::string item = edit.addition();
  if (item.empty()) return out(text);
  changed = true;
  const InsertionPoint& place = items.insertionPoint();
  const std::size_t shift = text.size() - tail.size();
  if (!out(std::string_view(text).substr(0, place.range.begin + shift)) || !out(place.before))
    return false;
  for (; !item.empty(); item = edit.addition()) {
    if (!out(indent) || !out(item)) return false;
  }
  return out(place.behind) && out(std::string_view(text).substr(place.range.end + shift));
}

bool isMissing(const std::error_code& error) {
  return error == std::errc::no_such_file_or_directory;
}

}  // namespace

ItemEdit::~ItemEdit() = default;

ItemChange replaceItem(const ItemStream& items, std::string text) {
  // The current dialect has its items inside of "Items".
  if (items.version() == 3) text = "<Items>" + text + "</Items>";
  return {ItemChange::Kind::Replace, std::move(text)};
}

EditEnd editItems(ItemStream& items, ItemEdit& edit, const TextSink& sink) {
  using Kind = ItemChange::Kind;
  // Bytes that are no UTF-8 become the characters that they are read as: a text that is half in one
  // encoding and half in another is right for no reader.
  const TextSink out = [&](std::string_view text) {
    return findIllFormed(text) == text.npos ? sink(text) : sink(toUtf8(fromUtf8(text)));
  };
  bool changed = false;
  std::string carried;
  std::string indent;  // of the last item
  while (items.next()) {
    const ItemChange change = edit.change(items);
    if (change.kind == Kind::GiveUp) return EditEnd::Stopped;
    changed = changed || change.kind != Kind::Keep;
    std::string before = joined(std::move(carried), items.before());
    carried.clear();
    if (change.kind == Kind::Drop) {
      carried = std::move(before);
      continue;
    }
    if (!out(before) || !out(change.kind == Kind::Keep ? items.item() : change.text))
      return EditEnd::Stopped;
    indent = blankBefore(before, before.size()).of(before);
  }
  if (items.error() || !writeTail(items, edit, carried, indent, out, changed) || !edit.accept())
    return EditEnd::Stopped;
  return changed ? EditEnd::Changed : EditEnd::Unchanged;
}

namespace {

/// Passes an edit on, unless the text turns out to be no collection.
class CollectionEdit : public ItemEdit {
 public:
  CollectionEdit(const ItemStream& items, ItemEdit& edit) : items_(items), edit_(edit) {}
  ItemChange change(const ItemStream& items) override { return edit_.change(items); }
  std::string addition() override { return isForeign() ? std::string() : edit_.addition(); }
  bool accept() override { return !isForeign() && edit_.accept(); }
  bool isForeign() const { return !items_.canHoldItems(); }

 private:
  const ItemStream& items_;
  ItemEdit& edit_;
};

// Runs the edit; true when its result is to take the place of the old file.
bool runEdit(File& from, ItemEdit& edit, const TextSink& out, EditResult& result) {
  ItemStream items(from);
  items.parseOnDemand();
  CollectionEdit checked(items, edit);
  bool refused = false;
  const EditEnd end = editItems(items, checked, [&](std::string_view text) {
    refused = !out(text);
    return !refused;
  });
  result.xmlError = items.badCharacter() ? items.badCharacter() : items.error();
  if (result.xmlError || refused) return false;
  result.isForeign = checked.isForeign();
  result.isGivenUp = end == EditEnd::Stopped && !result.isForeign;
  result.changed = end == EditEnd::Changed;
  return result.changed;
}

}  // namespace

EditResult editCollection(std::u16string_view path, EditMode mode, ItemEdit& edit) {
  EditResult result;
  std::optional<CollectionWriter> out;
  if (mode != EditMode::DryRun) result.writeError = out.emplace(path).error();
  if (result.writeError) return result;

  OpenMode reading;
  reading.shareWrite = reading.shareDelete = true;
  std::unique_ptr<File> file = openFile(path, reading, result.readError);
  if (!file && mode != EditMode::Existing && isMissing(result.readError)) {
    result.readError.clear();
    file = memoryFile(emptyCollection());
  }
  if (!file) return result;
  if (!out) {
    runEdit(
        *file, edit, [](std::string_view) { return true; }, result);
    return result;
  }
  if (out->open()) {
    const auto write = [&](std::string_view text) { return out->write(text); };
    const bool done = runEdit(*file, edit, write, result);
    file.reset();
    if (done) out->commit();
  }
  result.writeError = out->error();
  return result;
}

std::string emptyCollection() {
  std::string text;
  CRecordSet().toString(text);
  return text;
}

}  // namespace tessaron
