#pragma once
// Items that are added by hand.

#include <optional>
#include <string>
#include <vector>

#include "catalogue/item_addition.h"
#include "records/record.h"

namespace tessaron::tool {

/// An item as people describe it; see the options of `add`.
struct NewItem {
  std::string title;
  std::vector<std::string> authors;
  std::vector<std::string> artists;
  std::vector<std::string> directors;
  std::optional<std::string> group;
  std::optional<std::string> ean;
  std::optional<std::string> upc;
  std::optional<std::string> isbn;
  std::vector<std::string> fields;  ///< NAME=VALUE
};

/// The record of a new item, added today. Fails with kUsage, or kFailed and `where`, for what a
/// record does not take.
CRecord makeRecord(const NewItem& item, const std::string& where);

/// Why `addition` was refused: which item it is already.
std::string knownReason(const ItemAddition& addition);

}  // namespace tessaron::tool
