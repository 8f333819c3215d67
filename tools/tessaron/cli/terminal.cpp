#include "cli/terminal.h"

#include <fmt/format.h>

#include <algorithm>

#include "cli/context.h"
#include "cli/output.h"
#include "platform/standard_streams.h"
#include "platform/system.h"
#include "platform/text_layout.h"
#include "support/text.h"

namespace tessaron::tool {
namespace {

constexpr std::string_view kEllipsis = "…";

std::size_t columnsOf(char32_t character) {
  if (character >= 0x20 && character < 0x7F) return 1;
  return static_cast<std::size_t>(tessaron::columnsOf(character));
}

bool steersTerminal(char32_t c) {
  return c < 0x20 || (c >= 0x7F && c < 0xA0) || (c >= 0x202A && c <= 0x202E) ||
         (c >= 0x2066 && c <= 0x2069);
}

/// How many printable characters of ASCII are at `at`: a byte and a column each.
std::size_t plainRun(std::string_view text, std::size_t at) {
  const auto isPlain = [](char c) { return c >= 0x20 && c < 0x7F; };
  const auto begin = text.begin() + static_cast<std::ptrdiff_t>(at);
  return static_cast<std::size_t>(std::find_if_not(begin, text.end(), isPlain) - begin);
}

/// The next character; U+FFFD for bytes that are not UTF-8, as many as cannot begin one.
char32_t nextCharacter(std::string_view text, std::size_t& at) {
  static constexpr char32_t kReplacement = 0xFFFD;
  const auto lead = static_cast<unsigned char>(text[at++]);
  if (lead < 0x80) return lead;
  const int more = lead < 0xC2 ? 0 : lead < 0xE0 ? 1 : lead < 0xF0 ? 2 : lead < 0xF5 ? 3 : 0;
  if (more == 0) return kReplacement;
  char32_t character = lead & (0x3FU >> more);
  for (int i = 0; i < more; ++i) {
    const unsigned char byte = at < text.size() ? static_cast<unsigned char>(text[at]) : 0;
    // The second byte tells overlong forms, surrogates and what is beyond U+10FFFF.
    const unsigned char first = lead == 0xE0 ? 0xA0 : lead == 0xF0 ? 0x90 : 0x80;
    const unsigned char last = lead == 0xED ? 0x9F : lead == 0xF4 ? 0x8F : 0xBF;
    if (byte < (i == 0 ? first : 0x80) || byte > (i == 0 ? last : 0xBF)) return kReplacement;
    character = character << 6 | (byte & 0x3FU);
    ++at;
  }
  return character;
}

std::string_view withoutTrailingBlanks(std::string_view text) {
  return text.substr(0, text.find_last_not_of(' ') + 1);
}

/// Fills lines of at most `width` columns with words.
class LineFiller {
 public:
  explicit LineFiller(std::size_t width) : width_(width) {}

  /// Adds a word with the blanks after it; a word wider than a line is broken.
  void addWord(std::string_view word) {
    const std::size_t needed = columns(withoutTrailingBlanks(word));
    // A word that must be broken starts on the current line while at least half of that is free.
    const bool startsHere = needed > width_ && 2 * used_ <= width_;
    if (used_ > 0 && used_ + needed > width_ && !startsHere) endLine();
    if (needed <= width_)
      append(word);
    else
      breakWord(word);
  }
  std::vector<std::string> finish() {
    if (!line_.empty() || lines_.empty()) endLine();
    return std::move(lines_);
  }

 private:
  void append(std::string_view text) {
    line_ += text;
    used_ += columns(text);
  }
  void breakWord(std::string_view word) {
    std::size_t from = 0;
    for (const std::size_t to : textBreaks(TextBreak::Character, word)) {
      const std::string_view character = word.substr(from, to - from);
      from = to;
      if (used_ > 0 && character != " " && used_ + columns(character) > width_) endLine();
      append(character);
    }
  }
  void endLine() {
    lines_.emplace_back(withoutTrailingBlanks(line_));
    line_.clear();
    used_ = 0;
  }

  const std::size_t width_;
  std::vector<std::string> lines_;
  std::string line_;
  std::size_t used_ = 0;  // columns of `line_`
};

}  // namespace

std::string printable(std::string_view text, bool keepLines) {
  std::string out;
  out.reserve(text.size());
  for (std::size_t at = 0; at < text.size();) {
    const std::size_t run = plainRun(text, at);
    out += text.substr(at, run);
    at += run;
    if (at == text.size()) break;
    const std::size_t begin = at;
    const char32_t c = nextCharacter(text, at);
    if (c == '\n' && keepLines) {
      out += '\n';
    } else if (c == '\n' || c == '\t') {
      out += ' ';
    } else if (c == '\r') {
      if (at >= text.size() || text[at] != '\n') out += keepLines ? '\n' : ' ';
    } else if (c == 0xFFFD && text.substr(begin, at - begin) != "\uFFFD") {
      for (std::size_t i = begin; i < at; ++i) out += fmt::format("\\x{:02X}", text[i] & 0xFF);
    } else if (steersTerminal(c)) {
      out += "\uFFFD";
    } else {
      out += text.substr(begin, at - begin);
    }
  }
  return out;
}

std::size_t columns(std::string_view text) {
  std::size_t sum = 0;
  for (std::size_t at = 0; at < text.size();) {
    const std::size_t run = plainRun(text, at);
    sum += run;
    at += run;
    if (at < text.size()) sum += columnsOf(nextCharacter(text, at));
  }
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

std::vector<std::string> wrapped(std::string_view text, std::size_t width) {
  LineFiller filler(width);
  std::size_t begin = 0;
  for (const std::size_t end : textBreaks(TextBreak::Line, text)) {
    filler.addWord(text.substr(begin, end - begin));
    begin = end;
  }
  return filler.finish();
}

std::string shortened(std::string_view text, std::size_t width) {
  const std::size_t whole = columns(text);
  if (whole <= width) return std::string(text);
  if (width == 0) return {};
  const std::size_t headWidth = width / 2;
  const std::size_t tailWidth = width - 1 - headWidth;
  std::size_t head = 0;  // where the first part ends
  std::size_t tail = 0;  // where the last one begins
  std::size_t used = 0;
  std::size_t begin = 0;
  for (const std::size_t end : textBreaks(TextBreak::Character, text)) {
    if (whole - used > tailWidth) tail = end;
    used += columns(text.substr(begin, end - begin));
    if (used <= headWidth) head = end;
    begin = end;
  }
  return std::string(text.substr(0, head)).append(kEllipsis).append(text.substr(tail));
}

bool useColor(const Context& context) {
  if (context.color != "auto") return context.color == "always";
  return environmentVariable("NO_COLOR").empty() && obeysEscapes(StandardStream::Out);
}

bool useColor(const Context& context, const Output& output) {
  return output.isFile() ? context.color == "always" : useColor(context);
}

std::string styled(std::string_view text, Style style, bool color) {
  static constexpr int kCodes[] = {0, 1, 33, 31};
  if (!color || style == Style::Plain || text.empty()) return std::string(text);
  return fmt::format("\x1b[{}m{}\x1b[0m", kCodes[static_cast<int>(style)], text);
}

}  // namespace tessaron::tool
