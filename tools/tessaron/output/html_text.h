#pragma once
// Escapes foreign text for a page.

#include <string>
#include <string_view>

namespace tessaron::tool {

/// The text for element content and quoted attribute values. Control characters become U+FFFD.
std::string escapeHtml(std::string_view text);
std::string escapeHtml(std::u16string_view text);

/// The bytes in base 64.
std::string base64(std::string_view bytes);

/// A UTF-8 text as a part of the path of an address: all but letters, digits, "-", "_" and "." is
/// escaped.
std::string addressPart(std::string_view text);

/// Whether the address may stand in a link or as an image's source: http and https only.
bool isWebAddress(std::string_view address);

}  // namespace tessaron::tool
