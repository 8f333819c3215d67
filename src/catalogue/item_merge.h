#pragma once

#include <string>
#include <string_view>

namespace tessaron {

// All texts are one element without a fault.

/// Brings the text of an "Item" up to date by a three-way merge. `base` is what the writer makes of
/// the record that is read from `item`, `next` what it makes of the wanted record. Only what
/// differs between these two is replaced, inserted or deleted; all other bytes of `item` stay.
std::string mergeItem(std::string_view item, std::string_view base, std::string_view next);

/// An "Item" without the values that stand in `base` or `next`; what a record does not carry is
/// left.
std::string stripItem(std::string_view item, std::string_view base, std::string_view next);

/// An "Item" with that of a "Details" which the record does not carry, or which both dialects have
/// in common.
std::string detailsToItem(std::string_view details);

}  // namespace tessaron
