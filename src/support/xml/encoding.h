#pragma once

#include <cstddef>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "platform/text.h"
#include "support/xml/error.h"

namespace tessaron {

/// Decodes an XML document into UTF-8 block by block: by its byte-order mark; without one as UTF-16
/// when its first characters show that; else by the encoding that its declaration names, UTF-8
/// without one. Text in UTF-8 is not touched, whatever is wrong with it. Latin-1 and ASCII are read
/// as Windows-1252, as browsers do. Used by one thread at a time.
class XmlDecoder {
 public:
  /// How many bytes of a document a declaration is looked for in.
  static constexpr std::size_t kMaxHead = std::size_t{1} << 20;

  /// The document is all that is needed to tell the encoding: up to its first '>', or `kMaxHead`
  /// bytes, or longer, or whole. It is not consumed.
  explicit XmlDecoder(std::string_view head);

  /// UnknownEncoding, with line and column, when the document cannot be decoded; it is then passed
  /// on as it is.
  const XmlError& error() const { return error_; }
  /// Whether the text begins with a UTF-8 byte-order mark. Marks are no part of the decoded text.
  bool isMarked() const { return isMarked_; }
  /// Whether a reader that goes by the declaration would not take the text for UTF-8.
  bool isReencoded() const { return isReencoded_; }
  /// Whether decoding changes nothing but the mark in front.
  bool isPlain() const { return form_ == Form::Plain; }
  /// The name in the declaration of the decoded text; empty without one.
  TextRange encodingName() const { return encodingName_; }

  /// Appends the next bytes of the document to `out`, decoded; `isLast` tells that they are the
  /// last ones. Bytes that are no characters become U+FFFD. Appends to `badPlaces` where in the
  /// decoded text that happened, ascending; a row of them has one place.
  void decode(std::string_view bytes, bool isLast, std::string& out,
              std::vector<std::size_t>& badPlaces);
  /// The error for bytes that are no characters, at `offset` of the decoded text; not located.
  XmlError badCharacter(std::size_t offset) const;
  /// Makes the declaration in `head`, the start of the decoded text, name UTF-8 where a reader
  /// would take the text for something else. A head that ends before the name stays as it is.
  /// Returns by how many bytes `head` grew (modulo 2^N).
  std::size_t declareUtf8(std::string& head) const;

 private:
  static constexpr std::size_t kNone = static_cast<std::size_t>(-1);
  enum class Form { Plain, LittleUtf16, BigUtf16, Charset };

  void refuse(std::string_view text, std::size_t offset, std::string message);
  void openCharset(std::string_view head);
  void decodeUtf16(std::string_view bytes, bool isLast, std::string& out,
                   std::vector<std::size_t>& badPlaces);
  void decodeCharset(std::string_view bytes, bool isLast, std::string& out,
                     std::vector<std::size_t>& badPlaces);
  void addBadPlace(std::size_t begin, std::size_t end, std::vector<std::size_t>& badPlaces);

  XmlError error_;
  bool isMarked_ = false;
  bool isReencoded_ = false;
  TextRange encodingName_;
  std::string encoding_;  // what error messages call it
  Form form_ = Form::Plain;
  std::size_t skip_ = 0;  // bytes of the mark that are still to come
  std::string cut_;       // the start of a character in UTF-16
  std::unique_ptr<CharsetDecoder> charset_;
  std::u16string wide_;
  std::size_t decoded_ = 0;     // bytes of the decoded text so far
  std::size_t badEnd_ = kNone;  // after the last bad character
};

/// A whole XML document, decoded into UTF-8.
struct DecodedXml {
  std::string text;  ///< without a byte-order mark; the declaration still names the old encoding
  /// None; UnknownEncoding, and `text` is the document as it came; or BadCharacter at the first
  /// bytes that are no characters of the encoding, which became U+FFFD.
  XmlError error;
};

/// Decodes a whole document by a decoder that was made of it.
DecodedXml decodeXml(XmlDecoder& decoder, std::string document);

/// Where the XML declaration at the head of `text` names the encoding; empty when it does not.
TextRange findEncodingName(std::string_view text);

}  // namespace tessaron
