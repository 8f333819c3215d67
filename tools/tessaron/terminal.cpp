#include "terminal.h"

#include <fmt/format.h>
#include <sys/ioctl.h>
#include <unicode/uchar.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>

#include "support/text.h"

namespace tessaron::tool {
namespace {

constexpr std::string_view kEllipsis = "…";

std::size_t columnsOf(char32_t character) {
  const auto c = static_cast<UChar32>(character);
  const auto type = U_MASK(u_charType(c));
  constexpr auto kSoftHyphen = UChar32{0xAD};  // a format character, but terminals show it
  if ((type & (U_GC_MN_MASK | U_GC_ME_MASK | U_GC_CF_MASK)) != 0 && c != kSoftHyphen) return 0;
  if (c >= 0x1160 && c <= 0x11FF) return 0;  // the vowels and finals that join a Hangul syllable
  const int width = u_getIntPropertyValue(c, UCHAR_EAST_ASIAN_WIDTH);
  return width == U_EA_WIDE || width == U_EA_FULLWIDTH ? 2 : 1;
}

bool steersTerminal(char32_t c) {
  return c < 0x20 || (c >= 0x7F && c < 0xA0) || (c >= 0x202A && c <= 0x202E) ||
         (c >= 0x2066 && c <= 0x2069);
}

char32_t nextCharacter(std::string_view text, std::size_t& at) {
  UChar32 c;
  auto index = static_cast<std::int32_t>(at);
  U8_NEXT_OR_FFFD(text.data(), index, static_cast<std::int32_t>(text.size()), c);
  at = static_cast<std::size_t>(index);
  return static_cast<char32_t>(c);
}

}  // namespace

std::optional<std::size_t> terminalWidth(int descriptor) {
  if (::isatty(descriptor) == 0) return std::nullopt;
  winsize size{};
  const bool known = ::ioctl(descriptor, TIOCGWINSZ, &size) == 0 && size.ws_col > 0;
  return known ? size.ws_col : 80;
}

std::string printable(std::string_view text, bool keepLines) {
  std::string out;
  out.reserve(text.size());
  for (std::size_t at = 0; at < text.size();) {
    const std::size_t begin = at;
    const char32_t c = nextCharacter(text, at);
    if (c == '\n' && keepLines) {
      out += '\n';
    } else if (c == '\n' || c == '\t') {
      out += ' ';
    } else if (c == '\r') {
      if (at >= text.size() || text[at] != '\n') out += keepLines ? '\n' : ' ';
    } else if (steersTerminal(c) || c == 0xFFFD) {
      out += "\uFFFD";
    } else {
      out += text.substr(begin, at - begin);
    }
  }
  return out;
}

std::size_t columns(std::string_view text) {
  std::size_t sum = 0;
  for (std::size_t at = 0; at < text.size();) sum += columnsOf(nextCharacter(text, at));
  return sum;
}

std::string cutToWidth(std::string_view text, std::size_t width) {
  if (columns(text) <= width) return std::string(text);
  if (width == 0) return {};
  std::size_t used = 0;
  std::size_t end = 0;
  for (std::size_t at = 0; at < text.size();) {
    used += columnsOf(nextCharacter(text, at));
    if (used > width - 1) break;
    end = at;
  }
  return std::string(text.substr(0, end)).append(kEllipsis);
}

bool useColor(const Context& context) {
  if (context.color != "auto") return context.color == "always";
  const char* refused = std::getenv("NO_COLOR");
  return ::isatty(STDOUT_FILENO) != 0 && (refused == nullptr || *refused == '\0');
}

bool useColor(const Context& context, const Output& output) {
  return output.isFile() ? context.color == "always" : useColor(context);
}

std::string styled(std::string_view text, Style style, bool color) {
  static constexpr int kCodes[] = {0, 1, 33, 31};
  if (!color || style == Style::Plain || text.empty()) return std::string(text);
  return fmt::format("\x1b[{}m{}\x1b[0m", kCodes[static_cast<int>(style)], text);
}

Table::Table(std::vector<std::string> heading) {
  rows_.emplace_back();
  for (std::string& title : heading) rows_[0].push_back({std::move(title), Style::Bold});
}

void Table::add(std::vector<Cell> row) {
  for (Cell& cell : row) cell.text = printable(cell.text);
  rows_.push_back(std::move(row));
}

void Table::print(const Context& context) const {
  Output output("-");
  print(context, output);
}

void Table::print(const Context& context, Output& output) const {
  constexpr std::size_t kGap = 2;
  std::vector<std::size_t> widths(rows_[0].size(), 0);
  for (const auto& row : rows_)
    for (std::size_t i = 0; i < row.size(); ++i)
      widths[i] = std::max(widths[i], columns(row[i].text));

  if (const auto available = terminalWidth(STDOUT_FILENO); available && !output.isFile()) {
    std::size_t total = kGap * (widths.size() - 1);
    for (const std::size_t width : widths) total += width;
    for (; total > *available; --total) {  // the widest column gives way, as often as it takes
      const auto widest = std::max_element(widths.begin(), widths.end());
      if (*widest <= 1) break;
      --*widest;
    }
  }

  const bool color = useColor(context, output);
  for (const auto& row : rows_) {
    std::string line;
    std::size_t missing = 0;  // blanks owed before the next text; none at the end of a line
    for (std::size_t i = 0; i < row.size(); ++i) {
      const std::string text = cutToWidth(row[i].text, widths[i]);
      if (!text.empty()) {
        line.append(missing, ' ').append(styled(text, row[i].style, color));
        missing = 0;
      }
      missing += widths[i] - columns(text) + kGap;
    }
    output.write(line + '\n');
  }
}

}  // namespace tessaron::tool
