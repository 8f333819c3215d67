#pragma once

#include <cstddef>
#include <span>
#include <string>
#include <string_view>

#include "tessaron_export.h"

namespace tessaron {

/// Least number of bytes to insert, delete, replace, or swap with the next one, that turns one word
/// into the other; the case of ASCII letters does not count. Takes time and memory in proportion to
/// the product of the sizes.
TESSARON_API std::size_t editDistance(std::string_view from, std::string_view to);

/// The candidate that `word` is most likely a misspelling of, whatever its case; empty when none is
/// near, and for words of more than 64 bytes, which nobody has typed.
TESSARON_API std::string nearestWord(std::string_view word,
                                     std::span<const std::string> candidates);

}  // namespace tessaron
