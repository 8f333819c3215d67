#pragma once
// Texts of foreign origin on their way into a page: whatever they hold, they stay text.

#include <string>
#include <string_view>

namespace tessaron::tool {

/// The text for element content and quoted attribute values. Control characters become U+FFFD.
std::string escapeHtml(std::string_view text);
std::string escapeHtml(std::u16string_view text);

/// A fragment of foreign HTML as a fragment that is safe and well-formed: paragraphs, line breaks,
/// lists, bold and italic stay, without their attributes; of every other element only the text
/// stays, of scripts, styles and comments nothing.
std::string tidyHtml(std::string_view html);

/// Whether the address may stand in a link or as an image's source: http and https only.
bool isWebAddress(std::string_view address);

}  // namespace tessaron::tool
