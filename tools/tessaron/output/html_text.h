#pragma once
// Escapes foreign text for a page.

#include <string>
#include <string_view>

namespace tessaron::tool {

/// The text for element content and quoted attribute values. Control characters become U+FFFD.
std::string escapeHtml(std::string_view text);
std::string escapeHtml(std::u16string_view text);

/// Whether the address may stand in a link or as an image's source: http and https only.
bool isWebAddress(std::string_view address);

}  // namespace tessaron::tool
