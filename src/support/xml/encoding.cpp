#include "support/xml/encoding.h"

#include <algorithm>
#include <array>
#include <utility>

#include "platform/text.h"
#include "support/ascii.h"
#include "support/text.h"
#include "support/xml/scanner.h"

namespace tessaron {
namespace {

using namespace std::string_view_literals;
using Kind = XmlError::Kind;

constexpr std::string_view kUtf8 = "UTF-8";
constexpr std::string_view kUtf8Mark = "\xEF\xBB\xBF";
constexpr std::string_view kBlanks = " \t\r\n";

// How the units of a text in UTF-16 (or the characters of one in UTF-32) lie in its bytes.
struct WideForm {
  std::string_view start;  // a byte-order mark, or '<' and the zeros around it
  std::size_t mark;        // length of the byte-order mark
  std::size_t unit;        // bytes
  bool little;
};
constexpr std::array kWideForms = {
    WideForm{"\xFF\xFE\0\0"sv, 4, 4, true}, WideForm{"\0\0\xFE\xFF"sv, 4, 4, false},
    WideForm{"<\0\0\0"sv, 0, 4, true},      WideForm{"\0\0\0<"sv, 0, 4, false},
    WideForm{"\xFF\xFE"sv, 2, 2, true},     WideForm{"\xFE\xFF"sv, 2, 2, false},
    WideForm{"<\0"sv, 0, 2, true},          WideForm{"\0<"sv, 0, 2, false},
};

// What a declaration that is read byte by byte can name without a need to convert anything: it
// contradicts a name of wider units.
bool readsAsUtf8(std::string_view lowerName) {
  constexpr std::string_view kNames[] = {"utf-8", "utf8",    "utf-16", "utf-16le",       "utf-16be",
                                         "utf16", "unicode", "ucs-2",  "iso-10646-ucs-2"};
  return std::find(std::begin(kNames), std::end(kNames), lowerName) != std::end(kNames);
}

// The name under which the system is asked for a character set.
std::string_view systemName(std::string_view lowerName) {
  constexpr std::string_view kLatin1[] = {"iso-8859-1", "iso8859-1", "iso_8859-1", "latin1",
                                          "latin-1",    "l1",        "8859_1",     "cp819",
                                          "us-ascii",   "ascii"};
  const bool latin1 =
      std::find(std::begin(kLatin1), std::end(kLatin1), lowerName) != std::end(kLatin1);
  return latin1 ? "windows-1252" : lowerName;
}

// The wide form of a text that begins with `head`; null when it is none.
const WideForm* wideFormOf(std::string_view head) {
  const auto form = std::find_if(kWideForms.begin(), kWideForms.end(), [&](const WideForm& each) {
    // Without a mark a second character tells UTF-16 from a NUL that damage has left.
    const bool sure = each.mark > 0 || (head.size() > 3 && head[each.little ? 3 : 2] == 0);
    return sure && head.starts_with(each.start);
  });
  return form == kWideForms.end() ? nullptr : &*form;
}

}  // namespace

// As TinyXML reads a declaration: three attributes, of which the name may go on, and other words.
TextRange findEncodingName(std::string_view text) {
  constexpr std::string_view kOpening = "<?xml", kName = "encoding", kEndOfName = " \t\r\n=";
  std::size_t at = std::min(text.find_first_not_of(kBlanks), text.size());
  const std::string tag = lowerLetters(text.substr(0, text.find('>', at)));
  if (tag.substr(at, kOpening.size()) != kOpening) return {};
  at += kOpening.size();
  while ((at = tag.find_first_not_of(kBlanks, at)) < tag.size()) {
    const std::string_view rest = std::string_view(tag).substr(at);
    const bool isEncoding = rest.starts_with(kName);
    if (!isEncoding && !rest.starts_with("version") && !rest.starts_with("standalone")) {
      at = tag.find_first_of(kBlanks, at);
      continue;
    }
    const std::size_t sign = tag.find_first_not_of(kBlanks, tag.find_first_of(kEndOfName, at));
    if (sign == tag.npos || tag[sign] != '=') return {};
    const std::size_t quote = tag.find_first_not_of(kBlanks, sign + 1);
    if (quote == tag.npos) return {};
    const bool isQuoted = tag[quote] == '"' || tag[quote] == '\'';
    const std::size_t end =
        isQuoted ? tag.find(tag[quote], quote + 1) : tag.find_first_of(kBlanks, quote);
    if (end == tag.npos) return {};
    if (isEncoding) return isQuoted ? TextRange{quote + 1, end} : TextRange{};
    at = isQuoted ? end + 1 : end;
  }
  return {};
}

XmlDecoder::XmlDecoder(std::string_view head) {
  head = head.substr(0, kMaxHead);
  head = head.substr(0, std::min(head.find('>'), kMaxHead) + 2);  // in UTF-16 one takes two bytes
  const WideForm* wide = wideFormOf(head);
  const bool isWide = wide;
  if (isWide && wide->unit == 4) {
    refuse(head, 0, "the encoding UTF-32 is not supported");
    return;
  }
  isMarked_ = head.starts_with(kUtf8Mark);
  isReencoded_ = isWide;
  skip_ = isMarked_ ? kUtf8Mark.size() : isWide ? wide->mark : 0;
  std::string text(head.substr(skip_));
  if (isWide) {
    form_ = wide->little ? Form::LittleUtf16 : Form::BigUtf16;
    encoding_ = "UTF-16";
    std::vector<std::size_t> ignored;
    decodeUtf16(std::exchange(text, {}), false, text, ignored);
    cut_.clear();  // the head comes again
    decoded_ = 0;
    badEnd_ = kNone;
  }
  encodingName_ = findEncodingName(text);
  const std::string name = lowerLetters(encodingName_.of(text));
  if (name.empty() || name == "utf-8" || name == "utf8") return;
  isReencoded_ = true;
  if (!isWide && !isMarked_ && !readsAsUtf8(name)) openCharset(text);
}

void XmlDecoder::refuse(std::string_view text, std::size_t offset, std::string message) {
  error_.kind = Kind::UnknownEncoding;
  error_.offset = offset;
  error_.message = std::move(message);
  locate(text, error_);
}

void XmlDecoder::openCharset(std::string_view head) {
  encoding_ = encodingName_.of(head);
  const std::string name = lowerLetters(encoding_);
  head = head.substr(0, head.find('>'));
  std::u16string wide;
  if (const auto trial = CharsetDecoder::open(systemName(name))) trial->decode(head, true, wide);
  // A name that makes something else of the declaration itself cannot be meant.
  const std::string text = toUtf8(wide);
  const TextRange nameInText = findEncodingName(text);
  if (nameInText.of(text) != encoding_)
    return refuse(head, encodingName_.begin, "the encoding \"" + encoding_ + "\" is not known");
  encodingName_ = nameInText;  // may follow a character that has grown
  charset_ = CharsetDecoder::open(systemName(name));
  form_ = Form::Charset;
}

void XmlDecoder::decode(std::string_view bytes, bool isLast, std::string& out,
                        std::vector<std::size_t>& badPlaces) {
  const std::size_t skipped = std::min(skip_, bytes.size());
  skip_ -= skipped;
  bytes.remove_prefix(skipped);
  switch (form_) {
    case Form::Plain:
      out += bytes;
      decoded_ += bytes.size();
      return;
    case Form::Charset:
      return decodeCharset(bytes, isLast, out, badPlaces);
    default:
      return decodeUtf16(bytes, isLast, out, badPlaces);
  }
}

// Lone surrogates and half a unit at the end become U+FFFD.
void XmlDecoder::decodeUtf16(std::string_view bytes, bool isLast, std::string& out,
                             std::vector<std::size_t>& badPlaces) {
  const std::string joined = cut_.append(bytes);
  const auto unitAt = [&](std::size_t at) {
    const auto first = static_cast<unsigned char>(joined[at]);
    const auto second = static_cast<unsigned char>(joined[at + 1]);
    const bool little = form_ == Form::LittleUtf16;
    return static_cast<char16_t>(little ? second << 8 | first : first << 8 | second);
  };
  std::size_t at = 0;
  while (at < joined.size()) {
    const std::size_t left = joined.size() - at;
    char32_t codePoint = left > 1 ? unitAt(at) : 0xDC00;
    const bool isHigh = (codePoint & 0xFC00) == 0xD800;
    if (!isLast && (left < 2 || (isHigh && left < 4))) break;
    at += std::min<std::size_t>(left, 2);
    if (isHigh && left > 3 && (unitAt(at) & 0xFC00) == 0xDC00) {
      codePoint = 0x10000 + ((codePoint & 0x3FF) << 10) + (unitAt(at) & 0x3FFu);
      at += 2;
    }
    const std::size_t begin = out.size();
    appendUtf8(out, codePoint);
    const std::size_t place = decoded_;
    decoded_ += out.size() - begin;
    if (codePoint >= 0xD800 && codePoint < 0xE000) addBadPlace(place, decoded_, badPlaces);
  }
  cut_ = joined.substr(at);
}

void XmlDecoder::decodeCharset(std::string_view bytes, bool isLast, std::string& out,
                               std::vector<std::size_t>& badPlaces) {
  wide_.clear();
  charset_->decode(bytes, isLast, wide_);
  const std::string text = toUtf8(wide_);
  // The conversion puts U+FFFD in the place of bytes without a meaning.
  constexpr std::string_view kReplacement = "\xEF\xBF\xBD";
  for (std::size_t at = 0; (at = text.find(kReplacement, at)) != text.npos;) {
    const std::size_t begin = decoded_ + at;
    at += kReplacement.size();
    addBadPlace(begin, decoded_ + at, badPlaces);
  }
  out += text;
  decoded_ += text.size();
}

// A row of bad characters has one place.
void XmlDecoder::addBadPlace(std::size_t begin, std::size_t end,
                             std::vector<std::size_t>& badPlaces) {
  if (begin != badEnd_) badPlaces.push_back(begin);
  badEnd_ = end;
}

XmlError XmlDecoder::badCharacter(std::size_t offset) const {
  XmlError error;
  error.kind = Kind::BadCharacter;
  error.offset = offset;
  error.message = "bytes that are no characters in " + encoding_;
  return error;
}

std::size_t XmlDecoder::declareUtf8(std::string& head) const {
  const TextRange& name = encodingName_;
  const bool isKnown = !error_ && isReencoded_;
  if (!isKnown || name.size() == 0 || name.end > head.size()) return 0;
  if (name.of(head).find('\0') != head.npos) return 0;  // which readers of the XML tell
  head.replace(name.begin, name.size(), kUtf8);
  return kUtf8.size() - name.size();
}

DecodedXml decodeXml(XmlDecoder& decoder, std::string document) {
  DecodedXml decoded;
  decoded.error = decoder.error();
  if (decoder.isPlain()) {
    if (decoder.isMarked()) document.erase(0, kUtf8Mark.size());
    decoded.text = std::move(document);
    return decoded;
  }
  std::vector<std::size_t> badPlaces;
  decoder.decode(document, true, decoded.text, badPlaces);
  if (badPlaces.empty()) return decoded;
  decoded.error = decoder.badCharacter(badPlaces.front());
  locate(decoded.text, decoded.error);
  return decoded;
}

}  // namespace tessaron
