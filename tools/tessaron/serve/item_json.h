#pragma once

#include <string>
#include <string_view>

#include "platform/types.h"
#include "records/record.h"

namespace tessaron::tool {

/// Appends an item as the page and the answers of the server have it. `key` names the item where
/// its ASIN does not, `version` is that of its text in the file. Due marks refer to the UTC time
/// `now`.
void appendItemJson(const CRecord& record, std::string_view key, std::string_view version,
                    const SYSTEMTIME& now, std::string& out);

}  // namespace tessaron::tool
