#pragma once

#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "catalogue/edit.h"
#include "records/record.h"
#include "tessaron_export.h"

namespace tessaron {

/// The edit that appends one item, unless the collection has it already: then nothing changes, and
/// `known` tells which item that is. For one thread at a time.
class TESSARON_API ItemAddition : public ItemEdit {
 public:
  /// Whether an item may have the product number of another one.
  enum class Copies { Refused, Allowed };

  /// An item already in the collection.
  struct Known {
    std::u16string key;
    std::u16string title;
    bool hasSameKey;  ///< otherwise the same EAN, UPC or ISBN
  };

  /// A record without an ASIN gets a made key (see `madeKey`), a random one for a copy. After that,
  /// `finish`, if any, has the last word on the record.
  ItemAddition(CRecord record, Copies copies, const std::function<void(CRecord&)>& finish = {});

  ItemChange change(const ItemStream& items) override;
  std::string addition() override;
  bool accept() override { return !known_; }

  const CRecord& record() const { return record_; }
  const std::optional<Known>& known() const { return known_; }

 private:
  bool hasNumberOf(const CRecord& other) const;

  CRecord record_;
  std::vector<std::u16string> numbers_;  // that no other item may have
  std::optional<Known> known_;
  bool isAdded_ = false;
};

}  // namespace tessaron
