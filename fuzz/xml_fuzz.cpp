#include <algorithm>
#include <string>
#include <string_view>
#include <vector>

#include "fuzz.h"
#include "support/text.h"
#include "support/xml/encoding.h"
#include "support/xml/scanner.h"
#include "support/xml/tree.h"
#include "support/xml/writer.h"
#include "support/xml/xml.h"

using tessaron::XmlError;
using tessaron::XmlScanner;
using tessaron::XmlTree;

namespace {

// A text that comes in parts has the tokens of the whole, and the same error.
void checkInParts(std::string_view text, std::size_t part) {
  XmlScanner whole(text);
  std::size_t size = std::min(part, text.size());
  XmlScanner parts(text.substr(0, size), size == text.size());
  for (;;) {
    XmlScanner::Token token = parts.next();
    while (token == XmlScanner::Token::Incomplete) {
      CHECK(size < text.size());
      size = std::min(size + part, text.size());
      parts.extend(text.substr(0, size), 0, size == text.size());
      token = parts.next();
    }
    CHECK(token == whole.next());
    CHECK(parts.begin() == whole.begin() && parts.end() == whole.end());
    CHECK(parts.depth() == whole.depth() && parts.name() == whole.name());
    if (token == XmlScanner::Token::Error) {
      CHECK(parts.error().kind == whole.error().kind);
      CHECK(parts.error().offset == whole.error().offset);
      CHECK(parts.error().message == whole.error().message);
    }
    if (token == XmlScanner::Token::Error || token == XmlScanner::Token::Finished) return;
  }
}

// What an element tells of itself in several ways agrees.
void checkConsistent(const XmlTree::Element& element) {
  const std::vector<XmlTree::Element> children = element.children();
  for (const XmlTree::Element& child : children) {
    const std::vector<XmlTree::Element> named = element.childrenNamed(child.name());
    CHECK(!named.empty() && named.front() == element.child(child.name()));
    CHECK(std::find(named.begin(), named.end(), child) != named.end());
  }
  CHECK(element.hasText() == !element.texts().empty());
  CHECK(element.hasText() || (!element.beginsWithText() && element.elementText().empty()));
  CHECK(element.hasText() || (!element.beginsWithBlankCData() && !element.endsWithBlankCData()));
  for (const XmlTree::Element::Attribute& each : element.attributes()) {
    CHECK(element.findAttribute(each.name) && element.attribute(each.name));
  }
}

// The light tree has what TinyXML's has.
void checkSame(const XmlTree::Element& light, const TiXmlElement& full, int depth = 0) {
  CHECK(light.name() == full.ValueStr());
  CHECK(light.elementText() == tessaron::elementText(full));
  if (depth < 3) checkConsistent(light);
  std::size_t attributes = 0;
  for (const TiXmlAttribute* each = full.FirstAttribute(); each; each = each->Next()) {
    CHECK(light.attribute(each->Name()) == each->ValueStr());
    ++attributes;
  }
  CHECK(light.attributes().size() == attributes);
  XmlTree::Element child = light.firstChild();
  for (const TiXmlElement* each = full.FirstChildElement(); each;
       each = each->NextSiblingElement()) {
    CHECK(child);
    checkSame(child, *each, depth + 1);
    child = child.nextSibling();
  }
  CHECK(!child);
}

constexpr std::u16string_view kBlanks = u" \t\r\n";

// Attributes and texts of an element and its children, by either output.
template <typename Output>
void writeFlat(Output& out, const XmlTree::Element& from) {
  for (const XmlTree::Element::Attribute& each : from.attributes()) {
    const std::string name(each.name);
    out.attribute(name.c_str(), tessaron::fromUtf8(*from.attribute(name)));
  }
  std::size_t number = 0;
  for (const XmlTree::Element& child : from.children()) {
    const std::string name(child.name());
    const std::u16string value = child.elementText();
    const std::size_t begin = std::min(value.find_first_not_of(kBlanks), value.size());
    const std::size_t end = value.find_last_not_of(kBlanks) + 1;  // npos + 1 is 0
    out.text(name.c_str(), value, std::min(begin, number % 3),
             std::min(value.size() - end, number % 2));
    if (++number % 4 == 0) out.element(name.c_str(), [&](auto& in) { writeFlat(in, child); });
  }
}

void checkOutputs(const XmlTree::Element& element) {
  const std::string name(element.name());
  std::string text, printed;
  {
    tessaron::TextOutput out(text, name.c_str());
    writeFlat(out, element);
    out.end();
  }
  TiXmlElement root(name);
  tessaron::ElementOutput out(root);
  writeFlat(out, element);
  tessaron::printXml(root, printed);
  CHECK(text == printed);
}

}  // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  std::string text = asText(data, size);
  TiXmlDocument document;
  const XmlError error = tessaron::parseXml(text, document);

  tessaron::XmlDecoder decoder(text);
  const tessaron::DecodedXml decoded = tessaron::decodeXml(decoder, std::move(text));
  CHECK(!decoded.error || decoded.error.offset <= decoded.text.size());
  if (decoded.error) {
    CHECK(error);
    return 0;
  }
  text = decoded.text;
  checkInParts(text, size % 3 == 0 ? 1 : 64 + size % 100);
  XmlScanner scanner(text);
  XmlScanner::Token token{};
  std::size_t rootBegin = text.npos;
  for (std::size_t at = 0; token != XmlScanner::Token::Error;) {
    token = scanner.next();
    if (rootBegin == text.npos && !scanner.name().empty()) rootBegin = scanner.begin();
    if (token == XmlScanner::Token::Finished) break;
    CHECK(token == XmlScanner::Token::Error || (scanner.begin() == at && scanner.end() > at));
    at = scanner.end();
  }
  // TinyXML refuses nothing that the scanner accepts.
  CHECK(static_cast<bool>(error) == (token == XmlScanner::Token::Error));
  CHECK(error || !document.Error());
  CHECK(!error || (error.offset <= text.size() && error.line > 0 && error.column > 0));
  if (error) return 0;

  if (const TiXmlElement* root = document.RootElement()) {
    CHECK(rootBegin < text.size());
    XmlTree tree;
    CHECK(!tree.parse(std::string_view(text).substr(rootBegin)));
    checkSame(tree.root(), *root);
    checkOutputs(tree.root());
  }

  // What is printed is read again, and prints as it did.
  std::string once, twice;
  tessaron::printXml(document, once);
  CHECK(!tessaron::parseXml(once, document));
  tessaron::printXml(document, twice);
  CHECK(once == twice);
  return 0;
}
