#include "support/xml/encoding.h"

#include <algorithm>
#include <array>
#include <optional>
#include <utility>

#include "platform/text.h"
#include "support/text.h"
#include "support/xml/scanner.h"

namespace tessaron {
namespace {

using namespace std::string_view_literals;
using Kind = XmlError::Kind;

constexpr std::string_view kUtf8 = "UTF-8";
constexpr std::string_view kUtf8Mark = "\xEF\xBB\xBF";
constexpr std::string_view kBlanks = " \t\r\n";

std::string lowerCase(std::string_view text) {
  std::string lower(text);
  for (char& c : lower) {
    if (c >= 'A' && c <= 'Z') c = static_cast<char>(c + 32);
  }
  return lower;
}

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

// Notes that the character that begins at `offset` stands for bytes that are none. One place
// stands for a row of them.
void addBadPlace(std::vector<std::size_t>& places, std::size_t offset, bool follows) {
  if (!follows || places.empty()) places.push_back(offset);
}

// Decodes UTF-16. Lone surrogates and half a unit at the end become U+FFFD.
std::string decodeUtf16(std::string_view bytes, bool little, std::vector<std::size_t>& badPlaces) {
  const auto unitAt = [&](std::size_t at) {
    const auto first = static_cast<unsigned char>(bytes[at]);
    const auto second = static_cast<unsigned char>(bytes[at + 1]);
    return static_cast<char16_t>(little ? second << 8 | first : first << 8 | second);
  };
  std::string text;
  std::size_t badEnd = 0;
  for (std::size_t at = 0; at < bytes.size(); at += 2) {
    const bool half = at + 1 == bytes.size();
    char32_t codePoint = half ? 0xDC00 : unitAt(at);
    if ((codePoint & 0xFC00) == 0xD800 && at + 3 < bytes.size()) {
      const char16_t low = unitAt(at + 2);
      if ((low & 0xFC00) == 0xDC00) {
        codePoint = 0x10000 + ((codePoint & 0x3FF) << 10) + (low & 0x3FFu);
        at += 2;
      }
    }
    const bool bad = codePoint >= 0xD800 && codePoint < 0xE000;
    if (bad) addBadPlace(badPlaces, text.size(), text.size() == badEnd);
    appendUtf8(text, codePoint);
    if (bad) badEnd = text.size();
  }
  return text;
}

// Finds the U+FFFD that a conversion has put in the place of bytes without a meaning.
void findReplacements(std::string_view text, std::vector<std::size_t>& badPlaces) {
  constexpr std::string_view kReplacement = "\xEF\xBF\xBD";
  std::size_t badEnd = 0;
  for (std::size_t at = 0; (at = text.find(kReplacement, at)) != text.npos; badEnd = at) {
    addBadPlace(badPlaces, at, at == badEnd);
    at += kReplacement.size();
  }
}

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

void setError(DecodedXml& document, Kind kind, std::size_t offset, std::string message) {
  document.error.kind = kind;
  document.error.offset = offset;
  document.error.message = std::move(message);
  locate(document.text, document.error);
}

void setErrorAtBadPlace(DecodedXml& document, std::string_view encoding) {
  if (document.badPlaces.empty()) return;
  setError(document, Kind::BadCharacter, document.badPlaces.front(),
           "bytes that are no characters in " + std::string(encoding));
}

}  // namespace

TextRange findEncodingName(std::string_view text) {
  constexpr std::string_view kOpening = "<?xml", kName = "encoding";
  const std::size_t begin = std::min(text.find_first_not_of(kBlanks), text.size());
  const std::string tag = lowerCase(text.substr(0, text.find('>', begin)));  // as TinyXML reads it
  if (tag.substr(begin, kOpening.size()) != kOpening) return {};
  for (std::size_t at = begin; (at = tag.find(kName, at + 1)) != tag.npos;) {
    const std::size_t sign = tag.find_first_not_of(kBlanks, at + kName.size());
    if (kBlanks.find(tag[at - 1]) == kBlanks.npos || sign == tag.npos || tag[sign] != '=') continue;
    const std::size_t quote = tag.find_first_not_of(kBlanks, sign + 1);
    if (quote == tag.npos || (tag[quote] != '"' && tag[quote] != '\'')) return {};
    const std::size_t end = tag.find(tag[quote], quote + 1);
    return end == tag.npos ? TextRange{} : TextRange{quote + 1, end};
  }
  return {};
}

DecodedXml decodeXml(std::string document) {
  DecodedXml decoded;
  const auto form = std::find_if(kWideForms.begin(), kWideForms.end(), [&](const WideForm& wide) {
    // Without a mark a second character tells UTF-16 from a NUL that damage has left.
    const bool sure = wide.mark > 0 || (document.size() > 3 && document[wide.little ? 3 : 2] == 0);
    return sure && document.starts_with(wide.start);
  });
  if (form != kWideForms.end() && form->unit == 4) {
    decoded.text = std::move(document);
    setError(decoded, Kind::UnknownEncoding, 0, "the encoding UTF-32 is not supported");
    return decoded;
  }
  decoded.marked = document.starts_with(kUtf8Mark);
  if (decoded.marked) {
    document.erase(0, kUtf8Mark.size());
  } else if (form != kWideForms.end()) {
    document =
        decodeUtf16(std::string_view(document).substr(form->mark), form->little, decoded.badPlaces);
    decoded.reencoded = true;
  }
  decoded.text = std::move(document);
  setErrorAtBadPlace(decoded, "UTF-16");
  decoded.encodingName = findEncodingName(decoded.text);
  const std::string name = lowerCase(decoded.encodingName.of(decoded.text));
  if (name.empty() || name == "utf-8" || name == "utf8") return decoded;
  const bool isUtf8 = decoded.marked || decoded.reencoded;
  decoded.reencoded = true;
  if (isUtf8 || readsAsUtf8(name)) return decoded;

  const std::string_view declared = decoded.encodingName.of(decoded.text);
  const std::optional<std::u16string> wide = fromCharset(systemName(name), decoded.text);
  // A name that makes something else of the declaration itself cannot be meant.
  const std::string text = wide ? toUtf8(*wide) : std::string();
  const TextRange nameInText = findEncodingName(text);
  if (nameInText.of(text) != declared) {
    setError(decoded, Kind::UnknownEncoding, decoded.encodingName.begin,
             "the encoding \"" + std::string(declared) + "\" is not known");
    return decoded;
  }
  const std::string encoding(declared);  // a part of the text that is replaced
  decoded.text = text;
  decoded.encodingName = nameInText;  // may stand behind a character that has grown
  findReplacements(decoded.text, decoded.badPlaces);
  setErrorAtBadPlace(decoded, encoding);
  return decoded;
}

std::size_t declareUtf8(const DecodedXml& document, std::string& head) {
  const TextRange& name = document.encodingName;
  if (!document.reencoded || name.size() == 0 || name.end > head.size()) return 0;
  head.replace(name.begin, name.size(), kUtf8);
  return kUtf8.size() - name.size();
}

}  // namespace tessaron
