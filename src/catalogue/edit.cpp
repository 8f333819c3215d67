#include "catalogue/edit.h"

#include <memory>
#include <optional>
#include <span>
#include <utility>

#include "catalogue/collection_file_internal.h"
#include "catalogue/history.h"
#include "catalogue/utf8_copy_internal.h"
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

constexpr int kItem = 4;  // the dialect of an "Item"; a "Details" is of another

int dialectOf(std::string_view item) { return item.starts_with("<Details") ? 3 : kItem; }

// Writes the items of an edit and tells its watcher of them.
class EditWriter {
 public:
  EditWriter(ItemEdit& edit, const TextSink& sink, const EditWatcher& watch)
      : edit_(edit), sink_(sink), watch_(watch) {}

  // Bytes that are no UTF-8 become the characters that they are read as: a text that is half in one
  // encoding and half in another is right for no reader.
  bool write(std::string_view text) const {
    return findIllFormed(text) == text.npos ? sink_(text) : sink_(toUtf8(fromUtf8(text)));
  }

  // Writes the current item, and those in front of it, as the edit has it.
  bool writeItem(const ItemStream& items) {
    std::string before = joined(std::exchange(carried_, {}), items.before());
    const std::string indent(blankBefore(before, before.size()).of(before));
    for (std::string item = edit_.insertion(items); !item.empty(); item = edit_.insertion(items)) {
      if (!write(std::exchange(before, indent)) || !put(nullptr, std::move(item), items.version()))
        return false;
      hasChanged_ = true;
    }
    ItemChange change = edit_.change(items);
    if (change.kind == ItemChange::Kind::GiveUp) return false;
    hasChanged_ = hasChanged_ || change.kind != ItemChange::Kind::Keep;
    if (change.kind == ItemChange::Kind::Drop) {
      carried_ = std::move(before);
      if (watch_) watch_({&items, items.item(), {}, place_});
      return true;
    }
    if (!write(before)) return false;
    indent_ = indent;
    if (change.kind == ItemChange::Kind::Replace)
      return put(&items, std::move(change.text), items.version());
    if (watch_) watch_({&items, items.item(), items.item(), place_});
    ++place_;
    return write(items.item());
  }

  // Writes what follows the last item, with the additions in their place.
  bool writeTail(const ItemStream& items) {
    const std::string_view tail = items.before();
    const std::string text = joined(std::move(carried_), tail);
    std::string item = edit_.addition();
    if (item.empty()) return write(text);
    hasChanged_ = true;
    const InsertionPoint& place = items.insertionPoint();
    const std::size_t shift = text.size() - tail.size();
    if (!write(std::string_view(text).substr(0, place.range.begin + shift)) || !write(place.before))
      return false;
    for (; !item.empty(); item = edit_.addition()) {
      if (!write(indent_) || !put(nullptr, std::move(item), kItem)) return false;
    }
    return write(place.behind) && write(std::string_view(text).substr(place.range.end + shift));
  }

  bool hasChanged() const { return hasChanged_; }

 private:
  // Writes an item where one of `dialect` may stand, in the place of the current one of `items`.
  bool put(const ItemStream* items, std::string item, int dialect) {
    if (findIllFormed(item) != item.npos) item = toUtf8(fromUtf8(item));
    if (watch_) watch_({items, items ? items->item() : std::string_view(), item, place_});
    ++place_;
    if (dialectOf(item) == dialect) return sink_(item);
    return dialect == kItem ? sink_("</Items>" + item + "<Items>")
                            : sink_("<Items>" + item + "</Items>");
  }

  ItemEdit& edit_;
  const TextSink& sink_;
  const EditWatcher& watch_;
  std::string carried_;  // the text before dropped items
  std::string indent_;   // of the last item
  std::size_t place_ = 0;
  bool hasChanged_ = false;
};

bool isMissing(const std::error_code& error) {
  return error == std::errc::no_such_file_or_directory;
}

}  // namespace

ItemEdit::~ItemEdit() = default;
std::string ItemEdit::insertion(const ItemStream&) { return {}; }

ItemChange replaceItem(const ItemStream& items, std::string text) {
  if (text == items.item()) return {};
  return {ItemChange::Kind::Replace, std::move(text)};
}

EditEnd editItems(ItemStream& items, ItemEdit& edit, const TextSink& sink,
                  const EditWatcher& watch) {
  EditWriter writer(edit, sink, watch);
  while (items.next()) {
    if (!writer.writeItem(items)) return EditEnd::Stopped;
  }
  if (items.error() || !writer.writeTail(items) || !edit.accept()) return EditEnd::Stopped;
  return writer.hasChanged() ? EditEnd::Changed : EditEnd::Unchanged;
}

namespace {

/// Passes an edit on, unless the text turns out to be no collection.
class CollectionEdit : public ItemEdit {
 public:
  CollectionEdit(const ItemStream& items, ItemEdit& edit) : items_(items), edit_(edit) {}
  std::string insertion(const ItemStream& items) override { return edit_.insertion(items); }
  ItemChange change(const ItemStream& items) override { return edit_.change(items); }
  std::string addition() override { return isForeign() ? std::string() : edit_.addition(); }
  bool accept() override { return !isForeign() && edit_.accept(); }
  bool isForeign() const { return !items_.canHoldItems(); }

 private:
  const ItemStream& items_;
  ItemEdit& edit_;
};

// Runs an edit of the items of `from`. False when its result is not to take the place of the text.
bool runEdit(File& from, ItemEdit& edit, const TextSink& out, const EditWatcher& watch,
             EditResult& result) {
  ItemStream items(from);
  items.parseOnDemand();
  CollectionEdit checked(items, edit);
  bool refused = false;
  const auto sink = [&](std::string_view text) {
    refused = !out(text);
    return !refused;
  };
  const EditEnd end = editItems(items, checked, sink, watch);
  result.xmlError = items.badCharacter() ? items.badCharacter() : items.error();
  if (result.xmlError || refused) return false;
  result.isForeign = checked.isForeign();
  result.isGivenUp = end == EditEnd::Stopped && !result.isForeign;
  result.changed = result.changed || end == EditEnd::Changed;
  return end != EditEnd::Stopped;
}

/// The edits of one file on their way into its history.
class HistoryRecords {
 public:
  explicit HistoryRecords(std::u16string_view path) : history_(path) {}

  /// Finds out what became of edits that were interrupted.
  void resolve(File& collection) const { history_.resolve(collection); }
  EditRecord& begin(std::string_view verb, std::uint64_t undoes) {
    return *records_.emplace_back(std::make_unique<EditRecord>(history_, verb, undoes));
  }
  void finish() {
    for (const auto& record : records_) record->finish();
  }
  void confirm() {
    for (const auto& record : records_) record->confirm();
    history_.trim();
  }
  std::string error() const {
    for (const auto& record : records_)
      if (!record->error().empty()) return record->error();
    return {};
  }

 private:
  History history_;
  std::vector<std::unique_ptr<EditRecord>> records_;
};

// Runs edits one after another, the last one into `out`. False when one was not made.
bool runEdits(std::unique_ptr<File> file, const std::vector<ItemEdit*>& edits, const TextSink& out,
              const EditOptions& options, HistoryRecords* records, EditResult& result) {
  for (std::size_t i = 0; i < edits.size(); ++i) {
    EditRecord* record = records ? &records->begin(options.verb, edits[i]->undoes()) : nullptr;
    EditWatcher watch = options.watch;
    if (record) {
      watch = [record, &options](const EditedItem& item) {
        record->add(item);
        if (options.watch) options.watch(item);
      };
    }
    if (i + 1 == edits.size()) return runEdit(*file, *edits[i], out, watch, result);
    ScratchFile scratch;
    bool isWritten = true;
    const auto keep = [&](std::string_view text) { return isWritten = scratch.write(text); };
    const bool isDone = runEdit(*file, *edits[i], keep, watch, result);
    if (isDone && isWritten) file = scratch.take();
    if (!isWritten || !file || (isDone && !file->seek(0)))
      result.writeError = std::make_error_code(std::errc::io_error);
    if (!isDone || result.writeError) return false;
  }
  return false;
}

// Opens the collection, or starts one.
std::unique_ptr<File> openCollection(std::u16string_view path, EditMode mode,
                                     std::error_code& error) {
  OpenMode reading;
  reading.shareWrite = reading.shareDelete = true;
  std::unique_ptr<File> file = openFile(path, reading, error);
  if (file || mode == EditMode::Existing || !isMissing(error)) return file;
  error.clear();
  return memoryFile(emptyCollection());
}

}  // namespace

EditResult editCollection(std::u16string_view path, const EditOptions& options,
                          const std::function<std::vector<ItemEdit*>()>& edits) {
  EditResult result;
  std::optional<CollectionWriter> out;
  if (!options.isTrial) result.writeError = out.emplace(path).error();
  if (result.writeError) return result;
  std::unique_ptr<File> file = openCollection(path, options.mode, result.readError);
  if (!file) return result;
  if (!out) {
    const auto discard = [](std::string_view) { return true; };
    runEdits(std::move(file), edits(), discard, options, nullptr, result);
    return result;
  }
  if (out->open()) {
    std::optional<HistoryRecords> records;
    if (!options.verb.empty()) records.emplace(path).resolve(*file);
    const auto write = [&](std::string_view text) { return out->write(text); };
    const bool isDone =
        runEdits(std::move(file), edits(), write, options, records ? &*records : nullptr, result);
    if (isDone && result.changed) {
      if (records) records->finish();
      out->commit();
      if (records && !out->error()) records->confirm();
      if (records) result.historyError = records->error();
    }
  }
  if (!result.writeError) result.writeError = out->error();
  return result;
}

EditResult editCollection(std::u16string_view path, const EditOptions& options, ItemEdit& edit) {
  return editCollection(path, options, [&] { return std::vector<ItemEdit*>{&edit}; });
}

std::string emptyCollection() {
  std::string text;
  CRecordSet().toString(text);
  return text;
}

}  // namespace tessaron
