#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <system_error>
#include <vector>

#include "platform/file.h"
#include "records/item_stream.h"
#include "support/xml/error.h"
#include "tessaron_export.h"

namespace tessaron {

/// Why a collection cannot be indexed: at most one of these is set.
struct IndexError {
  std::error_code readError;
  XmlError xmlError;       ///< it is damaged
  bool isForeign = false;  ///< it is well-formed but has no place for items
};

/// Where the items of a collection are in its file, as it was when it was read, and their keys. The
/// items stay in the file, which is kept open where open files can be replaced: when another file
/// takes its place, the index goes on to give the items of the old one. Elsewhere it gives nothing
/// of an item that is no longer there. About 40 bytes an item. Several threads may use it at once.
class TESSARON_API CollectionIndex {
 public:
  /// Reads the collection at `path`; a missing one has no items. Null on failure.
  static std::shared_ptr<const CollectionIndex> read(std::u16string_view path, IndexError& error);
  /// The version of the file at `path`: another text whenever another file takes its place or its
  /// size or time changes. "0" for a missing one, empty for one that cannot be opened.
  static std::string versionAt(std::u16string_view path);
  /// The version of an item: 16 hexadecimal digits that are made of its text.
  static std::string versionOf(std::string_view item);

  ~CollectionIndex();
  CollectionIndex(const CollectionIndex&) = delete;
  CollectionIndex& operator=(const CollectionIndex&) = delete;

  /// Of the file that was read, see `versionAt`.
  const std::string& version() const { return version_; }
  std::size_t size() const { return entries_.size(); }

  /// The first item with that ASIN; else the one with that version, written "@VERSION", by which
  /// items without an ASIN, or with that of another one, can be named. Nothing when there is none.
  std::optional<std::size_t> find(std::string_view key) const;
  /// The text by which `find` finds the item.
  std::string key(std::size_t item) const;
  /// The version of the item's text, as `versionOf`.
  std::string itemVersion(std::size_t item) const;

  /// The text of an item. Nothing when it cannot be read, or was written over meanwhile.
  std::optional<std::string> text(std::size_t item) const;
  /// Reads the items in their order; `visit` gets the number of each, and may end the walk by
  /// returning false. False when the file cannot be read, or was written over meanwhile.
  bool forEachItem(const std::function<bool(std::size_t, const ItemStream&)>& visit) const;

 private:
  struct Entry {
    std::uint64_t offset;
    std::uint64_t fingerprint;
    std::uint32_t size;
    std::uint32_t keyEnd;  // in keys_, where that of the next one begins
  };

  explicit CollectionIndex(std::u16string_view path);
  std::unique_ptr<File> reopened() const;
  std::string_view asin(std::size_t item) const;
  void add(const ItemStream& items);
  void sortKeys();

  std::u16string path_;
  std::string version_;
  mutable std::mutex mutex_;    // for the file
  std::unique_ptr<File> file_;  // null where it is opened again by each reader
  std::vector<Entry> entries_;
  std::string keys_;                  // the ASINs in UTF-8, one behind the other
  std::vector<std::uint32_t> byKey_;  // the items with an ASIN, by that, and then by their place
};

}  // namespace tessaron
