#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <system_error>
#include <vector>

#include "catalogue/edit.h"
#include "platform/file.h"
#include "tessaron_export.h"

namespace tessaron {

/// An edit of a collection as its history tells it.
struct PastEdit {
  enum class State {
    Done,
    TakenBack,    ///< by a later edit
    Interrupted,  ///< the program ended in its course; the next edit finds out whether it was made
  };
  std::uint64_t number = 0;  ///< ascends from edit to edit
  State state = State::Done;
  std::string verb;
  std::string time;       ///< UTC, as "2026-11-22T02:13:05Z"
  std::string localTime;  ///< where the user was, as "2026-11-22 03:13:05"
  std::size_t added = 0;  ///< items
  std::size_t changed = 0;
  std::size_t removed = 0;
  std::string firstItem;     ///< the ASIN of the first of them, or its title where it has none
  bool isTooLarge = false;   ///< the items' old texts are not kept
  bool isDamaged = false;    ///< nothing but its number is known
  std::uint64_t undoes = 0;  ///< the number of the edit that it took back; 0: none
  int level = 0;             ///< 0 for an edit, 1 for one that takes back such, 2 for one of 1 ...
};

/// Whether `undoEdits` takes an edit back as the next one, unless it is so of a later one.
constexpr bool isToTakeBack(const PastEdit& edit, bool redo) {
  return edit.state == PastEdit::State::Done && (redo ? edit.level % 2 != 0 : edit.level == 0);
}

/// What the edits of one collection changed, in a folder of its own below the user's folder for
/// such things: the texts of changed and removed items, the fingerprints of what took their place
/// and of added ones. It keeps the last 50 edits, at most 64 MiB of them. Used by one thread at a
/// time; `resolve` and `record` only by who holds the lock on the collection's folder.
class TESSARON_API History {
 public:
  static constexpr std::size_t kMaxEdits = 50;
  static constexpr std::uint64_t kMaxBytes = std::uint64_t{64} << 20;

  /// Of the collection at `path`, however that is named.
  explicit History(std::u16string_view path);

  /// The edits, oldest first; none when there is no history. `error` tells why it cannot be read.
  std::vector<PastEdit> edits(std::error_code& error) const;
  /// What the edit `number` changed. Null when it cannot be opened; `error` tells why.
  std::unique_ptr<File> open(std::uint64_t number, std::error_code& error) const;

  /// Finds out by the items of `collection` which interrupted edits were made, and forgets the
  /// others. Leaves the file at its start. When something cannot be read, nothing is forgotten.
  void resolve(File& collection) const;
  /// Forgets the oldest edits beyond the bounds.
  void trim() const;

 private:
  friend class EditRecord;
  struct Entry {
    std::uint64_t number = 0;
    bool isPending = false;
  };
  std::vector<Entry> entries(std::error_code& error) const;
  static std::u16string nameOf(const Entry& entry);
  std::u16string pathOf(const Entry& entry) const;

  std::u16string parent_;
  std::u16string name_;
};

/// One edit on its way into the history. Without `confirm` it leaves nothing there. Errors are
/// sentences about the history; after one nothing more is written.
class EditRecord {
 public:
  /// `undoes` is the number of the edit that this one takes back, or 0.
  EditRecord(const History& history, std::string_view verb, std::uint64_t undoes);
  ~EditRecord();
  EditRecord(const EditRecord&) = delete;
  EditRecord& operator=(const EditRecord&) = delete;

  void add(const EditedItem& item);
  /// Puts the record on the disk as one that may be interrupted.
  void finish();
  /// The edit was made.
  void confirm();
  const std::string& error() const { return error_; }

 private:
  struct Parts;
  void write(std::string_view text);
  void fail(const std::error_code& error);

  const History& history_;
  std::string head_;
  std::unique_ptr<Parts> parts_;  // as soon as something changes
  std::vector<std::uint64_t> keptKeys_, removedKeys_;
  std::size_t added_ = 0, changed_ = 0, removed_ = 0;
  std::string firstItem_;
  std::string block_;
  std::uint64_t size_ = 0;
  bool isTooLarge_ = false;
  std::string error_;
};

/// The edit that takes back what another one changed: items that it changed or removed get their
/// old texts and places, added ones go. All items must be as that edit left them.
class TESSARON_API UndoEdit : public ItemEdit {
 public:
  /// `record` is what `History::open` gives for that edit.
  UndoEdit(std::unique_ptr<File> record, std::uint64_t number);
  ~UndoEdit() override;

  std::string insertion(const ItemStream& items) override;
  ItemChange change(const ItemStream& items) override;
  std::string addition() override;
  bool accept() override;
  std::uint64_t undoes() const override { return number_; }

  /// Whether the record is whole. Otherwise nothing is taken back.
  bool isSound() const;
  /// Whether a part of the record could not be read, which says nothing about its content. Nothing
  /// is taken back then, either.
  bool hasReadError() const;
  /// The items that are no more as the edit left them, as ASINs or titles, the first few; known
  /// after the last item.
  const std::vector<std::string>& conflicts() const { return conflicts_; }
  std::size_t conflictCount() const { return conflictCount_; }

 private:
  struct Record;
  void addConflict(std::string label);

  std::unique_ptr<Record> records_;
  std::uint64_t number_;
  std::vector<std::string> conflicts_;
  std::size_t conflictCount_ = 0;
};

/// What became of an attempt to take edits back.
struct UndoResult {
  EditResult edit;
  std::vector<PastEdit> edits;         ///< those that were to be taken back, the latest first
  std::size_t missing = 0;             ///< how many of those asked for the history does not have
  std::error_code readError;           ///< why the history cannot be read
  std::string unreadable;              ///< why one of them cannot be taken back; empty: none
  std::vector<std::string> conflicts;  ///< items that are no more as an edit left them, a few
  std::size_t conflictCount = 0;
};

/// Takes back the last `count` edits of the collection at `path` that were not taken back, or with
/// `redo` the last undos: all of them in one step, or none. `options` as for `editCollection`.
TESSARON_API UndoResult undoEdits(std::u16string_view path, const EditOptions& options,
                                  std::size_t count, bool redo);

}  // namespace tessaron
