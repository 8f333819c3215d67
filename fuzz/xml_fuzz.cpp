#include "fuzz.h"
#include "support/xml/encoding.h"
#include "support/xml/scanner.h"
#include "support/xml/xml.h"

using tessaron::XmlError;
using tessaron::XmlScanner;

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
  XmlScanner scanner(text);
  XmlScanner::Token token{};
  for (std::size_t at = 0; token != XmlScanner::Token::Error;) {
    token = scanner.next();
    if (token == XmlScanner::Token::Finished) break;
    CHECK(token == XmlScanner::Token::Error || (scanner.begin() == at && scanner.end() > at));
    at = scanner.end();
  }
  // TinyXML refuses nothing that the scanner accepts.
  CHECK(static_cast<bool>(error) == (token == XmlScanner::Token::Error));
  CHECK(error || !document.Error());
  CHECK(!error || (error.offset <= text.size() && error.line > 0 && error.column > 0));
  if (error) return 0;

  // What is printed is read again, and prints as it did.
  std::string once, twice;
  tessaron::printXml(document, once);
  CHECK(!tessaron::parseXml(once, document));
  tessaron::printXml(document, twice);
  CHECK(once == twice);
  return 0;
}
