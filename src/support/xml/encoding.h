#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

#include "support/xml/error.h"

namespace tessaron {

/// An XML document decoded into UTF-8.
struct DecodedXml {
  std::string text;     ///< without a byte-order mark; the declaration still names the old encoding
  bool marked = false;  ///< a UTF-8 byte-order mark stood in front of it
  /// Whether a reader that goes by the declaration would not take `text` for UTF-8.
  bool reencoded = false;
  TextRange encodingName;  ///< the encoding that the declaration in `text` names; empty without one
  /// None; UnknownEncoding, and `text` is the document as it came; or BadCharacter at the first
  /// bytes that are no characters of the encoding, which became U+FFFD.
  XmlError error;
  /// Offsets in `text` of all such bytes, ascending. A row of them has one.
  std::vector<std::size_t> badPlaces;
};

/// Decodes a document: by its byte-order mark; without one as UTF-16 when its first characters show
/// that; else by the encoding that its declaration names, UTF-8 without one. Text in UTF-8 is not
/// touched, whatever is wrong with it. Latin-1 and ASCII are read as Windows-1252, as
/// browsers do.
DecodedXml decodeXml(std::string document);

/// Where the XML declaration at the head of `text` names the encoding; empty when it does not.
TextRange findEncodingName(std::string_view text);

/// Makes the declaration of a `reencoded` document name UTF-8. `head` is the start of its text; one
/// that ends before the name stays as it is. Returns by how many bytes `head` grew (modulo 2^N).
std::size_t declareUtf8(const DecodedXml& document, std::string& head);

}  // namespace tessaron
