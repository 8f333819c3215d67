#include "output/table.h"

#include <algorithm>
#include <optional>

#include "cli/context.h"
#include "cli/output.h"
#include "cli/terminal.h"
#include "platform/standard_streams.h"

namespace tessaron::tool {

Table::Table(std::vector<std::string> heading, std::vector<Fit> fits)
    : fits_(std::move(fits)), heading_(std::move(heading)) {
  for (const std::string& title : heading_) widths_.push_back(columns(title));
  if (fits_.empty()) fits_.push_back(Fit::Whole);
  fits_.resize(heading_.size(), Fit::Wrap);
  isUsed_.resize(heading_.size());
}

std::vector<std::string> Table::kept(const std::vector<Cell>& row) {
  std::vector<std::string> texts;
  texts.reserve(row.size());
  for (const Cell& cell : row)
    texts.push_back(static_cast<char>(cell.style) + printable(cell.text));
  return texts;
}

void Table::addKept(const std::vector<std::string>& row) {
  for (std::size_t i = 0; i < row.size(); ++i) {
    const std::string_view text = std::string_view(row[i]).substr(1);
    widths_[i] = std::max(widths_[i], columns(text));
    if (!text.empty()) isUsed_[i] = true;
  }
  rows_.add(row);
}

void Table::forEachRow(const std::function<void(const Row&)>& visit) const {
  Row row(heading_.size());
  rows_.forEach([&](const std::vector<std::string_view>& texts) {
    for (std::size_t i = 0; i < texts.size(); ++i) {
      const std::string_view text = texts[i].substr(1);
      row[i] = {text, columns(text), static_cast<Style>(texts[i].front())};
    }
    visit(row);
  });
}

namespace {

constexpr std::size_t kGap = 2;

template <typename Columns>
std::size_t totalWidth(const Columns& columns) {
  std::size_t total = kGap * (columns.size() - 1);
  for (const auto& column : columns) total += column.width;
  return total;
}

/// Appends `owed` blanks and the text to a line. Empty text leaves the blanks owed, so that no line
/// ends in blanks.
void append(std::string& line, std::size_t& owed, std::string_view text, Style style, bool color) {
  if (text.empty()) return;
  line.append(owed, ' ');
  if (color && style != Style::Plain) {
    line += styled(text, style, color);
  } else {
    line += text;
  }
  owed = 0;
}

}  // namespace

/// Leaves out empty columns and narrows others. False when the terminal is too narrow even so.
bool Table::fit(std::vector<Column>& columns, std::size_t available) const {
  std::erase_if(columns, [&](const Column& column) {
    return column.index > 0 && !rows_.isEmpty() && !isUsed_[column.index];
  });
  // The greatest is narrowed next; 0 if a column cannot be narrowed. Titles keep one and a half
  // times the width of others.
  const auto spare = [&](const Column& column) -> std::size_t {
    const Fit fit = fits_[column.index];
    if (fit == Fit::Whole || column.width <= (fit == Fit::Title ? 16 : 8)) return 0;
    return fit == Fit::Title ? 2 * column.width : 3 * column.width;
  };
  for (std::size_t total = totalWidth(columns); total > available; --total) {
    const auto widest =
        std::max_element(columns.begin(), columns.end(),
                         [&](const Column& a, const Column& b) { return spare(a) < spare(b); });
    if (spare(*widest) == 0) return false;
    --widest->width;
  }
  return true;
}

bool Table::fits(const Row& row, std::size_t index, std::size_t width) const {
  return fits_[index] == Fit::Whole || row[index].width <= width;
}

std::vector<std::string> Table::linesOf(const Row& row, std::size_t index,
                                        std::size_t width) const {
  const std::string_view text = row[index].text;
  if (fits(row, index, width)) return {std::string(text)};
  if (fits_[index] == Fit::Wrap) return wrapped(text, width);
  constexpr std::size_t kLines = 3;
  for (std::size_t room = kLines * width;; --room) {  // words rarely fill whole lines
    std::vector<std::string> lines = wrapped(shortened(text, room), width);
    if (lines.size() <= kLines || room <= width) return lines;
  }
}

void Table::printBlock(const Row& row, std::size_t available, bool color, Output& output) const {
  constexpr std::size_t kIndent = 2;
  constexpr std::size_t kMinWidth = 8;
  std::size_t labels = 0;
  for (std::size_t i = 1; i < heading_.size(); ++i) labels = std::max(labels, columns(heading_[i]));
  const std::size_t lead = kIndent + labels + kGap;
  const std::size_t width = std::max(available, lead + kMinWidth) - lead;
  output.write(styled(row[0].text, Style::Bold, color) + '\n');
  for (std::size_t i = 1; i < row.size(); ++i) {
    if (row[i].text.empty()) continue;
    std::string line = std::string(kIndent, ' ') + heading_[i];
    std::size_t owed = lead - columns(line);
    for (const std::string& text : linesOf(row, i, width)) {
      append(line, owed, text, row[i].style, color);
      output.write(line + '\n');
      line.clear();
      owed = lead;
    }
  }
}

void Table::printRow(const Row& row, const std::vector<Column>& shown, bool color,
                     Output& output) const {
  std::vector<std::vector<std::string>> broken;  // the cells that are too wide; empty for others
  std::size_t height = 1;
  for (const auto& [index, width] : shown) {
    broken.push_back(fits(row, index, width) ? std::vector<std::string>()
                                             : linesOf(row, index, width));
    height = std::max(height, broken.back().size());
  }
  std::string line;
  for (std::size_t n = 0; n < height; ++n) {
    line.clear();
    std::size_t owed = 0;
    for (std::size_t i = 0; i < shown.size(); ++i) {
      Shown cell = row[shown[i].index];
      if (!broken[i].empty()) {
        cell.text = n < broken[i].size() ? std::string_view(broken[i][n]) : std::string_view();
        cell.width = columns(cell.text);
      } else if (n > 0) {
        cell = {};
      }
      append(line, owed, cell.text, cell.style, color);
      owed += shown[i].width - cell.width + kGap;
    }
    output.write(line += '\n');
  }
}

void Table::print(const Context& context) const {
  Output output("-");
  print(context, output);
}

void Table::print(const Context& context, Output& output) const {
  const bool color = useColor(context, output);
  std::vector<Column> shown;
  for (std::size_t i = 0; i < widths_.size(); ++i) shown.push_back({i, widths_[i]});
  const auto available = output.isFile() ? std::nullopt : terminalWidth(StandardStream::Out);
  if (available && totalWidth(shown) > *available && !fit(shown, *available))
    return forEachRow([&](const Row& row) { printBlock(row, *available, color, output); });
  Row heading;
  for (const std::string& title : heading_) heading.push_back({title, columns(title), Style::Bold});
  printRow(heading, shown, color, output);
  forEachRow([&](const Row& row) { printRow(row, shown, color, output); });
}

}  // namespace tessaron::tool
