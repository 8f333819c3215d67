#pragma once

#include <cstddef>
#include <string_view>
#include <vector>

#include "tessaron_export.h"

namespace tessaron {

// Any thread may call these functions.

/// The columns of a character cell terminal that a character takes: 2 for wide ones, 0 for those
/// that join another or are not shown.
TESSARON_API int columnsOf(char32_t character);

enum class TextBreak {
  Line,       ///< where a line may end
  Character,  ///< where what readers see as one character ends
};

/// The places of one kind in UTF-8 text: offsets in bytes without 0, with the text's end. When the
/// system cannot tell, every code point counts as a character of its own.
TESSARON_API std::vector<std::size_t> textBreaks(TextBreak kind, std::string_view text);

}  // namespace tessaron
