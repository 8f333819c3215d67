#include "manual/page.h"

#include <fmt/format.h>

#include <algorithm>

#include "cli/terminal.h"
#include "cli/version.h"

namespace tessaron::tool {
namespace {

std::vector<std::string> linesOf(std::string_view text) {
  std::vector<std::string> lines;
  while (!text.empty()) {
    const std::size_t end = std::min(text.find('\n'), text.size());
    lines.emplace_back(text.substr(0, end));
    text.remove_prefix(std::min(end + 1, text.size()));
  }
  return lines;
}

Block blockOf(const std::vector<std::string>& lines) {
  constexpr std::string_view kIndent = "  ", kEntry = " :: ";
  Block block;
  const bool isExample = std::ranges::all_of(
      lines, [&](const std::string& line) { return line.starts_with(kIndent); });
  for (const std::string& line : lines) {
    if (isExample)
      block.text += line.substr(kIndent.size()) + '\n';
    else
      block.text += (block.text.empty() ? "" : " ") + line;
  }
  if (isExample) {
    block.kind = Block::Kind::Example;
  } else if (const std::size_t at = block.text.find(kEntry); at != block.text.npos) {
    block.kind = Block::Kind::Entry;
    block.term = block.text.substr(0, at);
    block.text.erase(0, at + kEntry.size());
  }
  return block;
}

/// The text with what roff takes for a command or replaces by another character escaped. All
/// hyphens become the character that a shell understands.
std::string escaped(std::string_view text) {
  std::string result;
  for (const char c : text) {
    switch (c) {
      case '\\':
        result += "\\e";
        break;
      case '-':
        result += "\\-";
        break;
      case '\'':
        result += "\\(aq";
        break;
      case '`':
        result += "\\(ga";
        break;
      case '^':
        result += "\\(ha";
        break;
      case '~':
        result += "\\(ti";
        break;
      default:
        result += c;
    }
  }
  // Only at the beginning of a line.
  return result.starts_with('.') ? "\\&" + result : result;
}

/// A macro's argument.
std::string quoted(std::string_view text) {
  std::string result = escaped(text);
  for (std::size_t at = 0; (at = result.find('"', at)) != result.npos; at += 4)
    result.replace(at, 1, "\\(dq");
  return '"' + result + '"';
}

std::string roffOf(const Block& block) {
  std::string lines;
  switch (block.kind) {
    case Block::Kind::Paragraph:
      return fmt::format(".PP\n{}\n", escaped(block.text));
    case Block::Kind::Entry:
      return fmt::format(".TP\n.B {}\n{}\n", quoted(block.term), escaped(block.text));
    case Block::Kind::Heading:
      return fmt::format(".SS {}\n", quoted(block.text));
    case Block::Kind::Example:
      for (const std::string& line : linesOf(block.text)) lines += escaped(line) + '\n';
      return fmt::format(".PP\n.RS 4\n.nf\n{}.fi\n.RE\n", lines);
  }
  return {};
}

std::string upperLetters(std::string text) {
  for (char& c : text)
    if (c >= 'a' && c <= 'z') c = static_cast<char>(c - 'a' + 'A');
  return text;
}

/// The words of a text in lines, which break at blanks alone: not within the name of an option.
std::vector<std::string> filledLines(std::string_view text, std::size_t width) {
  std::vector<std::string> lines;
  while (!text.empty()) {
    const std::string_view word = text.substr(0, text.find(' '));
    text.remove_prefix(std::min(word.size() + 1, text.size()));
    if (lines.empty() || columns(lines.back()) + 1 + columns(word) > width)
      lines.emplace_back(word);
    else
      lines.back().append(" ").append(word);
  }
  return lines;
}

std::string indentedLines(const std::vector<std::string>& lines, std::size_t indent) {
  std::string text;
  for (const std::string& line : lines)
    text += line.empty() ? "\n" : std::string(indent, ' ') + line + '\n';
  return text;
}

std::string textOf(const Block& block, std::size_t width) {
  constexpr std::size_t kIndent = 7, kDeeper = 14, kExample = 11, kHeading = 3, kMinWidth = 20;
  const auto filled = [&](std::size_t indent) {
    return indentedLines(filledLines(block.text, std::max(width, indent + kMinWidth) - indent),
                         indent);
  };
  switch (block.kind) {
    case Block::Kind::Paragraph:
      return filled(kIndent);
    case Block::Kind::Entry:
      return indentedLines({block.term}, kIndent) + filled(kDeeper);
    case Block::Kind::Heading:
      return indentedLines({block.text}, kHeading);
    case Block::Kind::Example:
      return indentedLines(linesOf(block.text), kExample);
  }
  return {};
}

}  // namespace

std::vector<Block> parseBlocks(std::string_view text) {
  std::vector<Block> blocks;
  std::vector<std::string> lines;
  const auto end = [&] {
    if (!lines.empty()) blocks.push_back(blockOf(lines));
    lines.clear();
  };
  for (const std::string& line : linesOf(text)) {
    if (line.empty())
      end();
    else
      lines.push_back(line);
  }
  end();
  return blocks;
}

std::string roffOf(const Page& page) {
  std::string text = fmt::format(
      ".TH {} {} {} {} {}\n.nh\n.ad l\n.SH NAME\n{} \\- {}\n", quoted(upperLetters(page.name)),
      page.number, quoted(kReleaseDate), quoted(fmt::format("tessaron {}", kVersion)),
      quoted("Manual of tessaron"), escaped(page.name), escaped(page.about));
  for (const Section& section : page.sections) {
    text += fmt::format(".SH {}\n", quoted(section.title));
    for (const Block& block : section.blocks) text += roffOf(block);
  }
  return text;
}

std::string textOf(const Page& page, std::size_t width) {
  std::string text = fmt::format("NAME\n       {} - {}\n", page.name, page.about);
  for (const Section& section : page.sections) {
    text += '\n' + section.title + '\n';
    for (std::size_t i = 0; i < section.blocks.size(); ++i) {
      text += (i == 0 ? "" : "\n") + textOf(section.blocks[i], width);
    }
  }
  return text;
}

}  // namespace tessaron::tool
