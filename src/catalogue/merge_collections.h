#pragma once

#include <cstddef>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "catalogue/edit.h"
#include "catalogue/item_union.h"
#include "platform/file.h"
#include "tessaron_export.h"

namespace tessaron {

/// An item that was united with another, and in what the two differ.
struct ItemConflicts {
  std::u16string key;  ///< its ASIN, or made key
  std::u16string title;
  std::vector<FieldConflict> conflicts;
};

/// Told of each item in turn for which there are conflicts.
using ConflictReport = std::function<void(const ItemConflicts&)>;

/// The edit that completes the items of a collection by those of another one, see `uniteItems`, and
/// adds those that it has not, as they are. An item is the other's with the same ASIN (or made
/// key), else one with a product number in common, each at most once. Keeps the keys of both in
/// memory, not their items. Used by one thread at a time.
class TESSARON_API MergeCollections : public ItemEdit {
 public:
  /// What became of the items of both collections.
  struct Counts {
    std::size_t added = 0;
    std::size_t changed = 0;
    std::size_t unchanged = 0;      ///< of ours, with or without one of theirs
    std::size_t conflicts = 0;      ///< fields
    std::size_t openConflicts = 0;  ///< those that the rule does not settle
  };

  MergeCollections(const UnionRule& rule, ConflictReport report);
  ~MergeCollections() override;

  /// Reads the keys of the collection to be edited, then those of the other one; both files must be
  /// seekable. The error tells why one cannot be read. To be called once, before the edit.
  XmlError readOurs(std::unique_ptr<File> ours);
  XmlError readTheirs(std::unique_ptr<File> theirs);
  /// Whether the other collection has items or a place for them.
  bool isCollection() const;

  ItemChange change(const ItemStream& items) override;
  std::string addition() override;
  /// False when a conflict is open, and in the two cases below.
  bool accept() override;

  /// Whether the other collection could not be read a second time.
  bool readFailed() const;
  /// Whether the edited collection is not the one whose keys were read.
  bool isOutdated() const;
  const Counts& counts() const { return counts_; }

 private:
  struct Plan;
  UnionRule rule_;
  ConflictReport report_;
  std::unique_ptr<Plan> plan_;
  Counts counts_;
};

}  // namespace tessaron
