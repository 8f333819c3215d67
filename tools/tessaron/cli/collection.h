#pragma once
// How the verbs read and change collections.

#include <cstddef>
#include <functional>
#include <memory>
#include <optional>
#include <string>

#include "catalogue/edit.h"
#include "cli/input.h"
#include "cli/paths.h"
#include "output/row_store.h"

namespace tessaron::tool {

/// A collection's items, one at a time. Fails with kNoInput when it cannot be read, with kBadData
/// when it is damaged or no collection; the items before the damage have been visited by then.
class CollectionReader {
 public:
  /// With `twice` the items can be read twice, also from a pipe.
  explicit CollectionReader(std::string path, bool twice = false);
  ~CollectionReader();

  /// For visits that read few of the items: those are parsed when they are asked for.
  void forEachItem(const std::function<void(const ItemStream&)>& visit);
  /// With `detail` the records are complete; without it they lack texts that only `show` and
  /// `export` tell (see CRecord::fullDetail).
  void forEachRecord(bool detail, const std::function<void(const CRecord&)>& visit);
  /// Number of items that the last walk read.
  std::size_t count() const { return count_; }
  std::string name() const { return displayName(path_); }

 private:
  void walk(const std::function<void(const ItemStream&)>& visit, bool onDemand);

  std::string path_;
  std::unique_ptr<Input> input_;
  std::optional<std::string> content_;
  bool walked_ = false;
  std::size_t count_ = 0;
};

/// What an edit would make of items: a line with key and title of each that does not stay, then a
/// line for each of its fields that changes. Memory does not depend on the number of items.
class TrialListing {
 public:
  void add(const EditedItem& item);
  /// Prints the lines. Fails as `tool::print` does.
  void print() const;

 private:
  RowStore rows_;
};

/// Fails for what `result` tells; warns when the edit cannot be taken back.
void requireEdited(const std::string& path, const EditResult& result);

/// Changes a collection by `edit`, see `editCollection`. Fails with kNoInput for what cannot be
/// read or is no regular file, with kBadData for what is damaged or no collection, with
/// kCannotCreate or kCannotWrite when the new file cannot be put in its place; nothing changes
/// then. What `edit` throws is passed on. A trial prints what would change, if `isListed`.
void changeCollection(const std::string& path, EditMode mode, ItemEdit& edit, bool isListed = true);

}  // namespace tessaron::tool
