#pragma once
// Items as text, without documents in between.

#include <string>
#include <string_view>

#include "records/record.h"
#include "support/xml/tree.h"

namespace tessaron {

/// The version of an item's dialect: 3 for a "Details", 4 for an "Item".
inline int versionOf(const XmlTree::Element& item) { return item.name() == "Details" ? 3 : 4; }

/// Reads `item` into `record` as `CRecord::fromXmlNodeVersion` does with an element of a document.
void readItem(const XmlTree::Element& item, int version, CRecord& record);

/// Appends the "Item" that `CRecord::composeItemNode` makes of `record` and `printXml` prints.
void writeItem(CRecord& record, std::string& out);

}  // namespace tessaron
