#pragma once

#include <string_view>

#include "cli/collection.h"
#include "cli/output.h"
#include "platform/types.h"

namespace tessaron::tool {

/// Writes one self-contained page that shows the items as cards, with a search box and filters. It
/// loads nothing but the covers, runs no script but its own, and is legible without any script. Due
/// marks are those of the UTC time `now`. The collection is read twice.
void writeHtmlPage(CollectionReader& collection, std::string_view title, const SYSTEMTIME& now,
                   Output& output);

}  // namespace tessaron::tool
