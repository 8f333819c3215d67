#pragma once
// A page of the manual, and the two forms that it is shown in.

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace tessaron::tool {

/// A paragraph (text without line breaks), an example (lines that stay as they are), an entry
/// (a term such as an option, and a paragraph about it), or a heading within a section.
struct Block {
  enum class Kind { Paragraph, Example, Entry, Heading };
  Kind kind = Kind::Paragraph;
  std::string term;  ///< of an Entry
  std::string text;
};

struct Section {
  std::string title;  ///< in capitals
  std::vector<Block> blocks;
};

struct Page {
  std::string name;   ///< "tessaron-list"
  int number = 1;     ///< of the manual's section: 1 programs, 5 files, 7 the rest
  std::string about;  ///< a phrase
  std::vector<Section> sections;
};

/// The blocks of a plain text: they are separated by blank lines. Lines that begin with two blanks
/// are an example; "TERM :: text" is an entry; all else is a paragraph, whose lines are joined.
std::vector<Block> parseBlocks(std::string_view text);

/// The page in roff, for man(1).
std::string roffOf(const Page& page);

/// The page as a text of lines of at most `width` columns, except for examples.
std::string textOf(const Page& page, std::size_t width);

}  // namespace tessaron::tool
