#pragma once
// Text as a terminal shows it: widths in columns, nothing that steers the terminal, colors.

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

#include "cli/context.h"
#include "cli/output.h"

namespace tessaron::tool {

/// UTF-8 text without terminal control: control characters and marks that change the direction of
/// writing become U+FFFD, bytes that are not UTF-8 become "\xE9", line ends and tabs become blanks;
/// `keepLines` keeps the line ends.
std::string printable(std::string_view text, bool keepLines = false);

/// How many columns printable UTF-8 text takes: two for wide characters, none for combining ones.
std::size_t columns(std::string_view text);

/// The text cut to at most `width` columns, with an ellipsis where something is missing.
std::string cutToWidth(std::string_view text, std::size_t width);

/// Whether standard output gets colors: as --color says; by itself on a terminal, unless NO_COLOR
/// is set.
bool useColor(const Context& context);

/// The same for an output, which may be a file.
bool useColor(const Context& context, const Output& output);

enum class Style { Plain, Bold, Yellow, Red };

/// A text in a style; as it stands without `color`.
std::string styled(std::string_view text, Style style, bool color);

/// The text in lines of at most `width` columns (at least 2), broken where its language breaks
/// lines, and within a word only where that is too long.
std::vector<std::string> wrapped(std::string_view text, std::size_t width);

/// The text in at most `width` columns: what is too much is replaced by an ellipsis in its middle.
std::string shortened(std::string_view text, std::size_t width);

}  // namespace tessaron::tool
