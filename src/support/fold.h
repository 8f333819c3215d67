#pragma once

#include <string>
#include <string_view>

#include "tessaron_export.h"

namespace tessaron {

/// The text as searching and matching see it: in small letters, without accents, letters with
/// strokes and ligatures as plain letters ("Łódź" is "lodz", "Straße" is "strasse"), compatibility
/// forms as what they stand for. The rules of no language. For any thread.
TESSARON_API std::u16string foldText(std::u16string_view text);

/// Appends `foldText` of a text. For any thread.
TESSARON_API void appendFolded(std::u16string& out, std::u16string_view text);

}  // namespace tessaron
