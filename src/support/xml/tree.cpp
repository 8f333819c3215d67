#include "support/xml/tree.h"

#include <algorithm>

#include "support/text.h"
#include "support/text_internal.h"

namespace tessaron {
namespace {

using Token = XmlScanner::Token;

constexpr std::string_view kBlanks = " \t\n\v\f\r";
constexpr std::size_t kCDataOpen = 9, kCDataClose = 3;  // <![CDATA[ and ]]>

// Whether TinyXML drops a text: one of white space only, also if references spell it.
bool isDropped(std::string_view text) {
  std::size_t at = 0;
  char32_t codePoint = 0;
  do {
    while (at < text.size() && isXmlSpace(text[at])) ++at;
    if (at == text.size()) return true;
  } while (text[at] == '&' && readReference(text, at, codePoint) && codePoint < 0x80 &&
           isXmlSpace(static_cast<char>(codePoint)));
  return false;
}

// Splits a text: `visitText` gets plain text, `visitCharacter` the character that a reference
// names.
template <typename VisitText, typename VisitCharacter>
void forEachPart(std::string_view text, VisitText visitText, VisitCharacter visitCharacter) {
  std::size_t begin = 0;  // of the text that was not visited yet
  for (std::size_t at = text.find('&'); at != text.npos; at = text.find('&', at)) {
    const std::size_t end = at;
    char32_t codePoint = 0;
    char meaning = 0;
    if (const std::size_t size = namedReference(text, at, meaning)) {
      codePoint = static_cast<char32_t>(meaning);
      at += size;
    } else if (!readReference(text, at, codePoint)) {
      ++at;  // an ampersand that begins no reference stays one
      continue;
    }
    visitText(text.substr(begin, end - begin));
    visitCharacter(codePoint);
    begin = at;
  }
  visitText(text.substr(begin));
}

// Decodes a text with references.
std::u16string decoded(std::string_view text) {
  std::u16string out(text.size(), u'\0');  // no character has fewer bytes than it has units
  char16_t* to = out.data();
  forEachPart(
      text, [&](std::string_view plain) { to = writeUtf16(to, plain); },
      [&](char32_t codePoint) { to = writeUtf16(to, codePoint); });
  out.resize(static_cast<std::size_t>(to - out.data()));
  return out;
}

bool isText(XmlTree::Kind kind) {
  return kind == XmlTree::Kind::Text || kind == XmlTree::Kind::CData;
}

}  // namespace

XmlError XmlTree::parse(std::string_view text) {
  clear();
  XmlScanner scanner(text);
  for (;;) {
    const Token token = scanner.next();
    if (token == Token::Error) {
      clear();
      return scanner.error();
    }
    const bool begins = token == Token::Start || token == Token::Empty;
    if (nodes_.empty() && !begins) continue;
    if (add(scanner, token, text, 0)) break;
  }
  setText(text);
  return {};
}

void XmlTree::clear() {
  text_ = {};
  nodes_.clear();
  attributes_.clear();
  open_.clear();
}

void XmlTree::setText(std::string_view text) {
  text_ = text;
  for (const Index open : open_) nodes_[open].after = static_cast<Index>(nodes_.size());
}

XmlTree::Node& XmlTree::append(Kind kind, Index begin, Index end) {
  Node& node = nodes_.emplace_back();
  node.kind = kind;
  node.begin = begin;
  node.contentBegin = node.contentEnd = node.end = end;
  node.after = static_cast<Index>(nodes_.size());
  return node;
}

bool XmlTree::add(const XmlScanner& scanner, Token token, std::string_view text,
                  std::size_t origin) {
  const auto begin = static_cast<Index>(scanner.begin() - origin);
  const auto end = static_cast<Index>(scanner.end() - origin);
  switch (token) {
    case Token::Start:
    case Token::Empty:
      addElement(scanner, token == Token::Empty, origin);
      return open_.empty();
    case Token::End: {
      Node& node = nodes_[open_.back()];
      node.contentEnd = begin;
      node.end = end;
      node.after = static_cast<Index>(nodes_.size());
      open_.pop_back();
      return open_.empty();
    }
    case Token::Text: {
      if (isDropped(text.substr(scanner.begin(), end - begin))) return false;
      Node& node = append(Kind::Text, begin, end);
      node.hasReferences = scanner.hasReferences();
      node.contentBegin = begin;
      return false;
    }
    case Token::CData: {
      Node& node = append(Kind::CData, begin, end);
      node.contentBegin = static_cast<Index>(begin + kCDataOpen);
      node.contentEnd = static_cast<Index>(end - kCDataClose);
      return false;
    }
    default:
      append(Kind::Other, begin, end);
      return false;
  }
}

void XmlTree::addCut(std::string_view token, std::size_t begin) {
  const bool isCData = token.starts_with("<![CDATA[");
  if (token.empty() || (token.front() == '<' && !isCData)) return;
  const auto at = static_cast<Index>(begin);
  Node& node =
      append(isCData ? Kind::CData : Kind::Text, at, static_cast<Index>(at + token.size()));
  node.hasReferences = !isCData;
  node.contentBegin = isCData ? static_cast<Index>(at + kCDataOpen) : at;
}

void XmlTree::addElement(const XmlScanner& scanner, bool emptyTag, std::size_t origin) {
  const auto place = [origin](std::size_t at) { return static_cast<Index>(at - origin); };
  const auto index = static_cast<Index>(nodes_.size());
  Node& node = append(Kind::Element, place(scanner.begin()), place(scanner.end()));
  node.emptyTag = emptyTag;
  node.nameSize = static_cast<Index>(scanner.name().size());
  node.firstAttribute = static_cast<Index>(attributes_.size());
  node.attributeCount = static_cast<Index>(scanner.attributes().size());
  for (const XmlScanner::Attribute& a : scanner.attributes()) {
    attributes_.push_back({place(a.name.begin), place(a.name.end), place(a.value.begin),
                           place(a.value.end), place(a.end), a.quoted});
  }
  if (!emptyTag) open_.push_back(index);
}

XmlTree::Element XmlTree::Element::child(std::string_view childName) const {
  Element at = firstChild();
  while (at && at.name() != childName) at = at.nextSibling();
  return at;
}

std::vector<XmlTree::Element> XmlTree::Element::children() const {
  std::vector<Element> found;
  for (Element at = firstChild(); at; at = at.nextSibling()) found.push_back(at);
  return found;
}

std::vector<XmlTree::Element> XmlTree::Element::childrenNamed(std::string_view childName) const {
  std::vector<Element> found;
  for (Element at = firstChild(); at; at = at.nextSibling()) {
    if (at.name() == childName) found.push_back(at);
  }
  return found;
}

std::u16string XmlTree::Element::elementText() const {
  std::u16string out;
  forEachNode([&](const Node& child) {
    if (!isText(child.kind)) return;
    const std::string_view raw = TextRange{child.contentBegin, child.contentEnd}.of(text());
    std::u16string decoded = child.hasReferences ? tessaron::decoded(raw) : fromUtf8(raw);
    if (out.empty()) {
      out = std::move(decoded);
    } else {
      out += decoded;
    }
  });
  return out;
}

bool XmlTree::Element::beginsWithText() const {
  const Index first = index_ + 1;
  return first != node().after && isText(tree_->nodes_[first].kind);
}

bool XmlTree::Element::isBlankCData(const Node* text) const {
  if (!text || text->kind != Kind::CData) return false;
  const TextRange content{text->contentBegin, text->contentEnd};
  return content.of(this->text()).find_first_not_of(" \t\r\n") == std::string_view::npos;
}

bool XmlTree::Element::beginsWithBlankCData() const {
  const Node* first = nullptr;
  forEachNode([&](const Node& child) {
    if (!first && isText(child.kind)) first = &child;
  });
  return isBlankCData(first);
}

bool XmlTree::Element::endsWithBlankCData() const {
  const Node* last = nullptr;
  forEachNode([&](const Node& child) {
    if (isText(child.kind)) last = &child;
  });
  return isBlankCData(last);
}

std::vector<TextRange> XmlTree::Element::texts() const {
  std::vector<TextRange> found;
  forEachNode([&](const Node& child) {
    if (isText(child.kind)) found.push_back({child.begin, child.end});
  });
  return found;
}

bool XmlTree::Element::hasText() const {
  bool has = false;
  forEachNode([&](const Node& child) { has = has || isText(child.kind); });
  return has;
}

bool XmlTree::Element::hasOthers() const {
  bool has = false;
  forEachNode([&](const Node& child) { has = has || child.kind == Kind::Other; });
  return has;
}

std::optional<std::string> XmlTree::Element::attribute(std::string_view attributeName) const {
  const auto begin = tree_->attributes_.begin() + node().firstAttribute;
  const auto end = begin + node().attributeCount;
  const auto found = std::find_if(begin, end, [&](const XmlTree::Attribute& a) {
    return TextRange{a.nameBegin, a.nameEnd}.of(text()) == attributeName;
  });
  if (found == end) return std::nullopt;
  const std::string_view raw = TextRange{found->valueBegin, found->valueEnd}.of(text());
  return found->quoted ? resolveReferences(raw) : std::string(raw);
}

std::vector<XmlTree::Element::Attribute> XmlTree::Element::attributes() const {
  std::vector<Attribute> all;
  for (Index i = 0; i < node().attributeCount; ++i) {
    const XmlTree::Attribute& a = tree_->attributes_[node().firstAttribute + i];
    all.push_back({TextRange{a.nameBegin, a.nameEnd}.of(text()), {a.nameBegin, a.end}});
  }
  return all;
}

std::optional<XmlTree::Element::Attribute> XmlTree::Element::findAttribute(
    std::string_view attributeName) const {
  for (const Attribute& attribute : attributes()) {
    if (attribute.name == attributeName) return attribute;
  }
  return std::nullopt;
}

std::string resolveReferences(std::string_view text) {
  std::string out;
  out.reserve(text.size());
  forEachPart(
      text, [&](std::string_view plain) { out += plain; },
      [&](char32_t codePoint) { appendUtf8(out, codePoint); });
  return out;
}

TextRange blankBefore(std::string_view text, std::size_t at) {
  const std::size_t last = text.substr(0, at).find_last_not_of(kBlanks);
  return {last + 1, at};  // npos + 1 is 0
}

}  // namespace tessaron
