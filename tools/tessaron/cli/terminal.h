#pragma once
// Text as a terminal shows it: widths in columns, nothing that steers the terminal, tables.

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "cli/cli.h"

namespace tessaron::tool {

/// The columns of the terminal behind a file descriptor; nothing when it is no terminal.
std::optional<std::size_t> terminalWidth(int descriptor);

/// UTF-8 text with all that could steer a terminal taken out: control characters and marks that
/// turn the direction of writing become U+FFFD, bytes that are no UTF-8 "\xE9"; line ends and tabs
/// become blanks, unless `keepLines` lets the line ends stand.
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

/// How a column gives way where its table is too wide for the terminal.
enum class Fit {
  Whole,  ///< not at all: a person may have to type what it holds
  Wrap,   ///< in as many lines as it takes
  Title,  ///< in up to three lines; longer texts lose their middle
};

/// A table of texts with a heading. Where a terminal is too narrow for it, columns without any text
/// are left out, then columns give way as they may; where that is not enough, each row becomes a
/// block of lines under the text of its first column. Elsewhere every row is one line, with all
/// that it holds.
class Table {
 public:
  struct Cell {
    std::string text;
    Style style = Style::Plain;
  };

  /// The columns without a `fit` are Wrap, but for the first one, the key: it is Whole.
  explicit Table(std::vector<std::string> heading, std::vector<Fit> fits = {});
  void add(std::vector<Cell> row);  ///< as many cells as the heading has
  void print(const Context& context) const;
  void print(const Context& context, Output& output) const;

 private:
  using Row = std::vector<Cell>;
  struct Column {
    std::size_t index;
    std::size_t width;
  };
  std::vector<Column> naturalColumns() const;
  bool fit(std::vector<Column>& columns, std::size_t available) const;
  std::vector<std::string> linesOf(const Row& row, std::size_t index, std::size_t width) const;
  void printBlocks(std::size_t available, bool color, Output& output) const;

  std::vector<Fit> fits_;
  std::vector<Row> rows_;
};

}  // namespace tessaron::tool
