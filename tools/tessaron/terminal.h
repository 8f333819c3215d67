#pragma once
// Text as a terminal shows it: widths in columns, nothing that steers the terminal, tables.

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "cli.h"

namespace tessaron::tool {

/// The columns of the terminal behind a file descriptor; nothing when it is no terminal.
std::optional<std::size_t> terminalWidth(int descriptor);

/// UTF-8 text with all that could steer a terminal taken out: control characters and marks that
/// turn the direction of writing become U+FFFD; line ends and tabs become blanks, unless
/// `keepLines` lets the line ends stand.
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

/// A table of texts with a heading. On a terminal it is no wider than that; elsewhere nothing is
/// cut.
class Table {
 public:
  struct Cell {
    std::string text;
    Style style = Style::Plain;
  };

  explicit Table(std::vector<std::string> heading);
  void add(std::vector<Cell> row);  ///< as many cells as the heading has
  void print(const Context& context) const;
  void print(const Context& context, Output& output) const;

 private:
  std::vector<std::vector<Cell>> rows_;
};

}  // namespace tessaron::tool
