#pragma once
// Escapes foreign text for a page.

#include <string>
#include <string_view>

namespace tessaron::tool {

/// The text for element content and quoted attribute values. Control characters become U+FFFD.
std::string escapeHtml(std::string_view text);
std::string escapeHtml(std::u16string_view text);

/// Turns foreign HTML into a safe, well-formed fragment: keeps paragraphs, line breaks, lists, bold
/// and italic without attributes, keeps only the text of other elements, and drops scripts, styles
/// and comments.
std::string tidyHtml(std::string_view html);

/// Whether the address may stand in a link or as an image's source: http and https only.
bool isWebAddress(std::string_view address);

}  // namespace tessaron::tool
