#include "mediainfo/content_info.h"

#include <gtest/gtest.h>

#include "platform/file.h"
#include "support/bytes.h"
#include "support/properties.h"
#include "support/text.h"

namespace {

using namespace std::string_literals;

// Describes a file in memory.
ContentInfo describe(const std::string& content, const std::u16string& name = u"\\x",
                     std::int32_t mask = 127) {
  ContentInfo info;
  info.wantsLocation = true;
  info.setDetectType(mask);
  EXPECT_TRUE(info.fromOpenFile(*tessaron::memoryFile(content), name));
  return info;
}

std::string described(const std::string& content) {
  const ContentInfo info = describe(content);
  return std::to_string(info.category) + ": " + line(info.info) + " | " + line(info.metaInfo);
}

std::string box(const std::string& type, const std::string& content) {
  return be32(static_cast<std::uint32_t>(content.size() + 8)) + type + content;
}
std::string chunk(const std::string& type, const std::string& content) {
  return type + le32(static_cast<std::uint32_t>(content.size())) + content +
         std::string(content.size() % 2, '\0');
}

const std::string kXmp =
    "<x:xmpmeta xmlns:x='adobe:ns:meta/'><rdf:RDF xmlns:rdf='r'><rdf:Description "
    "xmp:Rating='4' exif:GPSLatitude='48,51.5N' xmp:CreateDate='2024-05-06T07:08:09'>"
    "<dc:title><rdf:Alt><rdf:li>One</rdf:li><rdf:li>Eins</rdf:li></rdf:Alt></dc:title>"
    "<dc:subject><rdf:Bag><rdf:li>a</rdf:li><rdf:li>b</rdf:li></rdf:Bag></dc:subject>"
    "</rdf:Description></rdf:RDF></x:xmpmeta>";
const std::string kXmpText =
    "40201=One 40208=a; b 40237=48\u00B0 51' 30\" N 40309=4 40407=2024-05-06 07:08:09";

// A HEIF picture of 300 by 200 pixels with 10 bits, turned by 90 degrees, with XMP at its end.
std::string heif(std::uint32_t xmpSize = static_cast<std::uint32_t>(kXmp.size())) {
  const auto full = [](const std::string& content) { return be32(0) + content; };
  const auto make = [&](std::uint32_t xmpAt) {
    const std::string item =
        box("infe", be32(2u << 24) + be16(1) + be16(0) + "av01" + "\0"s) +
        box("infe", be32(2u << 24) + be16(2) + be16(0) + "mime\0application/rdf+xml\0"s);
    const std::string place = be16(2) + be16(0) + be16(1) + be32(xmpAt) + be32(xmpSize);
    const std::string properties =
        box("ispe", full(be32(300) + be32(200))) + box("pixi", full(bytes({3, 10, 10, 10}))) +
        box("irot", bytes({3})) + box("colr", "nclx" + be16(9) + be16(16) + be16(9) + "\0"s);
    const std::string links = full(be32(1) + be16(1) + bytes({4, 1, 2, 3, 4}));
    return box("ftyp", "avif" + be32(0) + "mif1") +
           box("meta", full(box("pitm", full(be16(1))) + box("iinf", full(be16(2) + item)) +
                            box("iloc", full(bytes({0x44, 0}) + be16(1) + place)) +
                            box("iprp", box("ipco", properties) + box("ipma", links))));
  };
  return make(static_cast<std::uint32_t>(make(0).size())) + kXmp;
}

std::string exif(const std::string& maker) {
  return "II*\0"s + le32(8) + le16(1) + le16(0x10F) + le16(2) +
         le32(static_cast<std::uint32_t>(maker.size())) + le32(26) + le32(0) + maker;
}

TEST(ContentInfo, TellsWhatIsInAFileWhateverItsName) {
  const std::string size = le32(300 - 1).substr(0, 3) + le32(200 - 1).substr(0, 3);
  const std::string webp = "WEBP" + chunk("VP8X", bytes({0x10, 0, 0, 0}) + size) +
                           chunk("EXIF", exif("Acme\0"s)) + chunk("XMP ", kXmp) +
                           chunk("ANMF", "") + chunk("ANMF", "");
  const std::string resources =
      "8BIM\x04\x04\0\0"s + be32(20) + "\x1C\2\5\0\3One\x1C\2\x19\0\2ab"s + std::string(5, '\0');
  const std::pair<std::string, std::string> rows[] = {
      {heif(),
       "32: 40002=30 bit 40003=300 x 200 40110=10 bit 40111=HDR 40112=90\u00B0 40401=AVIF"
       " | " +
           kXmpText},
      {chunk("RIFF", webp),
       "32: 40002=32 bit 40003=300 x 200 40401=WebP 40416=2 | "
       "40201=One 40208=a; b 40209=Acme 40237=48\u00B0 51' 30\" N 40309=4 "
       "40407=2024-05-06 07:08:09"},
      {bytes({0xFF, 0x0A, 0x31, 0xF1, 0x93, 0x09, 0x0C, 0x25, 0x01, 0x04}),
       "32: 40003=300 x 200 40110=16 bit 40401=JPEG XL | "},
      {bytes({0xFF, 0x0A, 0x31}), "1:  | "},
      {"qoif" + be32(300) + be32(200) + bytes({4, 0}),
       "32: 40002=32 bit 40003=300 x 200 40401=QOI | "},
      {"8BPS\0\1"s + std::string(6, '\0') + be16(3) + be32(200) + be32(300) + be16(16) + be16(3) +
           be32(0) + be32(static_cast<std::uint32_t>(resources.size())) + resources,
       "32: 40002=48 bit 40003=300 x 200 40401=Photoshop | 40201=One 40208=ab"},
      {"P6\n# made by hand\n300 200\n255\n", "32: 40002=24 bit 40003=300 x 200 40401=Netpbm | "},
      {"P6\nis what the text begins with", "1:  | "},
      {"<?xml version='1.0'?>\n<!-- <svg> --><svg viewBox='0 0 30 20' width='3in' height='2in'>"
       "<title>A &amp; B</title><g><title>no</title></g></svg>",
       "32: 40003=288 x 192 40401=SVG | 40201=A & B"},
      {"<FictionBook><description><title-info><book-title>T</book-title><author><first-name>A"
       "</first-name><last-name>B</last-name></author></title-info></description>",
       "4: 40401=FictionBook | 40301=T 40302=A B"},
      {"Rar!\x1A\7\1", "2: 40401=RAR | "},
      {"%!PS-Adobe-3.0 EPSF-3.0\n", "32: 40401=Encapsulated PostScript | "},
      {"%!PS-AdobeFont-1.0: X", "8: 40401=PostScript Font | "},
      {"\0\1\0\0\0\x10"s, "8: 40401=TrueType | "},
      {"\x0B\x77 is no sound", "1:  | "},
      {"MAC addresses of ours", "1:  | "},
      {"ID3 is what tags are called", "1:  | "},
      {"FWS: the lists of the year", "1:  | "},
      {"", "1:  | "},
      {"plain text", "1:  | "},
  };
  for (const auto& [content, expected] : rows) EXPECT_EQ(described(content), expected);
}

TEST(ContentInfo, ObeysTheMaskAndTheNameOnlyOfTexts) {
  EXPECT_EQ(describe("qoif", u"\\a.mp3", 127 - 32).category, 1);
  EXPECT_EQ(describe("From: me", u"\\a.EML").category, 4);
  EXPECT_EQ(describe("no sound", u"\\a.mp3").category, 1);
  EXPECT_FALSE(ContentInfo().fromOpenFile(*tessaron::memoryFile("x"), u"x"));
}

// Every cut and every changed byte of files with nested sizes is survived.
TEST(ContentInfo, SurvivesDamage) {
  EXPECT_EQ(line(describe(heif(0xFFFFFFFF)).metaInfo), kXmpText);  // a size beyond the file
  const std::string whole = heif();
  for (std::size_t at = 0; at < whole.size() - kXmp.size(); ++at) {
    describe(whole.substr(0, at));
    std::string changed = whole;
    changed[at] = static_cast<char>(0xFF);
    EXPECT_NE(describe(changed).category, 0);
  }
}

}  // namespace
