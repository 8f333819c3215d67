#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "catalogue/item_field.h"
#include "platform/types.h"
#include "records/record.h"
#include "tessaron_export.h"

namespace tessaron {

/// An order of items by their fields: numbers, dates and amounts by value, statuses by their
/// number, texts as `compareLogically`. Items without a field come last in either direction. What
/// is equal in all fields is ordered by title.
class ItemOrder {
 public:
  /// What of an item decides its place.
  struct Key {
    struct Part {
      bool isMissing = true;
      double number = 0;
      std::u16string text;
    };
    std::vector<Part> parts;
  };

  /// The order in "FIELD,-FIELD"; a hyphen stands for the reverse. Nothing when a part names no
  /// field, which `unknown` gets.
  TESSARON_API static std::optional<ItemOrder> parse(std::string_view text, std::string& unknown);

  /// Whether records must be read with `CRecord::fullDetail`.
  TESSARON_API bool needsDetail() const;
  TESSARON_API Key keyOf(const CRecord& record, const SYSTEMTIME& now) const;
  TESSARON_API bool isBefore(const Key& left, const Key& right) const;

 private:
  struct Part {
    ItemField field;
    bool isReversed = false;
  };
  std::vector<Part> parts_;
};

}  // namespace tessaron
