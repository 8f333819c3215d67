#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "records/record.h"
#include "tessaron_export.h"

namespace tessaron {

/// The product number (see `productNumber`) that a record's EAN, UPC or ISBN gives, in this order.
TESSARON_API std::optional<std::u16string> productNumberOf(const CRecord& record);

/// The key, in place of an ASIN, of an item that no shop has numbered: "item-" and twelve digits
/// and small letters, made of its product number, else of its folded title, first person and group.
/// The same item gives the same key anywhere; different ones give different keys (by a hash of 60
/// bits). No ASIN looks like it.
TESSARON_API std::u16string madeKey(const CRecord& record);

/// Whether a key is of the form that `madeKey` gives.
TESSARON_API bool isMadeKey(std::u16string_view key);

}  // namespace tessaron
