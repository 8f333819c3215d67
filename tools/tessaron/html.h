#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "platform/types.h"
#include "records/record.h"

namespace tessaron::tool {

/// One self-contained page that shows the records as cards, with a search box and filters. It loads
/// nothing but the covers, runs no script but its own, and is legible without any script. Due marks
/// are those of the UTC time `now`.
std::string htmlPage(const std::vector<CRecord>& records, std::string_view title,
                     const SYSTEMTIME& now);

}  // namespace tessaron::tool
