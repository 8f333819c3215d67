#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "records/record.h"
#include "tessaron_export.h"

namespace tessaron {

/// The text of an item that holds what `record` holds, when the one at hand holds `known`, which
/// was read from it. Only what differs is replaced, inserted or deleted; all other bytes stay, and
/// with them everything that a record does not carry (further offers, folders, unknown elements and
/// attributes, comments). An item in the older dialect becomes an "Item". Nothing when the item
/// holds `record` already. Fields whose flag is false are left out.
TESSARON_API std::optional<std::string> updateItem(std::string_view item, int version,
                                                   const CRecord& known, const CRecord& record);

/// The text of a new item. Fields whose flag is false are left out.
TESSARON_API std::string itemText(CRecord record);

/// The record that the text of an item gives.
TESSARON_API CRecord recordOf(std::string_view item);

}  // namespace tessaron
