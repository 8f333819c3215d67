#include "support/xml/xml.h"

#include <algorithm>
#include <array>
#include <mutex>
#include <utility>
#include <vector>

#include "platform/system.h"
#include "support/text.h"
#include "support/xml/encoding.h"
#include "support/xml/scanner.h"

namespace tessaron {
namespace {

// TinyXML's white-space flag is global: off while any thread parses, then restored.
class KeepWhiteSpace {
 public:
  KeepWhiteSpace() {
    const std::lock_guard lock(mutex_);
    if (users_++ == 0) {
      condensed_ = TiXmlBase::IsWhiteSpaceCondensed();
      TiXmlBase::SetCondenseWhiteSpace(false);
    }
  }
  ~KeepWhiteSpace() {
    const std::lock_guard lock(mutex_);
    if (--users_ == 0) TiXmlBase::SetCondenseWhiteSpace(condensed_);
  }
  KeepWhiteSpace(const KeepWhiteSpace&) = delete;
  KeepWhiteSpace& operator=(const KeepWhiteSpace&) = delete;

 private:
  static inline std::mutex mutex_;
  static inline int users_ = 0;
  static inline bool condensed_ = true;
};

using Range = std::pair<std::size_t, std::size_t>;

// Spells out the high references in the given ranges of `text`, and escapes ampersands that begin
// no reference, which TinyXML would drop.
std::string rewriteReferences(std::string_view text, const std::vector<Range>& ranges) {
  std::string out;
  out.reserve(text.size() + 4 * ranges.size());
  std::size_t copied = 0;
  const auto replace = [&](std::size_t from, std::size_t to) {
    out.append(text, copied, from - copied);
    copied = to;
  };
  for (const auto& [begin, end] : ranges) {
    for (std::size_t at = text.find('&', begin); at < end; at = text.find('&', at)) {
      const std::size_t reference = at++;
      std::size_t behind = reference;
      char32_t codePoint = 0;
      char meaning = 0;
      if (readReference(text, behind, codePoint)) {
        at = behind;
        if (codePoint <= 127) continue;
        replace(reference, behind);
        appendUtf8(out, codePoint);
      } else if (namedReference(text, reference, meaning) == 0) {
        replace(reference, at);
        out += "&amp;";
      }
    }
  }
  return out.append(text, copied, text.npos);
}

// What printing makes of a byte.
enum class Print : unsigned char { AsIs, Escape, Illegal, High };

constexpr std::array<Print, 256> kPrint = [] {
  std::array<Print, 256> table{};
  for (std::size_t c = 0; c < 0x20; ++c) table[c] = Print::Illegal;
  for (const char c : {'\t', '\n', '\r', '&', '<', '>', '"', '\''}) {
    table[static_cast<unsigned char>(c)] = Print::Escape;
  }
  for (std::size_t c = 0x80; c < 0x100; ++c) table[c] = Print::High;
  return table;
}();

void appendEscape(std::string& out, char c) {
  switch (c) {
    case '&':
      out += "&amp;";
      return;
    case '<':
      out += "&lt;";
      return;
    case '>':
      out += "&gt;";
      return;
    case '"':
      out += "&quot;";
      return;
    case '\'':
      out += "&apos;";
      return;
    case '\t':
      out += "&#x09;";
      return;
    case '\n':
      out += "&#x0A;";
      return;
    default:
      out += "&#x0D;";
      return;
  }
}

// Appends `text` as legal UTF-8, with or without escapes for markup.
void appendPrinted(std::string& out, std::string_view text, bool escape) {
  std::size_t plain = 0;  // from here to `at` the bytes stay as they are
  for (std::size_t at = 0; at < text.size();) {
    const Print print = kPrint[static_cast<unsigned char>(text[at])];
    if (print == Print::AsIs || (print == Print::Escape && !escape)) {
      ++at;
      continue;
    }
    if (print == Print::High) {
      const std::size_t from = at;
      bool wellFormed = false;
      const char32_t codePoint = nextUtf8(text, at, &wellFormed);
      if (wellFormed && codePoint != 0xFFFE && codePoint != 0xFFFF) continue;
      out.append(text, plain, from - plain);
      appendUtf8(out, wellFormed ? 0xFFFD : codePoint);
    } else {
      out.append(text, plain, at - plain);
      if (print == Print::Escape) {
        appendEscape(out, text[at]);
      } else {
        appendUtf8(out, 0xFFFD);
      }
      ++at;
    }
    plain = at;
  }
  out.append(text, plain, text.npos);
}

// Prints as TinyXML does into a stream: no indent, no added line ends.
class Printer : public TiXmlVisitor {
 public:
  explicit Printer(std::string& out) : out_(out) {}

  bool VisitEnter(const TiXmlElement& element, const TiXmlAttribute* attribute) override {
    out_ += '<';
    out_ += element.ValueStr();
    for (; attribute; attribute = attribute->Next()) {
      print(attribute->NameTStr(), attribute->ValueStr());
    }
    out_ += element.FirstChild() ? ">" : " />";
    return true;
  }
  bool VisitExit(const TiXmlElement& element) override {
    if (!element.FirstChild()) return true;
    out_ += "</";
    out_ += element.ValueStr();
    out_ += '>';
    return true;
  }
  bool Visit(const TiXmlText& text) override {
    if (text.CDATA()) {
      wrapped("<![CDATA[", text, "]]>");
    } else {
      appendPrinted(out_, text.ValueStr(), true);
    }
    return true;
  }
  bool Visit(const TiXmlComment& comment) override { return wrapped("<!--", comment, "-->"); }
  bool Visit(const TiXmlUnknown& unknown) override { return wrapped("<", unknown, ">"); }
  bool Visit(const TiXmlDeclaration& declaration) override {
    out_ += "<?xml";
    // Whatever the document has come in: what is printed is UTF-8.
    const char* encoding = *declaration.Encoding() ? "UTF-8" : "";
    const std::pair<const char*, const char*> parts[] = {{"version", declaration.Version()},
                                                         {"encoding", encoding},
                                                         {"standalone", declaration.Standalone()}};
    for (const auto& [name, value] : parts) {
      if (*value) print(name, value);
    }
    out_ += " ?>";
    return true;
  }

 private:
  void print(std::string_view attribute, std::string_view value) {
    // TinyXML chooses apostrophes when the value holds a quotation mark.
    const char quote = value.find('"') == value.npos ? '"' : '\'';
    out_ += ' ';
    out_ += attribute;
    out_ += '=';
    out_ += quote;
    appendPrinted(out_, value, true);
    out_ += quote;
  }
  bool wrapped(std::string_view before, const TiXmlNode& node, std::string_view behind) {
    out_ += before;
    appendPrinted(out_, node.ValueStr(), false);
    out_ += behind;
    return true;
  }

  std::string& out_;
};

// UTF-8 without the characters that XML does not allow.
std::string xmlUtf8(std::u16string_view text) {
  const auto illegal = [](char16_t c) {
    return (c < 0x20 && c != u'\t' && c != u'\n' && c != u'\r') || c >= 0xFFFE;
  };
  if (std::none_of(text.begin(), text.end(), illegal)) return toUtf8(text);
  std::u16string legal(text);
  std::replace_if(legal.begin(), legal.end(), illegal, u'\uFFFD');
  return toUtf8(legal);
}

void setText(TiXmlElement& element, std::u16string_view value) {
  auto* text = static_cast<TiXmlText*>(element.LinkEndChild(new TiXmlText(xmlUtf8(value))));
  // The parser drops a text of nothing but white space, unless it is CDATA.
  const std::string& utf8 = text->ValueStr();
  text->SetCDATA(!utf8.empty() && utf8.find_first_not_of(" \t\r\n\v\f") == utf8.npos);
}

// Parses text that XmlScanner has accepted.
void parseValidated(const char* text, TiXmlDocument& document) {
  const KeepWhiteSpace keepWhiteSpace;
  const int tabSize = document.TabSize();
  document.SetTabSize(0);  // TinyXML need not count lines: the scanner has
  document.Parse(text, nullptr, TIXML_ENCODING_LEGACY);
  document.SetTabSize(tabSize);
}

// Texts and quoted values with references; in bare values they are text. Walks over the whole text.
std::vector<Range> rangesWithReferences(XmlScanner& scanner) {
  using Token = XmlScanner::Token;
  std::vector<Range> ranges;
  Token token{};
  do {
    token = scanner.next();
    if (!scanner.hasReferences() || token == Token::Error) continue;
    if (token == Token::Text) {
      ranges.emplace_back(scanner.begin(), scanner.end());
    } else {
      for (const XmlScanner::Attribute& each : scanner.attributes())
        if (each.quoted) ranges.emplace_back(each.value.begin, each.value.end);
    }
  } while (token != Token::Finished && token != Token::Error);
  return ranges;
}

}  // namespace

XmlError parseXml(std::string text, TiXmlDocument& document) {
  document.Clear();
  document.ClearError();
  XmlDecoder decoder(text);
  if (decoder.error()) return decoder.error();
  DecodedXml decoded = decodeXml(decoder, std::move(text));
  text = std::move(decoded.text);

  XmlScanner scanner(text);
  const std::vector<Range> rewrites = rangesWithReferences(scanner);
  XmlError error = scanner.error();
  if (error) {
    locate(text, error);
    // The recursive parser sees nothing that the scanner has not accepted.
    text.resize(error.offset);
  }
  if (!rewrites.empty()) text = rewriteReferences(text, rewrites);
  decoder.declareUtf8(text);

  parseValidated(text.c_str(), document);
  if (!error && document.Error()) {
    error.kind = XmlError::Kind::BadTag;
    error.message = document.ErrorDesc();
    locate(text, error);
  }
  if (decoded.error && (!error || decoded.error.offset < error.offset)) return decoded.error;
  return error;
}

bool parseReadable(std::string text, TiXmlDocument& document) {
  return !text.empty() &&
         parseXml(std::move(text), document).kind != XmlError::Kind::UnknownEncoding;
}

void printXml(const TiXmlNode& node, std::string& out) {
  Printer printer(out);
  node.Accept(&printer);
}

TiXmlElement* appendElement(TiXmlNode& parent, const char* name) {
  return static_cast<TiXmlElement*>(parent.LinkEndChild(new TiXmlElement(name)));
}

void appendText(TiXmlNode& parent, const char* name, std::u16string_view value) {
  setText(*appendElement(parent, name), value);
}

void setAttribute(TiXmlElement& element, const char* name, std::u16string_view value) {
  element.SetAttribute(std::string(name), xmlUtf8(value));
}

std::u16string elementText(const TiXmlElement& element) {
  std::u16string text;
  for (const TiXmlNode* child = element.FirstChild(); child; child = child->NextSibling()) {
    if (!child->ToText()) continue;
    if (text.empty()) {
      text = fromUtf8(child->ValueStr());
    } else {
      text += fromUtf8(child->ValueStr());
    }
  }
  return text;
}

void appendDeclaration(TiXmlDocument& document) {
  document.LinkEndChild(new TiXmlDeclaration("1.0", "UTF-8", "yes"));
}

}  // namespace tessaron

bool composeTextNode(TiXmlElement* parent, std::string name, std::u16string value) {
  if (!tessaron::isReadable(parent)) return false;
  tessaron::appendText(*parent, name.c_str(), value);
  return true;
}

bool composeTextAttributeNode(TiXmlElement* parent, std::string name, std::string attribute,
                              std::u16string value, std::u16string text) {
  if (!tessaron::isReadable(parent)) return false;
  TiXmlElement* element = tessaron::appendElement(*parent, name.c_str());
  tessaron::setAttribute(*element, attribute.c_str(), value);
  if (!text.empty()) tessaron::setText(*element, text);
  return true;
}

bool parseTextNode(TiXmlElement* element, const std::string& name, std::u16string& out) {
  if (!tessaron::isReadable(element) || element->ValueStr() != name) return false;
  out = tessaron::elementText(*element);
  return true;
}
