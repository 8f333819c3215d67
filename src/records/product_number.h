#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "tessaron_export.h"

namespace tessaron {

/// The number that trade gives a product, as the 13 digits of an EAN: from an EAN, a UPC (12
/// digits), an ISBN-10 or an ISBN-13, with or without hyphens and spaces. The two ISBN of a book
/// give the same. Nothing when the text is none of these or its check digit is wrong.
TESSARON_API std::optional<std::u16string> productNumber(std::u16string_view text);

}  // namespace tessaron
