#include "catalogue/history.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cstdio>
#include <new>
#include <optional>
#include <span>
#include <unordered_set>
#include <utility>

#include "catalogue/file_text_internal.h"
#include "catalogue/item_merge.h"
#include "platform/directory.h"
#include "platform/system.h"
#include "records/field_text.h"
#include "support/fingerprint.h"
#include "support/text.h"
#include "support/xml/scanner.h"
#include "support/xml/tree.h"

// A file of the history, all lines ending with a line feed:
//
//   tessaron-history 1
//   verb set
//   time 2026-11-22T02:13:05Z
//   local 2026-11-22 03:13:05
//   undoes 0
//   items
//   item PLACE FINGERPRINT SIZE LABEL-SIZE OLD-SIZE    once per item; FINGERPRINT and SIZE are of
//   LABEL OLD-TEXT                                     its new text; without the space
//   end ADDED CHANGED REMOVED HAS-TWINS TOO-LARGE FIRST-LABEL
//
// An item without a new text was removed, one without an old text was added.

namespace tessaron {
namespace {

constexpr std::string_view kMagic = "tessaron-history 1\n";
constexpr std::string_view kItems = "\nitems\n";
constexpr std::size_t kMaxHead = 4096;
constexpr std::size_t kMaxLine = 512;
constexpr std::size_t kMaxLabel = 200;
constexpr std::size_t kMaxConflicts = 5;
constexpr std::size_t kBlock = std::size_t{256} << 10;
constexpr std::u16string_view kDone = u".edit", kPending = u".part";

std::u16string ascii(std::string_view text) { return {text.begin(), text.end()}; }

template <typename... Values>
std::string format(const char* form, Values... values) {
  std::array<char, kMaxLine> line;
  const int size = std::snprintf(line.data(), line.size(), form, values...);
  return {line.data(), static_cast<std::size_t>(size)};
}

// Takes the text up to the next blank, as a number, off the front of `line`.
template <typename Number>
bool takeNumber(std::string_view& line, Number& number, int base = 10) {
  const auto [end, error] = std::from_chars(line.data(), line.data() + line.size(), number, base);
  if (error != std::errc()) return false;
  line.remove_prefix(static_cast<std::size_t>(end - line.data()));
  if (line.empty()) return true;
  if (line.front() != ' ') return false;
  line.remove_prefix(1);
  return true;
}

// One line of at most kMaxLabel bytes, cut between characters.
std::string labelOf(std::u16string_view text) {
  std::string label = toUtf8(text.substr(0, kMaxLabel / 3));
  std::replace_if(
      label.begin(), label.end(), [](unsigned char c) { return c < ' '; }, ' ');
  return label;
}

// Whether the text is an item and nothing else, as it may stand in a collection.
bool isItem(std::string_view text) {
  using Token = XmlScanner::Token;
  XmlScanner scanner(text);
  Token token = scanner.next();
  if (token != Token::Start && token != Token::Empty) return false;
  if (scanner.begin() != 0 || (scanner.name() != "Item" && scanner.name() != "Details"))
    return false;
  while (scanner.depth() > 0 && token != Token::Error && token != Token::Incomplete)
    token = scanner.next();
  return scanner.depth() == 0 && scanner.end() == text.size();
}

// The ASIN of an item; reads no further than that, which is at the front of what we write.
std::u16string asinOf(std::string_view item) {
  using Token = XmlScanner::Token;
  XmlScanner scanner(item);
  const std::string_view wanted = item.starts_with("<Details") ? "Asin" : "ASIN";
  std::size_t begin = 0;
  for (;;) {
    const Token token = scanner.next();
    if (token == Token::Finished || token == Token::Error || token == Token::Incomplete) return {};
    if (scanner.name() != wanted) continue;
    if (token == Token::Start && scanner.depth() == 2) begin = scanner.begin();
    if (token != Token::End || scanner.depth() != 1) continue;
    XmlTree tree;
    tree.parse(item.substr(begin, scanner.end() - begin));
    return std::u16string(trimmed(tree.root().elementText()));
  }
}

// What people call an item by: its ASIN, or its title where it has none.
std::string itemLabel(std::u16string_view asin, std::string_view item) {
  return labelOf(asin.empty() ? std::u16string_view(recordOf(item).Title) : asin);
}

std::uint64_t keyOf(std::u16string_view asin) { return fingerprint(toUtf8(asin)); }

std::string timeText(const SYSTEMTIME& time, char separator) {
  return format("%04d-%02d-%02d%c%02d:%02d:%02d", int{time.wYear}, int{time.wMonth}, int{time.wDay},
                separator, int{time.wHour}, int{time.wMinute}, int{time.wSecond});
}

std::string headOf(std::string_view verb, std::uint64_t undoes) {
  std::string head(kMagic);
  head.append("verb ").append(labelOf(fromUtf8(verb)));
  head.append("\ntime ").append(timeText(utcNow(), 'T'));
  head.append("Z\nlocal ").append(timeText(localNow(), ' '));
  head.append("\nundoes ").append(std::to_string(undoes)).append(kItems);
  return head;
}

// The rest of the line of `head` that begins with `name`.
std::string_view valueOf(std::string_view head, std::string_view name) {
  const std::size_t at = head.find(name);
  if (at == head.npos) return {};
  head.remove_prefix(at + name.size());
  return head.substr(0, head.find('\n'));
}

struct Trailer {
  std::size_t added = 0, changed = 0, removed = 0;
  int hasTwins = 0, isTooLarge = 0;
  std::string firstItem;
  std::uint64_t begin = 0;
};

std::optional<Trailer> readTrailer(FileText& text) {
  const std::uint64_t from = text.size() - std::min<std::uint64_t>(text.size(), kMaxLine);
  const std::string tail(text.view(from, kMaxLine).substr(0, kMaxLine));
  if (tail.size() < 2 || tail.back() != '\n') return std::nullopt;
  const std::size_t begin = tail.rfind('\n', tail.size() - 2);
  if (begin == tail.npos) return std::nullopt;
  std::string_view line = std::string_view(tail).substr(begin + 1);
  line.remove_suffix(1);
  if (!line.starts_with("end ")) return std::nullopt;
  line.remove_prefix(4);
  Trailer trailer;
  for (std::size_t* count : {&trailer.added, &trailer.changed, &trailer.removed})
    if (!takeNumber(line, *count)) return std::nullopt;
  if (!takeNumber(line, trailer.hasTwins) || !takeNumber(line, trailer.isTooLarge))
    return std::nullopt;
  trailer.firstItem = line;
  trailer.begin = from + begin + 1;
  return trailer;
}

// Where the items begin, behind a whole head; 0 for a file of another kind.
std::uint64_t itemsBegin(FileText& text) {
  const std::string_view head = text.view(0, kMaxHead).substr(0, kMaxHead);
  const std::size_t at = head.starts_with(kMagic) ? head.find(kItems) : head.npos;
  if (at == head.npos) return 0;
  std::string_view undoes = valueOf(head.substr(0, at), "\nundoes ");
  std::uint64_t number = 0;
  return takeNumber(undoes, number) ? at + kItems.size() : 0;
}

// False when the file is damaged; sets `error` when it cannot be read.
bool readPastEdit(File& file, PastEdit& edit, std::error_code& error) {
  const std::optional<std::uint64_t> size = file.size();
  FileText text(file, 0, size.value_or(0));
  const std::uint64_t begin = itemsBegin(text);
  const std::string head(text.view(0, begin).substr(0, begin));
  edit.verb = valueOf(head, "\nverb ");
  edit.time = valueOf(head, "\ntime ");
  edit.localTime = valueOf(head, "\nlocal ");
  std::string_view undoes = valueOf(head, "\nundoes ");
  const std::optional<Trailer> trailer = readTrailer(text);
  if (!size || text.hasFailed()) error = std::make_error_code(std::errc::io_error);
  if (begin == 0 || !takeNumber(undoes, edit.undoes) || !trailer) return false;
  edit.added = trailer->added;
  edit.changed = trailer->changed;
  edit.removed = trailer->removed;
  edit.isTooLarge = trailer->isTooLarge != 0;
  edit.firstItem = trailer->firstItem;
  return true;
}

// Tells which edits were taken back: those that a later one undoes which was not itself.
void findTakenBack(std::vector<PastEdit>& edits) {
  std::unordered_set<std::uint64_t> undone;
  for (std::size_t i = edits.size(); i-- > 0;) {
    PastEdit& edit = edits[i];
    if (undone.contains(edit.number) && edit.state == PastEdit::State::Done)
      edit.state = PastEdit::State::TakenBack;
    if (edit.undoes != 0 && edit.state == PastEdit::State::Done) undone.insert(edit.undoes);
  }
  for (PastEdit& edit : edits) {
    if (edit.undoes == 0) continue;
    const auto other = std::find_if(edits.begin(), edits.end(), [&](const PastEdit& each) {
      return each.number == edit.undoes;
    });
    // The edit that it took back may be forgotten.
    edit.level = other == edits.end() ? 1 : other->level + 1;
  }
}

}  // namespace

History::History(std::u16string_view path) {
  const std::u16string resolved = resolvedPath(path);
  const auto bytes = std::as_bytes(std::span(resolved));
  const std::string_view text(reinterpret_cast<const char*>(bytes.data()), bytes.size());
  parent_ = joinPath(stateFolder(), u"history");
  name_ = ascii(format("%016llx", static_cast<unsigned long long>(fingerprint(text))));
}

std::u16string History::nameOf(const Entry& entry) {
  const std::string number = format("%010llu", static_cast<unsigned long long>(entry.number));
  return ascii(number).append(entry.isPending ? kPending : kDone);
}

std::u16string History::pathOf(const Entry& entry) const {
  return joinPath(joinPath(parent_, name_), nameOf(entry));
}

std::vector<History::Entry> History::entries(std::error_code& error) const {
  std::vector<Entry> found;
  for (const FolderEntry& file : readFolder(joinPath(parent_, name_), error)) {
    const std::string name = toUtf8(file.name);
    Entry entry;
    const auto [end, failure] =
        std::from_chars(name.data(), name.data() + name.size(), entry.number);
    const std::string_view kind =
        std::string_view(name).substr(static_cast<std::size_t>(end - name.data()));
    entry.isPending = kind == ".part";
    if (failure == std::errc() && (entry.isPending || kind == ".edit")) found.push_back(entry);
  }
  if (error == std::errc::no_such_file_or_directory) error.clear();
  std::sort(found.begin(), found.end(),
            [](const Entry& a, const Entry& b) { return a.number < b.number; });
  return found;
}

std::vector<PastEdit> History::edits(std::error_code& error) const {
  std::vector<PastEdit> edits;
  for (const Entry& entry : entries(error)) {
    const std::unique_ptr<File> file = openFile(pathOf(entry), {}, error);
    if (error == std::errc::no_such_file_or_directory) {  // it was forgotten meanwhile
      error.clear();
      continue;
    }
    PastEdit edit;
    const bool isWhole = file && readPastEdit(*file, edit, error);
    if (error) return {};
    if (!isWhole) {
      edit = {};
      edit.isDamaged = true;
    }
    edit.number = entry.number;
    if (entry.isPending) edit.state = PastEdit::State::Interrupted;
    edits.push_back(std::move(edit));
  }
  findTakenBack(edits);
  return edits;
}

std::unique_ptr<File> History::open(std::uint64_t number, std::error_code& error) const {
  return openFile(pathOf({number, false}), {}, error);
}

void History::resolve(File& collection) const {
  std::error_code error;
  std::vector<Entry> pending = entries(error);
  std::erase_if(pending, [](const Entry& entry) { return !entry.isPending; });
  if (pending.empty()) return;
  // They were made together or not at all, and the last one left the items as they are now.
  bool isMade = false;
  if (std::unique_ptr<File> file = openFile(pathOf(pending.back()), {}, error)) {
    UndoEdit undo(std::move(file), pending.back().number);
    ItemStream items(collection);
    items.parseOnDemand();
    const auto discard = [](std::string_view) { return true; };
    isMade = undo.isSound() && editItems(items, undo, discard) == EditEnd::Changed;
    collection.seek(0);
    // Nothing is known without the record and the collection; a later edit finds out.
    if (undo.hasReadError() || items.error().kind == XmlError::Kind::Unreadable) return;
  }
  if (error) return;
  const OutputFolder folder(parent_, name_, error);
  if (error) return;
  for (const Entry& entry : pending) {
    const std::u16string name = nameOf(entry);
    if (isMade) {
      folder.replaceFile(name, nameOf({entry.number, false}));
    } else {
      folder.removeFile(name);
    }
  }
}

void History::trim() const {
  std::error_code error;
  const std::vector<Entry> all = entries(error);
  std::uint64_t bytes = 0;
  std::size_t kept = 0;
  for (std::size_t i = all.size(); i-- > 0;) {
    if (const std::unique_ptr<File> file = openFile(pathOf(all[i]), {}, error))
      bytes += file->size().value_or(0);
    if (++kept <= kMaxEdits && bytes <= kMaxBytes) continue;
    const OutputFolder folder(parent_, name_, error);
    if (!error) folder.removeFile(nameOf(all[i]));
  }
}

struct EditRecord::Parts {
  History::Entry entry;
  std::optional<FileReplacement> file;
  bool isFinished = false;
  bool isConfirmed = false;
};

EditRecord::EditRecord(const History& history, std::string_view verb, std::uint64_t undoes)
    : history_(history), head_(headOf(verb, undoes)) {}

EditRecord::~EditRecord() {
  if (!parts_ || parts_->isConfirmed) return;
  parts_->file.reset();
  try {
    std::error_code error;
    const OutputFolder folder(history_.parent_, history_.name_, error);
    if (!error) folder.removeFile(History::nameOf(parts_->entry));
  } catch (const std::bad_alloc&) {  // it stays as one that was interrupted
  }
}

void EditRecord::fail(const std::error_code& error) {
  if (!error || !error_.empty()) return;
  error_ = "the edit cannot be taken back: " + toUtf8(history_.parent_) + ": " + error.message();
  block_.clear();
}

// Makes the file when there is something to write, with a number after all others.
void EditRecord::write(std::string_view text) {
  if (!error_.empty()) return;
  if (!parts_) {
    parts_ = std::make_unique<Parts>();
    std::error_code error = createFolder(joinPath(history_.parent_, history_.name_));
    if (error) return fail(error);
    const std::vector<History::Entry> others = history_.entries(error);
    if (error) return fail(error);
    parts_->entry = {others.empty() ? 1 : others.back().number + 1, true};
    const std::u16string path = history_.pathOf(parts_->entry);
    OpenMode mode;
    mode.write = mode.isPrivate = true;
    mode.disposition = OpenMode::Disposition::CreateNew;
    // The file that takes its place gets its rights.
    if (!openFile(path, mode, error)) return fail(error);
    parts_->file.emplace(path, error);
    if (error) return fail(error);
    write(head_);
  }
  block_ += text;
  size_ += text.size();
  if (block_.size() >= kBlock) fail(parts_->file->write(std::exchange(block_, {})));
}

void EditRecord::add(const EditedItem& item) {
  const bool isKept = item.before.data() == item.after.data() || item.before == item.after;
  const std::u16string asin = item.items ? item.items->asin() : asinOf(item.after);
  if (!item.after.empty() && !asin.empty()) keptKeys_.push_back(keyOf(asin));
  if (isKept) return;
  if (item.after.empty() && !asin.empty()) removedKeys_.push_back(keyOf(asin));
  ++(item.before.empty() ? added_ : item.after.empty() ? removed_ : changed_);
  const std::string label = itemLabel(asin, item.before.empty() ? item.after : item.before);
  if (firstItem_.empty()) firstItem_ = label;
  if (isTooLarge_) return;
  if (size_ + label.size() + item.before.size() + 2 * kMaxLine > History::kMaxBytes) {
    isTooLarge_ = true;
    return;
  }
  write(format("item %llu %016llx %zu %zu %zu\n", static_cast<unsigned long long>(item.place),
               static_cast<unsigned long long>(fingerprint(item.after)), item.after.size(),
               label.size(), item.before.size()));
  write(label);
  write(item.before);
  write("\n");
}

void EditRecord::finish() {
  if (added_ + changed_ + removed_ == 0) return;
  write({});
  if (!error_.empty()) return;
  std::sort(keptKeys_.begin(), keptKeys_.end());
  const bool hasTwins = std::any_of(removedKeys_.begin(), removedKeys_.end(), [&](auto key) {
    return std::binary_search(keptKeys_.begin(), keptKeys_.end(), key);
  });
  if (isTooLarge_) {
    error_ = "the edit cannot be taken back: it changes more than 64 MiB";
    block_ = head_;
    if (!parts_->file->file().seek(0) || !parts_->file->file().setEnd())
      return fail(std::make_error_code(std::errc::io_error));
  }
  block_ += format("end %zu %zu %zu %d %d ", added_, changed_, removed_, hasTwins ? 1 : 0,
                   isTooLarge_ ? 1 : 0);
  block_.append(firstItem_).append("\n");
  std::error_code error = parts_->file->write(std::exchange(block_, {}));
  if (!error) error = parts_->file->commit();
  parts_->isFinished = !error;
  fail(error);
}

void EditRecord::confirm() {
  if (!parts_ || !parts_->isFinished) return;
  std::error_code error;
  const OutputFolder folder(history_.parent_, history_.name_, error);
  const History::Entry done{parts_->entry.number, false};
  if (!error) error = folder.replaceFile(History::nameOf(parts_->entry), History::nameOf(done));
  parts_->isConfirmed = true;  // at worst the next edit finds out that it was made
}

namespace {

struct ItemRecord {
  std::uint64_t place = 0;
  std::uint64_t after = 0;   // the new text's fingerprint
  std::uint64_t offset = 0;  // of the label in the file
  std::uint32_t afterSize = 0, labelSize = 0, beforeSize = 0;
  bool isDone = false;
};

}  // namespace

// What the file of an edit says.
struct UndoEdit::Record {
  std::unique_ptr<File> file;
  FileText text;
  bool isSound = false;
  bool hasTwins = false;
  bool readFailed = false;
  std::vector<ItemRecord> items;
  std::vector<std::uint32_t> byText;   // indexes of changed and added items by fingerprint
  std::vector<std::uint32_t> removed;  // indexes of removed ones, in their order
  std::vector<std::pair<std::uint64_t, std::uint32_t>> removedKeys;  // sorted
  std::size_t nextRemoved = 0;
  bool ended = false;

  explicit Record(std::unique_ptr<File> from)
      : file(std::move(from)), text(*file, 0, file->size().value_or(0)) {
    readFailed = !file->size();
    isSound = read();
    if (isSound) index();
  }

  // Finds the items in the file. False when it is damaged, also within an item that is to come
  // back.
  bool read() {
    const std::optional<Trailer> trailer = readTrailer(text);
    std::uint64_t at = itemsBegin(text);
    if (!trailer || at == 0 || trailer->isTooLarge != 0) return false;
    hasTwins = trailer->hasTwins != 0;
    while (at < trailer->begin) {
      std::string_view line = text.view(at, kMaxLine).substr(0, kMaxLine);
      const std::size_t end = line.find('\n');
      if (end == line.npos || !line.starts_with("item ")) return false;
      line = line.substr(5, end - 5);
      ItemRecord item;
      if (!takeNumber(line, item.place) || !takeNumber(line, item.after, 16) ||
          !takeNumber(line, item.afterSize) || !takeNumber(line, item.labelSize) ||
          !takeNumber(line, item.beforeSize) || item.labelSize > kMaxLabel) {
        return false;
      }
      item.offset = at + end + 1;
      at = item.offset + item.labelSize + item.beforeSize + 1;
      if (at > trailer->begin || (item.beforeSize != 0 && !isItem(before(item)))) return false;
      items.push_back(item);
    }
    return at == trailer->begin &&
           items.size() == trailer->added + trailer->changed + trailer->removed;
  }

  void index() {
    for (std::uint32_t i = 0; i < items.size(); ++i)
      (items[i].afterSize == 0 ? removed : byText).push_back(i);
    std::stable_sort(byText.begin(), byText.end(),
                     [&](auto a, auto b) { return items[a].after < items[b].after; });
    if (hasTwins) return;
    for (const std::uint32_t i : removed) {
      const std::u16string asin = asinOf(before(items[i]));
      if (!asin.empty()) removedKeys.emplace_back(keyOf(asin), i);
    }
    std::sort(removedKeys.begin(), removedKeys.end());
  }

  std::string before(const ItemRecord& item) {
    return textAt(item.offset + item.labelSize, item.beforeSize);
  }

  std::string textAt(std::uint64_t at, std::size_t size) {
    std::string out(size, '\0');
    readFailed = text.read(at, out.data(), size) != size || readFailed;
    return out;
  }

  // The item that the edit left with that text; null when there is none any more.
  ItemRecord* find(std::string_view item) {
    const std::uint64_t hash = fingerprint(item);
    auto found = std::lower_bound(byText.begin(), byText.end(), hash,
                                  [&](auto i, auto wanted) { return items[i].after < wanted; });
    for (; found != byText.end() && items[*found].after == hash; ++found) {
      ItemRecord& record = items[*found];
      if (!record.isDone && record.afterSize == item.size()) return &record;
    }
    return nullptr;
  }
};

UndoEdit::UndoEdit(std::unique_ptr<File> record, std::uint64_t number)
    : records_(std::make_unique<Record>(std::move(record))), number_(number) {}

UndoEdit::~UndoEdit() = default;

bool UndoEdit::isSound() const { return records_->isSound; }

bool UndoEdit::hasReadError() const { return records_->readFailed || records_->text.hasFailed(); }

std::string UndoEdit::insertion(const ItemStream& items) {
  Record& record = *records_;
  if (record.nextRemoved == record.removed.size()) return {};
  const ItemRecord& next = record.items[record.removed[record.nextRemoved]];
  if (next.place >= items.count()) return {};
  ++record.nextRemoved;
  return record.before(next);
}

ItemChange UndoEdit::change(const ItemStream& items) {
  Record& record = *records_;
  if (ItemRecord* found = record.find(items.item())) {
    found->isDone = true;
    if (found->beforeSize == 0) return {ItemChange::Kind::Drop, {}};
    std::string text = record.before(*found);
    if (record.readFailed) return {ItemChange::Kind::GiveUp, {}};
    return {ItemChange::Kind::Replace, std::move(text)};
  }
  if (record.removedKeys.empty()) return {};
  const std::u16string& asin = items.asin();
  const std::pair<std::uint64_t, std::uint32_t> key{keyOf(asin), 0};
  const auto twin = std::lower_bound(record.removedKeys.begin(), record.removedKeys.end(), key);
  if (twin != record.removedKeys.end() && twin->first == key.first)
    addConflict(labelOf(asin) + ", which is there again");
  return {};
}

std::string UndoEdit::addition() {
  Record& record = *records_;
  if (record.nextRemoved == record.removed.size()) return {};
  const ItemRecord& next = record.items[record.removed[record.nextRemoved++]];
  return record.before(next);
}

void UndoEdit::addConflict(std::string label) {
  if (conflictCount_++ < kMaxConflicts) conflicts_.push_back(std::move(label));
}

bool UndoEdit::accept() {
  Record& record = *records_;
  for (const ItemRecord& item : record.items) {
    if (item.afterSize != 0 && !item.isDone)
      addConflict(record.textAt(item.offset, item.labelSize));
  }
  return conflictCount_ == 0 && record.isSound && !record.readFailed;
}

UndoResult undoEdits(std::u16string_view path, const EditOptions& options, std::size_t count,
                     bool redo) {
  UndoResult result;
  std::vector<std::unique_ptr<UndoEdit>> undos;
  const auto select = [&] {
    const History history(path);
    const std::vector<PastEdit> edits = history.edits(result.readError);
    std::vector<ItemEdit*> chosen;
    for (std::size_t i = edits.size(); i-- > 0 && result.edits.size() < count;) {
      const PastEdit& edit = edits[i];
      if (!isToTakeBack(edit, redo)) continue;
      result.edits.push_back(edit);
      std::unique_ptr<File> file = history.open(edit.number, result.readError);
      auto undo = file ? std::make_unique<UndoEdit>(std::move(file), edit.number) : nullptr;
      if (undo && undo->hasReadError())
        result.readError = std::make_error_code(std::errc::io_error);
      if (result.readError) break;
      if (!undo->isSound()) {
        result.unreadable = edit.isTooLarge ? "it changed more than 64 MiB"
                                            : "its record in the history is damaged";
        break;
      }
      chosen.push_back(undo.get());
      undos.push_back(std::move(undo));
    }
    result.missing = count - result.edits.size();
    const bool isRefused = result.readError || result.missing > 0 || !result.unreadable.empty();
    return isRefused ? std::vector<ItemEdit*>() : chosen;
  };
  result.edit = editCollection(path, options, select);
  for (const auto& undo : undos) {
    if (undo->hasReadError()) result.readError = std::make_error_code(std::errc::io_error);
    result.conflicts.insert(result.conflicts.end(), undo->conflicts().begin(),
                            undo->conflicts().end());
    result.conflictCount += undo->conflictCount();
  }
  return result;
}

}  // namespace tessaron
