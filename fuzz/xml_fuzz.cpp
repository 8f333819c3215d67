#include "fuzz.h"
#include "support/xml/encoding.h"
#include "support/xml/scanner.h"
#include "support/xml/xml.h"

using tessaron::XmlError;
using tessaron::XmlScanner;

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  std::string text = asText(data, size);
  TiXmlDocument document;
  const XmlError fault = tessaron::parseXml(text, document);

  const tessaron::DecodedXml decoded = tessaron::decodeXml(std::move(text));
  CHECK(!decoded.fault || decoded.fault.offset <= decoded.text.size());
  if (decoded.fault) {
    CHECK(fault);
    return 0;
  }
  text = decoded.text;
  XmlScanner scanner(text);
  XmlScanner::Piece piece{};
  for (std::size_t at = 0; piece != XmlScanner::Piece::Faulty;) {
    piece = scanner.next();
    if (piece == XmlScanner::Piece::Finished) break;
    CHECK(piece == XmlScanner::Piece::Faulty || (scanner.begin() == at && scanner.end() > at));
    at = scanner.end();
  }
  // The library refuses nothing that the scanner passes.
  CHECK(static_cast<bool>(fault) == (piece == XmlScanner::Piece::Faulty));
  CHECK(fault || !document.Error());
  CHECK(!fault || (fault.offset <= text.size() && fault.line > 0 && fault.column > 0));
  CHECK(fault.kind != XmlError::Kind::TooDeep || document.NoChildren());
  if (fault) return 0;

  // What is printed is read again, and prints as it did.
  std::string once, twice;
  tessaron::printXml(document, once);
  CHECK(!tessaron::parseXml(once, document));
  tessaron::printXml(document, twice);
  CHECK(once == twice);
  return 0;
}
