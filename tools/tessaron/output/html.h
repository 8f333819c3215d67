#pragma once

#include <string_view>

#include "cli/output.h"
#include "cli/selection.h"
#include "platform/types.h"

namespace tessaron::tool {

/// Writes one self-contained page that shows the items as cards, with a search box and filters. It
/// loads only the covers, runs only its own script, and is readable without it. Due marks refer to
/// the UTC time `now`. Walks the items twice.
void writeHtmlPage(Selection& items, std::string_view title, const SYSTEMTIME& now, Output& output);

}  // namespace tessaron::tool
