#pragma once

#include <cstddef>
#include <memory>
#include <string>
#include <vector>

#include "catalogue/edit.h"
#include "catalogue/item_union.h"
#include "catalogue/merge_collections.h"
#include "platform/file.h"
#include "tessaron_export.h"

namespace tessaron {

/// Two items of one collection that may be the same thing.
struct DuplicatePair {
  enum class Reason {
    Key,     ///< the same ASIN, or made key
    Number,  ///< a product number in common (EAN, UPC, ISBN)
    Title,   ///< the same title, group and a person, however they are written
  };
  std::size_t first = 0;  ///< its place in the collection, from 0
  std::size_t second = 0;
  Reason reason = Reason::Key;
  std::u16string number;    ///< of Number: its 13 digits
  bool isContrary = false;  ///< both have product numbers, but none in common: other editions
};

/// Finds the items of a collection that stand in it more than once. Keeps the keys of the items in
/// memory, not the items. Used by one thread at a time.
class TESSARON_API Duplicates {
 public:
  Duplicates();
  ~Duplicates();
  Duplicates(const Duplicates&) = delete;
  Duplicates& operator=(const Duplicates&) = delete;

  /// Reads a collection from a seekable file, once. The error tells why it cannot be read.
  XmlError find(std::unique_ptr<File> collection);
  /// Whether it has items or a place for them.
  bool isCollection() const;
  std::size_t itemCount() const;

  /// Each item with the first one that it is like, by their places; an item that is like several
  /// makes several pairs.
  const std::vector<DuplicatePair>& pairs() const { return pairs_; }
  /// The item at a place; empty when the file cannot be read any more.
  CRecord item(std::size_t place);

 private:
  friend class JoinDuplicates;
  struct Parts;
  std::unique_ptr<Parts> parts_;
  std::vector<DuplicatePair> pairs_;
};

/// The edit that makes one item of each item and those that are like it: the first stays, completed
/// by the others as `uniteItems` tells. Items of different editions, and those of which a conflict
/// is not settled, stay as they are. Used by one thread at a time.
class TESSARON_API JoinDuplicates : public ItemEdit {
 public:
  struct Counts {
    std::size_t joined = 0;     ///< items that went into others
    std::size_t editions = 0;   ///< pairs that stay apart because their product numbers differ
    std::size_t conflicts = 0;  ///< pairs that stay apart because of a conflict
  };

  /// `duplicates` have been found in the collection to be edited, and must outlive the edit.
  JoinDuplicates(Duplicates& duplicates, const UnionRule& rule, ConflictReport report);
  ~JoinDuplicates() override;

  ItemChange change(const ItemStream& items) override;
  bool accept() override;

  /// Whether the collection could not be read a second time.
  bool readFailed() const;
  /// Whether the edited collection is not the one that was searched.
  bool isOutdated() const;
  const Counts& counts() const { return counts_; }

 private:
  struct Walk;
  bool join(std::string& text, const DuplicatePair& pair);
  void joinAll(std::string& text, std::size_t place);

  Duplicates& duplicates_;
  UnionRule rule_;
  ConflictReport report_;
  std::unique_ptr<Walk> walk_;
  Counts counts_;
};

}  // namespace tessaron
