#include "support/xml/xml.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <string>
#include <thread>
#include <vector>

#include "support/text.h"
#include "support/xml/scanner.h"

namespace {

using namespace std::string_literals;
using tessaron::parseXml;
using tessaron::printXml;
using tessaron::XmlError;
using Kind = XmlError::Kind;

std::string print(const TiXmlNode& node) {
  std::string out;
  printXml(node, out);
  return out;
}

// The text of the root element of a document, which must be without an error.
std::u16string rootText(const std::string& xml) {
  TiXmlDocument document;
  const XmlError error = parseXml(xml, document);
  EXPECT_FALSE(error) << xml << ": " << error.message;
  return document.RootElement() ? tessaron::elementText(*document.RootElement()) : u"(none)";
}

TEST(ParseXml, DeliversTextAsItIsMeant) {
  const struct {
    std::string xml;
    std::u16string text;
  } rows[] = {
      {"\xEF\xBB\xBF<a>x</a>", u"x"},
      {"<a>&#8364; &#x20AC; &#x1F600; &#128512;</a>", u"€ € 😀 😀"},
      {"<a>&#xD83D;&#xDE00;|&#xD83D;|&#xDE00;</a>", u"😀|\uFFFD|\uFFFD"},  // a pair spelt in two
      {"<a>&#60;&#65;&#233;&amp;#233;</a>", u"<Aé&#233;"},
      {"<a>&#0;&#8;&#x110000;&#99999999999999999999;</a>", u"\uFFFD\uFFFD\uFFFD\uFFFD"},
      {"<a>&#00000000000000000000065;</a>", u"A"},
      {"<a>  two  blanks \r\n\tand ends </a>", u"  two  blanks \r\n\tand ends "},
      {"<a><![CDATA[<b> &#8364; ]] >]]></a>", u"<b> &#8364; ]] >"},
      {"<a>one <![CDATA[& two]]><!-- &#8364; --> three</a>", u"one & two three"},
      {"<x:a xmlns:x=\"urn:x\" xmlns='urn:y'>t</x:a>", u"t"},
      {"<?xml version=\"1.0\" encoding='utf-8'?>\n<!DOCTYPE a SYSTEM \"a.dtd\"><?pi x?><a>t</a>\n",
       u"t"},
      {"<a>AT&T &nbsp;&; &&#8364;&amp &</a>", u"AT&T &nbsp;&; &€&amp &"},
      {"<a>&lt;&gt;&quot;&apos;&amp;</a>", u"<>\"'&"},
      {"<a>caf\xE9</a>", u"café"},
      {"<?xml encoding='ISO-8859-1'?><a>\xC3\xBC\x80</a>", u"Ã¼€"},
      {"\xEF\xBB\xBF<?xml encoding='ISO-8859-1'?><a>\xC3\xBC</a>", u"ü"},
      {"<?xml encoding='utf-16'?><a>\xC3\xBC</a>", u"ü"},  // names what it cannot be
      {"<?xml encoding='US-ASCII'?><a>\xC3\xBC\x80</a>", u"Ã¼€"},
      {"<?xml enCoding = \"iso-8859-15\"?><a>\xA4</a>", u"€"},
      {"\n<?XML version='encoding=' encoding='KOI8-R'?><a>\xF0\xD2\xC9</a>", u"При"},
      {"<?xml version='\xFC' encoding='koi8-r'?><a>\xF0</a>", u"П"},
      {"<?xml version=\" encoding=\" x standalone=no encoding ='koi8-r'?><a>\xF0</a>", u"П"},
      {"<?xml encoding='windows-1251'?><a encoding='x'>\xCF\xF0</a>", u"Пр"},
      {"<?xml encoding='Shift_JIS'?><a>\x93\xFA\x96\x7B \x83\x5C</a>", u"日本 ソ"},
      {"\xFF\xFE<\0a\0>\0\xE5\x65\x3D\xD8\0\xDE<\0/\0a\0>\0"s, u"日😀"},
      {"<\0a\0>\0\xE5\x65<\0/\0a\0>\0"s, u"日"},
      {"\xFE\xFF\0<\0a\0>\x65\xE5\0<\0/\0a\0>"s, u"日"},
      {"\0<\0a\0>\xD8\x3D\xDE\0\0<\0/\0a\0>"s, u"😀"},
      {"<a/>", u""},
  };
  for (const auto& [xml, text] : rows) EXPECT_EQ(rootText(xml), text) << xml;
  TiXmlDocument document;
  ASSERT_FALSE(parseXml("<a b='&#8364;' c=\"&#34;&#x1F600;\" d=&e/>", document));
  EXPECT_STREQ(document.RootElement()->Attribute("b"), "€");
  EXPECT_STREQ(document.RootElement()->Attribute("c"), "\"😀");
  EXPECT_STREQ(document.RootElement()->Attribute("d"), "&e");
}

TEST(ParseXml, TellsKindAndPlaceOfTheFirstError) {
  const struct {
    std::string xml;
    Kind kind;
    std::size_t line, column;
  } rows[] = {
      {"", Kind::Empty, 1, 1},
      {"  <!-- only -->", Kind::Empty, 1, 16},
      {"<a>\n  <é></b>\n</a>", Kind::MismatchedEnd, 2, 6},
      {"<a>\n<b>", Kind::UnexpectedEnd, 2, 4},
      {"<a b='1' b='2'/>", Kind::DuplicateAttribute, 1, 10},
      {"<a b></a>", Kind::BadTag, 1, 5},
      {"<a ='1'/>", Kind::BadTag, 1, 4},
      {"<a/ >", Kind::BadTag, 1, 4},
      {"<a>I <3 you</a>", Kind::BadTag, 1, 6},
      {"<a></a b>", Kind::BadTag, 1, 8},
      {"<a/><b/>", Kind::BadTag, 1, 5},
      {"<a/>\nrest", Kind::BadCharacter, 2, 1},
      {"<a/><![CDATA[x]]>", Kind::BadCharacter, 1, 5},
      {"</a>", Kind::MismatchedEnd, 1, 1},
      {"<a>&#;</a>", Kind::BadReference, 1, 4},
      {"<a>&#x;</a>", Kind::BadReference, 1, 4},
      {"<a>é&#12x;</a>", Kind::BadReference, 1, 5},
      {"<a b='&#q;'/>", Kind::BadReference, 1, 7},
      {"<a>x\0y</a>"s, Kind::BadCharacter, 1, 5},
      {"<a b='\0'/>"s, Kind::BadCharacter, 1, 7},
      {"<a><!-- \0 --></a>"s, Kind::BadCharacter, 1, 9},
      {"<a><!-- x", Kind::UnexpectedEnd, 1, 10},
      {"<a><![CDATA[x", Kind::UnexpectedEnd, 1, 14},
      {"<a b=\"x", Kind::UnexpectedEnd, 1, 8},
      {"<a b=x", Kind::UnexpectedEnd, 1, 7},
      {"<!DOCTYPE a [<!ENTITY e 'x'>]><a/>", Kind::Unsupported, 1, 1},
      {"<a><?pi a>b ?></a>", Kind::Unsupported, 1, 4},
      {"<?xml version='1.0' encoding='koi8>-r'?><a/>", Kind::Unsupported, 1, 1},
      {"<?xml encoding='koi8-r\0x'?><a/>"s, Kind::UnknownEncoding, 1, 17},
      {"\n<?xml encoding='x-none'?><a/>", Kind::UnknownEncoding, 2, 17},
      {"<?xml encoding='UTF-7,x'?><a/>", Kind::UnknownEncoding, 1, 17},
      {"<\0\0\0a\0\0\0"s, Kind::UnknownEncoding, 1, 1},
      {"<?xml encoding='Shift_JIS'?><a>\x93\xFA\x81 </a></b>", Kind::BadCharacter, 1, 33},
      {"<\0a\0/\0>\0x"s, Kind::BadCharacter, 1, 5},
      {"\0<\0a\0>\xD8\0\0<\0/\0a\0>"s, Kind::BadCharacter, 1, 4},
  };
  for (const auto& [xml, kind, line, column] : rows) {
    TiXmlDocument document;
    const XmlError error = parseXml(xml, document);
    EXPECT_EQ(error.kind, kind) << xml << ": " << error.message;
    EXPECT_EQ(error.line, line) << xml;
    EXPECT_EQ(error.column, column) << xml;
    EXPECT_FALSE(error.message.empty()) << xml;
  }
}

TEST(ParseXml, KeepsWhatStandsBeforeTheError) {
  TiXmlDocument document;
  EXPECT_TRUE(parseXml("<a><b>1</b><c>2</c><d></e><f/></a>", document));
  EXPECT_EQ(print(document), "<a><b>1</b><c>2</c><d /></a>");
}

TEST(ParseXml, BoundsDepthAndAttributes) {
  const auto repeated = [](std::size_t count, const std::string& part) {
    std::string text;
    for (std::size_t i = 0; i < count; ++i) text += part;
    return text;
  };
  TiXmlDocument document;
  EXPECT_FALSE(parseXml(repeated(256, "<a>") + repeated(256, "</a>"), document));
  EXPECT_EQ(parseXml(repeated(257, "<a>") + repeated(257, "</a>"), document).kind, Kind::TooDeep);
  EXPECT_STREQ(document.RootElement()->Value(), "a");
  const std::string deep = repeated(1000000, "<a>");
  EXPECT_EQ(parseXml(deep, document).kind, Kind::TooDeep);
  EXPECT_EQ(parseXml("<r/>" + deep, document).kind, Kind::BadTag);
  std::string wide = "<a";
  for (int i = 0; i < 200000; ++i) wide += " a" + std::to_string(i) + "='x'";
  EXPECT_EQ(parseXml(wide + "/>", document).kind, Kind::BadTag);
}

TEST(ParseXml, LeavesTheProcessesSwitchAsItWas) {
  TiXmlBase::SetCondenseWhiteSpace(true);
  std::vector<std::thread> threads;
  for (int i = 0; i < 4; ++i) {
    threads.emplace_back([] {
      for (int round = 0; round < 200; ++round) EXPECT_EQ(rootText("<a> x  y </a>"), u" x  y ");
    });
  }
  for (std::thread& thread : threads) thread.join();
  EXPECT_TRUE(TiXmlBase::IsWhiteSpaceCondensed());
}

TEST(PrintXml, PrintsAsTinyXmlDoes) {
  TiXmlDocument document;
  ASSERT_FALSE(
      parseXml("<?xml version=\"1.0\" encoding=\"UTF-8\" standalone=\"yes\" ?><!DOCTYPE a>"
               "<!-- c --><a b=\"1\" c='x\"y'><![CDATA[<x>]]>mixed <b>bold</b> <e />tail "
               "&lt;&amp;&gt;&quot;&apos; tab\tline\ncarriage\r end é 日本</a>",
               document));
  std::string expected;
  expected << document;
  EXPECT_EQ(print(document), expected);
}

TEST(PrintXml, WritesNothingThatDoesNotReadBack) {
  const std::pair<std::u16string, std::u16string> rows[] = {
      {u"&#x41; &#65; &amp; &#x<b> ]]> -->", u"&#x41; &#65; &amp; &#x<b> ]]> -->"},
      {u" \t\r\n", u" \t\r\n"},
      {u"  a\0b\u0001\u001F\uFFFE\uFFFF\r\n"s, u"  a\uFFFDb\uFFFD\uFFFD\uFFFD\uFFFD\r\n"},
      {u"x" + std::u16string(1, 0xDC00), u"x\uFFFD"},
      {u"", u""},
  };
  for (const auto& [text, readBack] : rows) {
    TiXmlElement root("r");
    ASSERT_TRUE(composeTextNode(&root, "t", text));
    ASSERT_TRUE(composeTextAttributeNode(&root, "n", "a", text, text));
    TiXmlDocument document;
    const std::string xml = print(root);
    ASSERT_FALSE(parseXml(xml, document)) << xml;
    TiXmlElement* first = document.RootElement()->FirstChildElement();
    std::u16string out;
    EXPECT_TRUE(parseTextNode(first, "t", out));
    EXPECT_EQ(out, readBack) << xml;
    TiXmlElement* second = first->NextSiblingElement();
    EXPECT_EQ(utf82wchar(second->Attribute("a")), readBack) << xml;
    EXPECT_EQ(tessaron::elementText(*second), readBack) << xml;
  }
}

TEST(PrintXml, FiltersWhatOthersPutIntoADocument) {
  TiXmlDocument document;
  document.LinkEndChild(new TiXmlDeclaration("&#\x04", "koi8-r", ""));
  auto* root = new TiXmlElement("r");
  document.LinkEndChild(root);
  root->SetAttribute("a", "\x01\xE9");
  root->LinkEndChild(new TiXmlText("\x02 \xEF\xBF\xBE \xED\xA0\x80"));
  root->LinkEndChild(new TiXmlComment("\x03"));
  EXPECT_EQ(print(document),
            "<?xml version=\"&amp;#\uFFFD\" encoding=\"UTF-8\" ?>"
            "<r a=\"\uFFFDé\">\uFFFD \uFFFD í\u00A0€<!--\uFFFD--></r>");
}

TEST(TextNodes, MatchNamesExactly) {
  TiXmlDocument document;
  ASSERT_FALSE(parseXml("<Title>x</Title>", document));
  std::u16string out = u"before";
  EXPECT_FALSE(parseTextNode(document.RootElement(), "title", out));
  EXPECT_FALSE(parseTextNode(document.RootElement(), "Titl", out));
  for (const std::uintptr_t address : {std::uintptr_t{0}, std::uintptr_t{16}, ~std::uintptr_t{0}}) {
    auto* unreadable = reinterpret_cast<TiXmlElement*>(address);
    EXPECT_FALSE(parseTextNode(unreadable, "Title", out));
    EXPECT_FALSE(composeTextNode(unreadable, "a", u"x"));
    EXPECT_FALSE(composeTextAttributeNode(unreadable, "a", "b", u"x", u""));
  }
  EXPECT_EQ(out, u"before");
}

}  // namespace
