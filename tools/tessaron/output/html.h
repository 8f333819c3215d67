#pragma once

#include <functional>
#include <string>
#include <string_view>

#include "cli/output.h"
#include "cli/selection.h"
#include "platform/types.h"
#include "records/record.h"

namespace tessaron::tool {

/// Where the covers of an exported page come from.
enum class PageCovers {
  Addresses,  ///< the addresses in the records, which any host may serve
  Embedded,   ///< the page itself
  Folder,     ///< files beside the page
  None,       ///< drawn ones alone
};

/// The address of an item's cover, "data:" or relative; empty for none.
using CoverAddress = std::function<std::string(const CRecord&)>;

/// Writes one page that shows the items as cards or as a table, with search, filters and an
/// overview. It is readable without its script, runs no other, and loads nothing but covers; its
/// security policy forbids everything else. `cover` is not called for PageCovers::Addresses and
/// None. Dates refer to the UTC time `now`. Memory does not depend on the number of items.
void writeHtmlPage(Selection& items, std::string_view title, const SYSTEMTIME& now,
                   PageCovers covers, const CoverAddress& cover, Output& output);

/// The same page for a server: without items, which its script asks the server for, and with the
/// part that edits them unless `isReadOnly`. Refers to "page.css", "page.js" and "page_edit.js"
/// beside it, whose texts are kPageStyle, pageScript() and kPageEditScript of output/page/page.h.
/// It has no inline script or style, so that the policy "default-src 'none'; script-src 'self';
/// style-src 'self'; img-src 'self' data:; connect-src 'self'; base-uri 'none'; form-action 'none';
/// frame-ancestors 'none'" suits it.
void writeServedPage(std::string_view title, const SYSTEMTIME& now, bool isReadOnly,
                     Output& output);

/// As above, as a text.
std::string servedPage(std::string_view title, const SYSTEMTIME& now, bool isReadOnly);

}  // namespace tessaron::tool
