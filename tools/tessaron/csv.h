#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace tessaron::tool {

/// One field by RFC 4180, quoted where it must be. A text that a spreadsheet would take for a
/// formula gets an apostrophe in front (plain numbers do not); control characters become U+FFFD.
std::string csvField(std::string_view text);

/// A record: fields, commas, CRLF.
std::string csvRow(const std::vector<std::string>& fields);

}  // namespace tessaron::tool
