#pragma once
// Texts that spreadsheets take for formulas, and the apostrophes that keep them from it.

#include <string>
#include <string_view>

#include "tessaron_export.h"

namespace tessaron {

/// The characters at which spreadsheets may split a cell: in many locales they split CSV at
/// semicolons and respect quotation marks only at the start of such a cell; some split
/// tab-separated rows at commas and semicolons too.
inline constexpr std::string_view kCsvDividers = ";\t\r\n";
inline constexpr std::string_view kTsvDividers = ",;";

/// Whether a spreadsheet takes the cell for a formula. Plain numbers are none.
TESSARON_API bool looksLikeFormula(std::string_view text);

/// The text with an apostrophe before each formula: at its start and behind each divider.
TESSARON_API std::string guardFormulas(std::string_view text, std::string_view dividers);

/// The text without the apostrophes that `guardFormulas` puts there. An apostrophe that the text
/// had itself in such a place goes, too.
TESSARON_API std::string unguardFormulas(std::string_view text, std::string_view dividers);

}  // namespace tessaron
