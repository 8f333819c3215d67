#pragma once

#include <functional>
#include <string>
#include <string_view>
#include <system_error>

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
  /// Decides about the current item of `items`.
  virtual ItemChange change(const ItemStream& items) = 0;
  /// The text of the next item to append; empty when there is none left.
  virtual std::string addition() { return {}; }
  /// Asked at the end: whether the edit is to be. Otherwise nothing changes.
  virtual bool accept() { return true; }
};

/// The change by which `text`, made by `updateItem`, takes the place of the item.
TESSARON_API ItemChange replaceItem(const ItemStream& items, std::string text);

/// Takes pieces of a text in their order. False ends the edit.
using TextSink = std::function<bool(std::string_view)>;

/// How an edit ended. Stopped: at an error of the items, because the edit gave up, or because the
/// sink refused; what was written is not whole then.
enum class EditEnd { Unchanged, Changed, Stopped };

/// Writes the text that `items` walks over to `sink`, changed by `edit`. Items that are kept and
/// all that stands between items keep their bytes, but for the white space around dropped ones and
/// for bytes that are no UTF-8, which become the characters that they are read as.
TESSARON_API EditEnd editItems(ItemStream& items, ItemEdit& edit, const TextSink& sink);

/// Whether a missing collection may be edited, and whether anything is written.
enum class EditMode {
  Existing,  ///< a missing file is an error
  Create,    ///< a missing file starts as an empty collection
  DryRun,    ///< as Create, but nothing is written
};

/// How an edit of a file ended: at most one of the errors is set.
struct EditResult {
  bool changed = false;
  std::error_code readError;   ///< the collection cannot be read, or is no regular file
  XmlError xmlError;           ///< it is damaged
  bool isForeign = false;      ///< it is well-formed but has no place for items
  bool isGivenUp = false;      ///< the edit gave up, or was not accepted
  std::error_code writeError;  ///< the changed one could not be put in its place

  explicit operator bool() const {
    return !readError && !xmlError && !isForeign && !isGivenUp && !writeError;
  }
};

/// Changes the collection at `path` by `edit`, while no other edit of it can come between: the new
/// file is written beside the old one, flushed, and takes its place in one step. When nothing
/// changes, or anything fails, the old file stays as it was. A file in another encoding becomes one
/// in UTF-8.
TESSARON_API EditResult editCollection(std::u16string_view path, EditMode mode, ItemEdit& edit);

/// The text of a collection without items.
TESSARON_API std::string emptyCollection();

}  // namespace tessaron
