#pragma once

#include <array>
#include <optional>
#include <span>
#include <string>
#include <string_view>

#include "records/record.h"
#include "tessaron_export.h"

namespace tessaron {

/// The number that trade gives a product, as the 13 digits of an EAN: from an EAN, a UPC (12
/// digits), an ISBN-10 or an ISBN-13, with or without hyphens and spaces. The two ISBN of a book
/// give the same. Nothing when the text is none of these or its check digit is wrong.
TESSARON_API std::optional<std::u16string> productNumber(std::u16string_view text);

/// The members of a record that may hold a product number, the preferred first. The shop's key of a
/// book is its ISBN.
inline constexpr std::array kNumbersAndKey = {&CRecord::EAN, &CRecord::UPC, &CRecord::ISBN,
                                              &CRecord::ASIN};
/// The same without the key.
inline constexpr auto kNumberMembers = std::span(kNumbersAndKey).first<3>();

}  // namespace tessaron
