// Writes what a target begins with, of which there may be nothing: make_seeds TARGET FOLDER MEDIA
// MEDIA is a folder with a file of each kind.

#include <stdlib.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include "records/record_cells.h"
#include "records/record_json.h"
#include "records/record_set.h"
#include "settings/reg_key.h"
#include "support/bytes.h"
#include "support/fingerprint.h"
#include "support/json_writer.h"
#include "support/picture_samples.h"
#include "support/record_samples.h"
#include "support/sound_builder.h"
#include "support/text.h"
#include "support/tiff_builder.h"

namespace {

std::string contentOf(const std::filesystem::path& path) {
  std::ifstream file(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(file), {}};
}

// All that a camera may tell, numbers in each of their types.
std::string cameraTags(bool bigEndian, std::uint16_t type) {
  constexpr std::uint16_t kTexts[] = {0x010E, 0x013B, 0x8298, 0x010F, 0x0110,
                                      0xA434, 0x0131, 0x0132, 0x9003, 0x9004};
  constexpr std::uint16_t kNumbers[] = {0x829A, 0x829D, 0x8822, 0x8827, 0x9201, 0x9202, 0x9203,
                                        0x9204, 0x9205, 0x9206, 0x9207, 0x9208, 0x9209, 0xA20B,
                                        0x920A, 0xA405, 0xA402, 0xA403, 0xA404, 0xA001};
  TiffBuilder tiff(bigEndian);
  const bool isPair = type == 5 || type == 10;
  for (const std::uint16_t number : kTexts) {
    const bool isMain = number < 0x8000 || number == 0x8298;
    tiff.putBytes(number, 2, std::string("2024:05:06 07:08:09\0", 20),
                  isMain ? TiffBuilder::kMain : TiffBuilder::kExif);
  }
  for (const std::uint16_t number : {0x9C9B, 0x9C9C, 0x9C9D, 0x9C9E, 0x9C9F})
    tiff.putBytes(static_cast<std::uint16_t>(number), 1, std::string("a\0\xE4\0\0\0", 6));
  for (const std::uint16_t number : kNumbers)
    tiff.put(number, type, isPair ? std::vector{7u, 2u} : std::vector{2u}, TiffBuilder::kExif);
  tiff.put(0x0112, 3, {type});
  const std::string comments[] = {std::string("ASCII\0\0\0note", 12),
                                  std::string("UNICODE\0n\0o\0", 12),
                                  std::string("JIS\0\0\0\0\0note", 12), std::string(12, '\0')};
  tiff.putBytes(0x9286, 7, comments[type % 4], TiffBuilder::kExif);
  tiff.putBytes(0x9000, 7, "0232", TiffBuilder::kExif);
  for (const std::uint16_t number : {2, 4})
    tiff.put(number, 5, {48, 1, 51, 1, 277, 10}, TiffBuilder::kGps);
  for (const std::uint16_t number : {1, 3})
    tiff.putBytes(number, 2, type % 2 == 0 ? "S" : "W", TiffBuilder::kGps);
  tiff.put(6, 5, {421, 10}, TiffBuilder::kGps).putBytes(5, 1, "\1", TiffBuilder::kGps);
  return tiff.build();
}

std::vector<std::string> pictures() {
  std::vector<std::string> files;
  for (const auto format :
       {FIF_PNG, FIF_BMP, FIF_TIFF, FIF_GIF, FIF_ICO, FIF_TARGA, FIF_JPEG, FIF_WEBP})
    files.push_back(makePicture(format, 16, 16));
  using Colors = JpegSample::Colors;
  for (const Colors colors : {Colors::Grey, Colors::Cmyk, Colors::InvertedCmyk})
    for (const bool progressive : {false, true})
      files.push_back(
          makeJpeg({.width = 20, .height = 9, .colors = colors, .progressive = progressive}));
  for (const bool bigEndian : {false, true}) {
    TiffBuilder tiff(bigEndian);
    tiff.putBytes(33723, 4, std::string(64, '\x1C')).put(0x8827, 3, {400}, TiffBuilder::kExif);
    tiff.put(0x829A, 5, {1, 60}, TiffBuilder::kExif).put(6, 5, {421, 10}, TiffBuilder::kGps);
    files.push_back(tiff.build());
    files.push_back(withExif(makeJpeg({8, 8}), tiff.build()));
    for (const std::uint16_t type : {1, 3, 4, 5, 6, 8, 9, 10})
      files.push_back(withExif(makeJpeg({8, 8}), cameraTags(bigEndian, type)));
  }
  return files;
}

// Device-independent bitmaps: packed, with masks, of the older kind, upside down.
std::vector<std::string> bitmaps() {
  const std::string packed =
      bytes({3, 1, 0, 4, 1, 2, 3, 4, 0, 2, 1, 1, 0, 3, 1, 2, 3, 0, 2, 5, 0, 0, 9, 1, 0, 1});
  const std::string masks = le32(0xF800) + le32(0x07E0) + le32(0x001F);
  std::vector<std::string> files;
  const auto add = [&](std::uint32_t size, std::uint32_t bits, std::uint32_t coding,
                       const std::string& behind, std::int32_t height = 6) {
    const auto rows = static_cast<std::uint32_t>(height);
    const std::string measures = size == 12 ? le16(8) + le16(rows) : le32(8) + le32(rows);
    const std::string rest = size == 12 ? "" : le32(coding) + std::string(size - 20, '\0');
    const std::uint32_t at = 14 + size + (bits <= 8 ? (size == 12 ? 3u : 4u) << bits : 0);
    const std::string palette(bits <= 8 ? at - 14 - size : 0, '\x40');
    files.push_back("BM" + le32(0) + le32(0) + le32(at) + le32(size) + measures + le16(1) +
                    le16(bits) + rest + palette + behind);
  };
  add(40, 8, 1, packed);
  add(40, 4, 2, packed);
  add(12, 8, 0, std::string(64, '\1'));
  add(12, 1, 0, std::string(64, '\1'));
  for (const std::uint32_t bits : {16u, 32u}) add(40, bits, 3, masks + std::string(256, '\x5A'));
  add(108, 32, 6, std::string(256, '\x5A'));
  add(124, 16, 3, std::string(256, '\x5A'));
  add(40, 24, 0, std::string(256, '\x5A'), -6);
  add(64, 4, 0, std::string(64, '\1'));
  return files;
}

// An AVI film with indexes of both kinds, and a second part.
std::string film() {
  const std::string times = le32(1) + le32(25);
  const auto header = [&](const char* kind) {
    return riffChunk("strh", std::string(kind) + "XVID" + std::string(12, '\0') + times + le32(0) +
                                 le32(50) + std::string(8, '\0') + le32(0) + std::string(8, '\0'));
  };
  const std::string index = le16(4) + bytes({0, 0}) + le32(1) + "00dc" + std::string(12, '\0') +
                            le32(600) + le32(0) + le32(64) + le32(60);
  const std::string picture = riffChunk(
      "strf", le32(40) + le32(96) + le32(64) + le16(1) + le16(24) + "XVID" + std::string(20, '\0'));
  const std::string sound =
      riffChunk("strf", le16(0xFFFE) + le16(2) + le32(48000) + le32(192000) + le16(4) + le16(16) +
                            le16(22) + le16(16) + le32(3) + le16(1) + std::string(14, '\0'));
  const std::string streams =
      riffChunk("LIST", "strl" + header("vids") + picture + riffChunk("indx", index)) +
      riffChunk("LIST", "strl" + header("auds") + sound + riffChunk("indx", index)) +
      riffChunk("LIST", "strl" + header("txts"));
  const std::string head =
      riffChunk("LIST", "hdrl" + riffChunk("avih", le32(40000) + std::string(52, '\0')) + streams +
                            riffChunk("LIST", "odml" + riffChunk("dmlh", le32(70))));
  const std::string table =
      riffChunk("ix00", le16(2) + bytes({0, 1}) + le32(2) + "00dc" + std::string(12, '\0') +
                            le32(4) + le32(9) + le32(20) + le32(0x80000009));
  std::string file =
      "RIFF" + le32(4000) + "AVI " + head + riffChunk("LIST", "INFO" + riffChunk("ISFT", "maker"));
  file.resize(std::max<std::size_t>(file.size(), 600), '\0');
  return file + table + riffChunk("idx1", "00dc" + le32(16) + le32(4) + le32(9)) +
         riffChunk("RIFF", "AVIX");
}

// A document in each encoding.
std::vector<std::string> encodings() {
  const std::string text = "<R a='\xC3\xA4'><B>\xE2\x82\xAC &amp;</B><![CDATA[ ]]></R>";
  std::vector<std::string> files;
  for (const char* name : {"utf-8", "iso-8859-1", "windows-1250", "koi8-r", "shift_jis", "x"})
    files.push_back("<?xml version='1.0' encoding='" + std::string(name) + "'?>" + text);
  const std::u16string wide = tessaron::fromUtf8(files[0]);
  for (const bool bigEndian : {false, true})
    for (const std::u16string& marked : {wide, u'\xFEFF' + wide}) {
      std::string& file = files.emplace_back();
      for (const char16_t unit : marked) {
        const std::string low(1, static_cast<char>(unit)), high(1, static_cast<char>(unit >> 8));
        file += bigEndian ? high + low : low + high;
      }
    }
  files.push_back("\xEF\xBB\xBF" + text);
  files.push_back(std::string("\xFF\xFE\0\0<\0\0\0", 8));
  return files;
}

std::vector<std::string> icons() {
  std::vector<std::string> files;
  const std::string png = makePicture(FIF_PNG, 16, 16);
  const std::string frame = bytes({16, 16, 0, 0, 1, 0}) + le16(32);
  files.push_back(' ' + le16(0) + le16(1) + le16(1) + frame +
                  le32(static_cast<std::uint32_t>(png.size())) + le32(22) + png);
  files.push_back(' ' + makePicture(FIF_ICO, 16, 16));
  for (const std::uint32_t bits : {1u, 4u, 8u, 16u, 32u}) {
    const std::string palette(bits <= 8 ? std::size_t{4} << bits : 0, '\x77');
    const std::string dib = le32(40) + le32(8) + le32(16) + le16(1) + le16(bits) +
                            std::string(24, '\0') + palette + std::string(8 * bits + 32, '\x5A');
    files.push_back(' ' + le16(0) + le16(1) + le16(1) + bytes({8, 8, 0, 0, 1, 0}) + le16(bits) +
                    le32(static_cast<std::uint32_t>(dib.size())) + le32(22) + dib);
  }
  return files;
}

std::vector<std::string> sounds() {
  return {id3Tag(4, id3Text(4, "TIT2", "Lied")) + mpegFrames(3),
          id3Tag(3, id3Text(3, "TPE1", "Ann"), 0x80) + mpegFrames(3),
          asfFile({"Lied", "Ann", "", "", ""}, {{"WM/Genre", "Jazz"}},
                  {{"WM/TrackNumber", 7}, {"WM/EncodingTime", 133000000000000000}}),
          wavFile(riffChunk("LIST", "INFO" + riffChunk("INAM", "Lied"))),
          flacFile({{"TITLE", "Lied"}}, 8),
          mp4Box("ftyp", "M4A ") + mp4Box("moov", mp4Box("udta", mp4Box("meta", be32(0))))};
}

// The settings' file with a value of each kind, and such values.
std::vector<std::string> settings() {
  namespace fs = std::filesystem;
  const fs::path folder = fs::temp_directory_path() / ("seeds." + std::to_string(getpid()));
  setenv("TESSARON_SETTINGS", (folder / "settings.db").c_str(), 1);
  {
    CRegKeyEx key;
    bool flag = true;
    std::u16string text = u"me@example.org";
    std::vector<std::u16string> texts = {u"a", u"b"};
    key.Create(HKEY_CURRENT_USER, u"Software\\Tessaron\\Options");
    key.SetBoolValueEx(u"ViewToolbar", flag);
    key.SetStringValueEx(u"AccountEmail", text);
    key.SetVectorStringValueEx(u"CustomIcons", texts);
  }
  const std::string content = contentOf(folder / "settings.db");
  fs::remove_all(folder);
  std::string damaged = content, newer = content;
  damaged.replace(100, 8, 8, '\x55');  // the head of the first page
  newer.replace(60, 4, 4, '\x11');     // the version
  const std::string zero(1, '\0'), texts("a\0\0\0b\0\0\0\0\0", 10);
  return {zero + content,
          zero + damaged,
          zero + newer,
          zero + content.substr(0, content.size() / 2),
          zero,
          zero + "text",
          "\1" + texts.substr(0, 4),
          "\3" + texts,
          "\4" + texts.substr(0, 4),
          "\7" + texts,
          "\1" + texts.substr(0, 5)};
}

// Records of edits in front of the collections that these have left.
std::vector<std::string> histories() {
  const std::string before = "<Item><ASIN>A1</ASIN><Notes>old</Notes></Item>";
  const std::string after = "<Item><ASIN>A1</ASIN></Item>";
  const std::string head =
      "tessaron-history 1\nverb set\ntime 2026-11-22T02:13:05Z\n"
      "local 2026-11-22 03:13:05\nundoes 0\nitems\n";
  const std::string end(1, '\0');
  const auto collection = [](const std::string& items) {
    return "<R><Items>" + items + "</Items></R>";
  };
  const auto item = [](const std::string& old, const std::string& now) {
    char line[200];
    std::snprintf(line, sizeof line, "item 0 %016llx %zu 2 %zu\nA1",
                  static_cast<unsigned long long>(tessaron::fingerprint(now)), now.size(),
                  old.size());
    return line + old + '\n';
  };
  return {head + item(before, after) + "end 0 1 0 0 0 A1\n" + end + collection(after),
          head + item(before, "") + "end 0 0 1 0 0 A1\n" + end + collection("<Item/>"),
          head + item("", after) + "end 1 0 0 0 0 A1\n" + end + collection(after)};
}

// A description with all that a theme may have.
std::vector<std::string> packages() {
  std::vector<std::string> files = {
      "\1<p author='a' email='e' url='u' name='n'><description>d</description>"
      "<theme name='x' screenshot='a.png' author='a'><colors><c name='a' value='#FF0000'/></colors>"
      "<templates><t mode='fullframe' file='b.png'/><t mode='list' file='a.png'/></templates>"
      "<virtualshelf background='a.png' uwidth='1' uheight='2' uhspace='1' uvspace='2'>"
      "<g name='Book' image='a.png' olx='1' oly='1' olwidth='9' "
      "olheight='9'/></virtualshelf></theme></p>",
      "\1<p><theme name='x' screenshot='z.png'><colors><c name='a' value='red'/></colors>"
      "<virtualshelf background='a.png' uwidth='x'><g name='g' image='b.png' olx='1.5'/>"
      "</virtualshelf></theme><theme/></p>",
      "\1<p", std::string(1, '\0') + "<i"};
  for (const char* name : {"COM1.png", "nul", "a/b", "c:d", "a\1", "a?b", "a.", "A.PNG",
                           "x &amp; y", "package.part", "", " "})
    files.push_back(std::string(1, '\0') +
                    "<i><f id='1' filename='main.xml'/><f id='2' filename='a.png'/>"
                    "<f id='3' filename='" +
                    name + "'/><f id='2' filename='b.png'/></i>");
  return files;
}

// Folders to pack, see the target.
std::vector<std::string> folders() {
  const std::string zero(1, '\0');
  return {"a.png\nx" + zero + "x & y\nz" + zero + "sub & sub\n&",
          "MAIN.XML\n<p/>",
          "empty\n",
          "a?b\nx",
          "\xFF\nx",
          "A\n1" + zero + "a\n2",
          "main.xml\n<p" + zero + "b\n1"};
}

/// A request of each kind; the first byte lets it in.
std::vector<std::string> requests() {
  std::vector<std::string> files;
  for (const char* target : {"/", "/page.js", "/api/collection",
                             "/api/items?query=tide%20x:y&sort=-title&from=0&count=2",
                             "/api/items?query=due:..7d%20-lent", "/api/items/A1",
                             "/covers/A1?size=small", "/%zz?a=%ff", "/api/items/%40x"})
    files.push_back(std::string("\2GET ") + target + " HTTP/1.1\r\nRange: bytes=0-1\r\n\r\n");
  for (const char* list : {"?sort=-title,asin", "?query=tides&sort=title&from=1&count=1", "?sort=x",
                           "?count=0", "?from=9"})
    files.push_back("\2GET /api/items" + std::string(list) + " HTTP/1.1\r\n\r\n");
  // Without the secret: names, addresses and passwords.
  for (const char* head :
       {"Host: shelf.example:8443\r\nAuthorization: Basic eDp0aWRl", "Host: shelf.example:8443",
        "Host: 10.0.0.7:8443\r\nAuthorization: basic OnRpZGUx", "Host: [::1]:8443", "Host: x",
        "Host: shelf.example:8443\r\nAuthorization: Basic eDp0aWRl\r\nSec-Fetch-Site: cross-site",
        "Host: shelf.example:8443\r\nOrigin: https://shelf.example:8443\r\nAuthorization: Basic "
        "eDp0aWRl",
        "Host: 127.0.0.1:8000\r\nCookie: tessaron-8000=x; y=z"})
    for (const char* target : {"/", "/?token=x", "/api/collection"})
      files.push_back(std::string(1, '\0') + "GET " + target + " HTTP/1.1\r\n" + head + "\r\n\r\n");
  const struct {
    const char *method, *target, *body;
  } edits[] = {
      {"PATCH", "/api/items/A1",
       R"({"notes":"n","set":["a=b"],"fields":{"author":["I"],"pages":12},"status":"favorite"})"},
      {"PATCH", "/api/items/A1", R"({"noStatus":true,"fields":{"custom.x":null,"price":"$3"}})"},
      {"POST", "/api/items/A1/lend", R"({"to":" Mira ","due":"+14d"})"},
      {"POST", "/api/items/A1/return", "{}"},
      {"DELETE", "/api/items/A1", ""},
      {"DELETE", "/api/items/@0123456789abcdef", ""},
      {"PATCH", "/api/items/Z9", R"({"notes":"n"})"},
      {"PATCH", "/api/items/A1", R"({"note":"n"})"},
      {"PATCH", "/api/items/A1", R"({"fields":{"no such":1},"x":"\u0001"})"},
      {"POST", "/api/items/A1/lend", R"({"due":"+14d"})"},
      {"POST", "/api/items", R"({"title":"T","authors":["I V"],"isbn":"0306406152","again":true})"},
      {"POST", "/api/undo", "{}"},
      {"POST", "/api/redo", "{}"},
      {"POST", "/api/import?name=a.csv", "title,author\nSalt Roads,Orla\n"},
      {"POST", "/api/import?name=a.xml",
       "<PriceTracker><Items><Item><ASIN>B</ASIN></Item></Items>"},
  };
  for (const auto& edit : edits) {
    const std::string body = edit.body;
    files.push_back(std::string("\2") + edit.method + ' ' + edit.target +
                    " HTTP/1.1\r\nIf-Match: *\r\nContent-Type: application/json\r\n" +
                    "Content-Length: " + std::to_string(body.size()) + "\r\n\r\n" + body);
  }
  return files;
}

// Records with all that they may have, as a collection and in JSON.
std::vector<CRecord> records() {
  std::vector<CRecord> all;
  for (std::uint32_t seed = 0; seed < 12; ++seed) all.push_back(tessaron::randomRecord(seed));
  return all;
}

std::vector<std::string> recordSets() {
  std::vector<std::string> files;
  for (const CRecord& record : records()) {
    CRecordSet set;
    set.records = {record};
    set.toString(files.emplace_back());
  }
  std::vector<std::string> others = encodings();
  files.insert(files.end(), others.begin(), others.end());
  // What is read only.
  const std::string price =
      "<Price><Amount>1234</Amount><FormattedPrice>EUR 1.234,50</FormattedPrice></Price>";
  const std::string offer =
      "<Offer><Seller><SellerId>1</SellerId><Nickname>N</Nickname><Location><State>S</State>"
      "<Country>C</Country></Location></Seller><OfferAttributes><Condition>new</Condition>"
      "<ConditionNote>n</ConditionNote></OfferAttributes><OfferListing><OfferListingId>2</"
      "OfferListingId>" +
      price + "<Availability>now</Availability></OfferListing></Offer>";
  files.push_back(
      "<R><Items><Item status='3' icon='2'><ASIN>A</ASIN><Offers>" + offer + offer +
      "</Offers><EditorialReviews><EditorialReview><Content>x</Content></EditorialReview>"
      "</EditorialReviews><Languages><Language><Name>N</Name><Type>T</Type></Language></Languages>"
      "<CustomerReviews><AverageRating>4.5</AverageRating></CustomerReviews></Item></Items></R>");
  for (const char* text : {"$12.99",
                           "\xE2\x82\xAC"
                           "12,34",
                           "\xC2\xA5"
                           "1,980",
                           "1'234.50 CHF", "-3", "1.2.3", "$.50"})
    files.push_back("<R><FormattedPrice>" + std::string(text) + "</FormattedPrice></R>");
  return files;
}

std::vector<std::string> jsonRecords() {
  std::vector<std::string> files;
  for (const CRecord& record : records()) {
    tessaron::JsonWriter json(files.emplace_back());
    json.beginArray();
    tessaron::writeRecord(record, {2024, 2, 4, 29, 12, 0, 0, 0}, json);
    json.endArray();
  }
  files.push_back(
      R"( [{"title":"\ud83d\ude00\b\f\n\r\t\/\\\"\u00e4","pages":-1.5e+3,"x":[true,false,null,{}]}, 1] )");
  // A value of each kind for fields of all kinds.
  for (const char* key :
       {"title", "authors", "pages", "listPrice", "copies", "status", "loans", "files", "discs",
        "reviews", "customFields", "folders", "offers", "offerListing", "hasNotes"}) {
    std::string& file = files.emplace_back("[");
    for (const char* value :
         {"\"t\"", "7", "-1", "1e9", "1.5", "true", "null", "[]", "{}", R"(["a",1,null])",
          R"([{"x":1},{"path":"p","size":5}])",
          R"({"a":"b","value":3,"files":[{"path":"p","name":"n","size":5000000000}]})", "[[[1]]]"})
      file.append(file.size() > 1 ? "," : "")
          .append("{\"")
          .append(key)
          .append("\":")
          .append(value)
          .append("}");
    file += ']';
  }
  files.push_back(R"({"title":"\ud83d","year":01})");
  return files;
}

std::vector<std::string> tables() {
  std::string heading, cells;
  for (const std::string& name : tessaron::recordColumns()) {
    heading.append(heading.empty() ? "" : "\t").append(name);
    cells.append(cells.empty() ? "B000000001" : "\t'=x\\t\\n\\\\y");
  }
  std::string commas = heading + '\n' + cells + '\n';
  std::replace(commas.begin(), commas.end(), '\t', ',');
  return {heading + '\n' + cells + "\nA\tB\n",
          commas,
          "title,author,own,isbn\n\"A &amp; &#66;&#x43;\",\"B\n\"\"C\"\"\",7,0306406152 "
          "9780306406157\nx\n",
          "title;own\r\n\"a\"b;c\r\n\"open",
          "x\ty\n1\t2\n",
          "ASIN\ttitle\nA\t\\q\\\n"};
}

// Collections that are damaged in many ways.
std::vector<std::string> damagedCollections() {
  const std::string item = "<Item><ASIN>A1</ASIN><Title>T\xC3\xA4</Title></Item>";
  const std::string begin = "<R><Items>" + item, end = item + "</Items></R>";
  std::vector<std::string> files;
  for (const char* damage : {"",
                             "&",
                             "<Item><ASIN>A2</Item>",
                             "<Item><ASIN>A2</ASIN>",
                             "</Item>",
                             "</Items>",
                             "<",
                             "<!--",
                             "<![CDATA[",
                             "<x a='",
                             "<x a=1 a=2/>",
                             "<x\1>",
                             "\xFF\xC3",
                             "<Item/><Details>",
                             "<?",
                             "<Item>\x1A",
                             "<Item><!--\x1A-->",
                             "<Item><![CDATA[\x1A]]>",
                             "\x19",
                             "<\x19/>",
                             "<Item a='\x19'/>",
                             "<!--\x19-->",
                             "<!--\x19",
                             "<Item>\x19&#x41;\x19",
                             "<!-- a<Item><ASIN>A3</ASIN></Item><!-- b -->",
                             "<Item><!-- a<Item><ASIN>A3</ASIN></Item><!-- b --></Item>",
                             "<Item><![CDATA[ a<Item><ASIN>A3</ASIN></Item><![CDATA[ b]]></Item>",
                             "<!DOCTYPE a<Item><ASIN>A3</ASIN></Item>",
                             "<Item></Items></R>",
                             "]]>",
                             "<!DOCTYPE R>"})
    files.push_back(begin + damage + end);
  files.push_back(begin + std::string(1, '\0') + end);
  for (const char* encoding : {"iso-8859-1", "utf-16", "shift_jis"})
    files.push_back("<?xml version='1.0' encoding='" + std::string(encoding) + "'?>" + begin +
                    "\x81&<Item>" + end);
  for (const char* text : {"\xC3\xA4\xE2\x82\xAC", "\xE4\xF6\xFC\xDF\xE4\xF6\xFC\xDF"})
    files.push_back("<?xml version='1.0' encoding='x'?><R><Items><Item><ASIN>A1</ASIN><Title>" +
                    std::string(text) + "</Title></Item></Items></R>");
  files.push_back(item + item);
  files.push_back("<Items>" + end);
  files.push_back(begin + "</Items></R>" + begin + end);
  files.push_back("<R>" + item + "<Details><Asin>B</Asin></Details><Details>");
  for (std::string& file : files) file += '\n';
  return files;
}

std::vector<std::string> documents() {
  std::vector<std::string> files = encodings();
  for (std::string& damaged : damagedCollections()) files.push_back(std::move(damaged));
  for (const char* text :
       {"<a b=c d='&#xD83D;&#xDE00;&x'/>", "<!DOCTYPE a><a/>", "<!DOCTYPE a [<!ENTITY b 'c'>]><a/>",
        "<?p q?><a>&#1;&#x41;&lt;&quot; & b</a>", "<?p <a> ?><a/>", "<a b=c'/>", "<a b/>", "<a /x>",
        "<a></b>", "<a>&#;</a>", "<a><![CDATA[ ]]>b<c/>d<![CDATA[ ]]></a>",
        "<a><b>1</b><!--x--><b>2</b></a>", "<a", "<?xml version='1.0' standalone", "</a>", "<a/>b",
        "<a/><b/>"})
    files.emplace_back(text);
  files.push_back("<a b='" + std::string(1, '\0') + "'>" + std::string(1, '\0') + "</a>");
  return files;
}

// Orders of a list; the script adds queries.
std::vector<std::string> orders() {
  return {"title",  "-title,author", "pages,-price", "due,-added", "status.name,group",
          "rating", "custom.shelf",  "-year,title",  "x",          "title,,author"};
}

// Titles and names in the forms that languages have, each by the rules of one.
std::vector<std::string> names() {
  std::vector<std::string> files;
  for (const char language : {'\0', '\1', '\2', '\3', '\4', '\5', '\6', '\7'})
    for (const char* text :
         {"The Left Hand of Darkness", "L'\xC3\x89tranger", "Die Blechtrommel", "A", "The",
          "\"The\" Book", "(Un) Libro", "de la Cruz, Juana", "Ursula K. Le Guin",
          "Ludwig van Beethoven", "Dr. Martin Luther King, Jr.", "Vincent van 't Hoff", "d'Arc",
          "  Los  \xC2\xA0"
          "detectives ",
          "en", "deutsch", "fr_CA", "McIntyre III"})
      files.push_back(language + std::string(text));
  return files;
}

// Texts that were taken for one in another encoding, once or twice, and that only look so.
std::vector<std::string> garbledTexts() {
  std::vector<std::string> files;
  for (const char16_t* text :
       {u"Caf\u00C3\u00A9", u"\u00C3\u201Erger", u"\u00E2\u20AC\u0153quote\u00E2\u20AC\u009D",
        u"na\u00C3\u00AFve CAF\u00C3\u2030 S\u00C3O", u"\u00D0\u009C\u00D0\u00B8\u00D1\u20AC",
        u"Caf\u00C3\u0192\u00C2\u00A9", u"\u00C5\u00A0koda \u00C4\u008Dz", u"3 \u00C3\u2014 4",
        u"Se\u00C3\u00B1or\u00E2\u20AC\u2122s", u"\u00C2\u00A9 2004 \u00C2\u00BBx\u00C2\u00AB",
        u"VOIL\u00C3\u20AC! \u00C3\u20AC la", u"x\u00C3\u2014y", u"\u00E3\u0081\u201A\u00E3\u0081",
        u"it\u00E2\u20AC\u2122s \u00E2\u20AC\u201C \u00E2\u20AC\u00A6", u"\u00C3", u"\U0001F600",
        u"d\u00C3\u00A9j\u00C3\u00A0 vu \u00C3", u"\u00CE\u2018\u00CE\u00B8", u"A\u00C2\u00B0B"}) {
    const std::u16string wide = text;
    files.push_back(tessaron::toUtf8(wide));
    files.emplace_back(reinterpret_cast<const char*>(wide.data()), wide.size() * 2);
  }
  return files;
}

std::vector<std::string> seedsOf(const std::string& target, const char* media) {
  if (target == "settings") return settings();
  if (target == "serve") return requests();
  if (target == "record_set" || target == "output") return recordSets();
  if (target == "import_json") return jsonRecords();
  if (target == "import_csv") return tables();
  if (target == "xml") return documents();
  if (target == "collection") return damagedCollections();
  if (target == "history") return histories();
  if (target == "query") return orders();
  if (target == "sort_form") return names();
  if (target == "text") return garbledTexts();
  if (target == "package") return packages();
  if (target == "package_writer") return folders();
  if (target == "icon") return icons();
  if (target == "tags") return sounds();
  if (target == "mpeg")
    return {mpegFrames(3), id3Tag(4, id3Text(4, "TIT2", "Lied")) + mpegFrames(3)};
  if (target == "riff") return {sounds()[3], film()};
  if (target == "picture") {
    std::vector<std::string> files = pictures();
    for (std::string& file : bitmaps()) files.push_back(std::move(file));
    return files;
  }
  if (target == "picture_metadata") return pictures();
  if (target != "content" && target != "file_info") return {};
  std::vector<std::string> files = pictures();
  for (const std::string& sound : sounds()) files.push_back(sound);
  if (target == "content") return files;
  for (const auto& file : std::filesystem::directory_iterator(media))
    files.push_back(contentOf(file.path()));
  std::vector<std::string> kinds;  // as each kind that the target knows
  for (const std::string& file : files)
    for (const char kind : {'\0', '\1', '\2', '\3'}) kinds.push_back(kind + file);
  return kinds;
}

}  // namespace

int main(int, char** arguments) {
  const std::filesystem::path folder = arguments[2];
  std::filesystem::create_directories(folder);
  int number = 0;
  for (const std::string& seed : seedsOf(arguments[1], arguments[3]))
    std::ofstream(folder / std::to_string(number++), std::ios::binary) << seed;
}
