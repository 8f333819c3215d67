#pragma once

#include <string>
#include <string_view>

#include "platform/types.h"
#include "records/record.h"

namespace tessaron::tool {

/// What an item's object on the page holds besides the record.
struct PageItemExtras {
  std::string_view key = {};      ///< UTF-8; empty: the ASIN
  std::string_view version = {};  ///< of the item's text in the file; empty: left out
  bool hasCover = false;  ///< whether the cover is in the image cache of the served collection
  std::string_view cover = {};  ///< UTF-8: the cover's address, relative or "data:"; empty: none
};

/// Appends the item as one JSON object on one line, as the page and the server's answers have it:
/// the record's object as `writeRecord` writes it, without what is null or empty, and with the
/// members `key`, `version`, `due` (the day on which it falls due) and `cover` (its address, else
/// true when `hasCover`). Any "<" is escaped, so that the text may stand in a script element. Due
/// marks refer to the UTC time `now`.
void appendPageItem(const CRecord& record, const SYSTEMTIME& now, const PageItemExtras& extras,
                    std::string& out);

/// Appends what the page knows of the collection as a whole, as one JSON object on one line, with
/// "<" escaped: `title`, `isServed`, `day` (of `now`), `fields` (name, short name, kind of values
/// and label of each field that queries know) and `statuses` (their names, by number).
void appendPageFacts(std::string_view title, const SYSTEMTIME& now, bool isServed,
                     std::string& out);

}  // namespace tessaron::tool
