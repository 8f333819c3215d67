#pragma once
// What titles and names have in common however they are written. For any thread.

#include <string>
#include <string_view>

#include "tessaron_export.h"

namespace tessaron {

/// The words of `text` in alphabetical order, separated by blanks: "Smith, John" and "JOHN SMITH"
/// give the same. Case, accents and punctuation do not count.
TESSARON_API std::u16string wordsKey(std::u16string_view text);

/// The words of a title in their order without its initial article, which may stand behind a comma
/// at the end: "The Matrix" and "Matrix, The" give the same. A title that is nothing but an article
/// keeps it. Case, accents and punctuation do not count.
TESSARON_API std::u16string titleKey(std::u16string_view title);

}  // namespace tessaron
