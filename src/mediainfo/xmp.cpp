#include <algorithm>
#include <cstdlib>
#include <span>
#include <vector>

#include "mediainfo/angle_internal.h"
#include "mediainfo/content_picture_internal.h"
#include "mediainfo/labels.h"
#include "support/byte_reader.h"
#include "support/text.h"
#include "support/xml/tree.h"

namespace tessaron {
namespace {

using Element = XmlTree::Element;

constexpr std::size_t kMaxPacket = std::size_t{1} << 20;

struct Property {
  std::string_view name;  // with the usual prefix
  std::uint32_t label;
};
// Of several names for a label the first found counts.
constexpr Property kProperties[] = {
    {"dc:title", label::kPictureTitle},
    {"photoshop:Headline", label::kPictureTitle},
    {"dc:description", label::kDescription},
    {"dc:creator", label::kPictureAuthor},
    {"dc:rights", label::kPictureCopyright},
    {"dc:subject", label::kKeywords},
    {"pdf:Keywords", label::kKeywords},
    {"xmp:CreatorTool", label::kCreationSoftware},
    {"xmp:Rating", label::kRating},
    {"exif:DateTimeOriginal", label::kDateTaken},
    {"photoshop:DateCreated", label::kDateTaken},
    {"xmp:CreateDate", label::kDateCreated},
    {"xmp:ModifyDate", label::kDateModified},
};
constexpr Property kPlaces[] = {{"exif:GPSLatitude", label::kLatitude},
                                {"exif:GPSLongitude", label::kLongitude}};

// The values of a property: a text, a list, or the same in several languages, of which the first
// counts.
std::u16string valueOf(Element property) {
  const Element list = property.firstChild();
  if (!list) return property.elementText();
  std::u16string text;
  for (const Element item : list.children()) {
    if (!text.empty()) text += u"; ";
    text += item.elementText();
    if (list.name() == "rdf:Alt") break;
  }
  return text;
}

void add(std::uint32_t label, std::u16string text, PropertyMap& map) {
  constexpr std::u16string_view kBlanks = u" \t\r\n";
  text.erase(text.find_last_not_of(kBlanks) + 1);
  text.erase(0, text.find_first_not_of(kBlanks));
  const bool isDate =
      label == label::kDateTaken || label == label::kDateCreated || label == label::kDateModified;
  if (isDate && text.size() > 10 && text[10] == u'T') text[10] = u' ';
  if (!text.empty()) map.emplace(label, std::move(text));
}

void addDescription(Element description, std::span<const Property> properties, PropertyMap& map) {
  for (const Property& property : properties) {
    if (const auto value = description.attribute(property.name))
      add(property.label, fromUtf8(*value), map);
    if (const Element child = description.child(property.name))
      add(property.label, valueOf(child), map);
  }
}

// "48,51.4936N" as 48° 51' 29.6" N.
std::u16string placeText(const std::u16string& text) {
  const std::string plain = toUtf8(text);
  char* end = nullptr;
  const double degrees = std::strtod(plain.c_str(), &end);
  if (*end != ',') return text;
  const double minutes = std::strtod(end + 1, &end);
  if (!(degrees >= 0 && degrees <= 180 && minutes >= 0 && minutes < 60) || *end == '\0')
    return text;
  return angleText(degrees + minutes / 60) + u' ' + static_cast<char16_t>(*end);
}

}  // namespace

void addXmp(std::string_view packet, bool wantsLocation, PropertyMap& map) {
  if (packet.empty() || packet.size() > kMaxPacket) return;
  XmlTree tree;
  tree.parse(packet.substr(0, packet.find('\0')));
  Element root = tree.root();
  if (!root) return;
  if (root.name() != "rdf:RDF") root = root.child("rdf:RDF");
  if (!root) return;
  PropertyMap places;
  for (const Element description : root.childrenNamed("rdf:Description")) {
    addDescription(description, kProperties, map);
    if (wantsLocation) addDescription(description, kPlaces, places);
  }
  for (auto& [label, text] : places) map.emplace(label, placeText(text));
}

// Reads records of IPTC-IIM 4.2, 1.6.
void addIptc(std::string_view records, PropertyMap& map) {
  constexpr std::uint8_t kMark = 0x1C, kRecord = 2, kCharset = 90;
  constexpr std::uint8_t kKeyword = 25, kAuthor = 80;
  struct Row {
    std::uint8_t number;
    std::uint32_t label;
  };
  constexpr Row kRows[] = {{5, label::kPictureTitle},       {kKeyword, label::kKeywords},
                           {55, label::kDateTaken},         {kAuthor, label::kPictureAuthor},
                           {116, label::kPictureCopyright}, {120, label::kDescription},
                           {105, label::kSubject}};
  PropertyMap found;
  bool isUtf8 = false;
  for (ByteReader reader(std::as_bytes(std::span(records))); reader.remaining() >= 5;) {
    if (reader.u8() != kMark) break;
    const std::uint8_t record = reader.u8(), number = reader.u8();
    const auto bytes = reader.bytes(reader.u16be());
    if (!reader.ok()) break;
    const std::string value(reinterpret_cast<const char*>(bytes.data()), bytes.size());
    if (record == 1 && number == kCharset) isUtf8 = value == "\x1B%G";
    const auto row = std::ranges::find(kRows, number, &Row::number);
    if (record != kRecord || row == std::end(kRows) || value.empty()) continue;
    std::u16string text = isUtf8 ? fromUtf8(value) : utf82wchar(value);
    if (row->label == label::kDateTaken && text.size() == 8)
      text = text.substr(0, 4) + u'-' + text.substr(4, 2) + u'-' + text.substr(6);
    std::u16string& entry = found[row->label];
    const bool isList = number == kKeyword || number == kAuthor;
    if (!entry.empty() && !isList) continue;
    entry += (entry.empty() ? u"" : u"; ") + text;
  }
  map.merge(found);
}

}  // namespace tessaron
