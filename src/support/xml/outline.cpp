#include "support/xml/outline.h"

#include <algorithm>

#include "support/xml/scanner.h"

namespace tessaron {
namespace {

using Piece = XmlScanner::Piece;

constexpr std::string_view kBlanks = " \t\n\v\f\r";

// The attributes of a start tag that the scanner has passed.
std::vector<XmlOutline::Attribute> attributesOf(std::string_view text, TextRange tag,
                                                std::string_view name) {
  const auto skipBlank = [&](std::size_t at) {
    return std::min(text.find_first_not_of(kBlanks, at), tag.end);
  };
  std::vector<XmlOutline::Attribute> attributes;
  std::size_t at = skipBlank(tag.begin + 1 + name.size());
  while (at < tag.end && text[at] != '/' && text[at] != '>') {
    const std::size_t begin = at;
    at = text.find_first_of("= \t\n\v\f\r", at);
    const std::string_view attribute = text.substr(begin, at - begin);
    at = skipBlank(text.find('=', at) + 1);
    const char quote = text[at];
    if (quote == '"' || quote == '\'') {
      at = text.find(quote, at + 1) + 1;
    } else {
      at = text.find_first_of("/> \t\n\v\f\r", at);
    }
    attributes.push_back({attribute, {begin, at}});
    at = skipBlank(at);
  }
  return attributes;
}

class Outliner {
 public:
  explicit Outliner(std::string_view text) : text_(text), scanner_(text) {}

  XmlOutline root() {
    for (;;) {
      const Piece piece = scanner_.next();
      if (piece == Piece::Start || piece == Piece::Empty) return element(piece);
      if (piece == Piece::Finished || piece == Piece::Faulty) return {};
    }
  }

 private:
  XmlOutline element(Piece piece) {
    XmlOutline element;
    element.name = scanner_.name();
    element.range = {scanner_.begin(), scanner_.end()};
    element.content = {scanner_.end(), scanner_.end()};
    element.attributes = attributesOf(text_, element.range, element.name);
    element.emptyTag = piece == Piece::Empty;
    if (!element.emptyTag) fill(element);
    return element;
  }

  void fill(XmlOutline& element) {
    for (;;) {
      const Piece piece = scanner_.next();
      const TextRange range{scanner_.begin(), scanner_.end()};
      switch (piece) {
        case Piece::Start:
        case Piece::Empty:
          element.children.push_back(this->element(piece));
          break;
        case Piece::Text:
          if (range.of(text_).find_first_not_of(kBlanks) == std::string_view::npos) break;
          element.texts.push_back(range);
          break;
        case Piece::CData:
          element.texts.push_back(range);
          break;
        case Piece::End:
        case Piece::Finished:
        case Piece::Faulty:
          element.content.end = range.begin;
          element.range.end = range.end;
          return;
        default:
          element.hasOthers = true;
      }
    }
  }

  std::string_view text_;
  XmlScanner scanner_;
};

}  // namespace

const XmlOutline* XmlOutline::child(std::string_view childName) const {
  const auto found = std::find_if(children.begin(), children.end(),
                                  [&](const XmlOutline& c) { return c.name == childName; });
  return found == children.end() ? nullptr : &*found;
}

std::vector<const XmlOutline*> XmlOutline::childrenNamed(std::string_view childName) const {
  std::vector<const XmlOutline*> found;
  for (const XmlOutline& c : children) {
    if (c.name == childName) found.push_back(&c);
  }
  return found;
}

const XmlOutline::Attribute* XmlOutline::attribute(std::string_view attributeName) const {
  const auto found = std::find_if(attributes.begin(), attributes.end(),
                                  [&](const Attribute& a) { return a.name == attributeName; });
  return found == attributes.end() ? nullptr : &*found;
}

XmlOutline outlineXml(std::string_view text) { return Outliner(text).root(); }

TextRange blankBefore(std::string_view text, std::size_t at) {
  const std::size_t last = text.substr(0, at).find_last_not_of(kBlanks);
  return {last + 1, at};  // npos + 1 is 0
}

}  // namespace tessaron
