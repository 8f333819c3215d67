#pragma once

#include <cstddef>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

#include "cli/context.h"
#include "cli/output.h"
#include "cli/terminal.h"
#include "output/row_store.h"

namespace tessaron::tool {

/// How a column is narrowed if its table is too wide for the terminal.
enum class Fit {
  Whole,  ///< not at all, since users may type its text
  Wrap,   ///< in as many lines as needed
  Title,  ///< in up to three lines; longer texts lose their middle
};

/// A table of texts with a heading. On a terminal that is too narrow for it, empty columns are left
/// out, then columns are narrowed according to their `Fit`; if that is not enough, each row becomes
/// a block of lines under the text of its first column. Elsewhere every row is one whole line.
/// Memory does not depend on the number of rows.
class Table {
 public:
  struct Cell {
    std::string text;
    Style style = Style::Plain;
  };

  /// Columns without a `fit` are Wrap; the first one, the key, is Whole.
  explicit Table(std::vector<std::string> heading, std::vector<Fit> fits = {});
  /// Adds as many cells as the heading has.
  void add(const std::vector<Cell>& row) { addKept(kept(row)); }
  /// A row for `addKept`, for those who put rows off: of each cell the style, then the text.
  static std::vector<std::string> kept(const std::vector<Cell>& row);
  void addKept(const std::vector<std::string>& row);
  void print(const Context& context) const;
  void print(const Context& context, Output& output) const;

 private:
  struct Shown {
    std::string_view text;
    std::size_t width = 0;
    Style style = Style::Plain;
  };
  using Row = std::vector<Shown>;
  struct Column {
    std::size_t index;
    std::size_t width;
  };
  bool fit(std::vector<Column>& columns, std::size_t available) const;
  bool fits(const Row& row, std::size_t index, std::size_t width) const;
  std::vector<std::string> linesOf(const Row& row, std::size_t index, std::size_t width) const;
  void printRow(const Row& row, const std::vector<Column>& shown, bool color, Output& output) const;
  void printBlock(const Row& row, std::size_t available, bool color, Output& output) const;
  void forEachRow(const std::function<void(const Row&)>& visit) const;

  std::vector<Fit> fits_;
  std::vector<std::string> heading_;
  std::vector<std::size_t> widths_;  // width of each column's widest text
  std::vector<bool> isUsed_;         // whether a column has text below its heading
  RowStore rows_;                    // see `kept`
};

}  // namespace tessaron::tool
