#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>
#include <string_view>
#include <system_error>
#include <vector>

#include "records/item_stream.h"
#include "tessaron_export.h"

namespace tessaron {

/// What becomes of an item in an edit.
struct ItemChange {
  enum class Kind { Keep, Replace, Drop, GiveUp };
  Kind kind = Kind::Keep;
  std::string text;  ///< of Replace: the text that replaces the item
};

/// An edit of a collection: asked about each item in turn, then for those to be added.
class TESSARON_API ItemEdit {
 public:
  virtual ~ItemEdit();
  /// The text of the next item to insert in front of the current item of `items`; empty when there
  /// is none left. Asked before `change`.
  virtual std::string insertion(const ItemStream& items);
  /// Decides about the current item of `items`.
  virtual ItemChange change(const ItemStream& items) = 0;
  /// The text of the next item to append; empty when there is none left.
  virtual std::string addition() { return {}; }
  /// Asked at the end: whether the edit is to be. Otherwise nothing changes.
  virtual bool accept() { return true; }
  /// The number of the edit in the collection's history that this one takes back; 0: none.
  virtual std::uint64_t undoes() const { return 0; }
};

/// The change by which `text`, made by `updateItem`, takes the place of the current item; none when
/// the item has that text.
TESSARON_API ItemChange replaceItem(const ItemStream& items, std::string text);

/// One item of an edit as its watcher is told of it: the text before and after, empty where there
/// was none or is none any more. Both are the same for an item that stays. The views are valid
/// during the call only.
struct EditedItem {
  const ItemStream* items = nullptr;  ///< at the item; null for one that is added or inserted
  std::string_view before;
  std::string_view after;
  std::size_t place = 0;  ///< how many items are in front of it in the new text
};
using EditWatcher = std::function<void(const EditedItem&)>;

/// Takes pieces of a text in their order. False ends the edit.
using TextSink = std::function<bool(std::string_view)>;

/// How an edit ended. Stopped: at an error of the items, because the edit gave up, or because the
/// sink refused; what was written is not whole then.
enum class EditEnd { Unchanged, Changed, Stopped };

/// Writes the text that `items` walks over to `sink`, changed by `edit`. Items that are kept and
/// all that stands between items keep their bytes, but for the white space around dropped ones and
/// for bytes that are no UTF-8, which become the characters that they are read as. Items are
/// written where they are items: an "Item" inside of an "Items", a "Details" outside. `watch` is
/// told of each item in the order of the new text.
TESSARON_API EditEnd editItems(ItemStream& items, ItemEdit& edit, const TextSink& sink,
                               const EditWatcher& watch = {});

/// Whether a missing collection may be edited.
enum class EditMode {
  Existing,  ///< a missing file is an error
  Create,    ///< a missing file starts as an empty collection
};

/// What goes with an edit of a file.
struct EditOptions {
  EditMode mode = EditMode::Existing;
  bool isTrial = false;   ///< nothing is written
  std::string_view verb;  ///< by which the history names the edit; empty: it is not kept there
  EditWatcher watch;      ///< is told of each item
};

/// How an edit of a file ended: at most one of the errors is set.
struct EditResult {
  bool changed = false;
  std::error_code readError;   ///< the collection cannot be read, or is no regular file
  XmlError xmlError;           ///< it is damaged
  bool isForeign = false;      ///< it is well-formed but has no place for items
  bool isGivenUp = false;      ///< the edit gave up, or was not accepted
  std::error_code writeError;  ///< the changed one could not be put in its place
  /// Why a change that was made cannot be taken back; no failure of the edit.
  std::string historyError;

  explicit operator bool() const {
    return !readError && !xmlError && !isForeign && !isGivenUp && !writeError;
  }
};

/// Changes the collection at `path` by `edit`, while no other edit of it can come between: the new
/// file is written beside the old one, flushed, and takes its place in one step. When nothing
/// changes, or anything fails, the old file stays as it was. A file in another encoding becomes one
/// in UTF-8.
/// With a verb, the history keeps what the edit changed before the new file takes its place.
TESSARON_API EditResult editCollection(std::u16string_view path, const EditOptions& options,
                                       ItemEdit& edit);

/// As above, with several edits one after another, of which all are made or none. `edits` is asked
/// for them when no other edit can come between any more; without any nothing changes.
TESSARON_API EditResult editCollection(std::u16string_view path, const EditOptions& options,
                                       const std::function<std::vector<ItemEdit*>()>& edits);

/// The text of a collection without items.
TESSARON_API std::string emptyCollection();

}  // namespace tessaron
