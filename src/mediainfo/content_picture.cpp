#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <optional>
#include <span>
#include <vector>

#include "mediainfo/content_picture_internal.h"
#include "mediainfo/heif_picture_internal.h"
#include "mediainfo/labels.h"
#include "support/byte_reader.h"
#include "support/pictures/loading.h"
#include "support/pictures/picture_source_internal.h"
#include "support/text.h"
#include "support/xml/scanner.h"
#include "support/xml/tree.h"
#include "support/zlib.h"

namespace tessaron {
namespace {

using namespace std::string_view_literals;

constexpr std::size_t kMaxBlock = std::size_t{1} << 20;  // of Exif, XMP or IPTC
constexpr int kMaxChunks = 10'000;

std::string_view textOf(std::span<const std::byte> bytes) {
  return {reinterpret_cast<const char*>(bytes.data()), bytes.size()};
}

std::string blockAt(PictureSource& source, std::uint64_t at, std::uint64_t size) {
  if (size > kMaxBlock) return {};
  return std::string(textOf(source.bytes(at, static_cast<std::size_t>(size))));
}

// Inflates a zlib stream to at most kMaxBlock bytes; empty when it is damaged or longer.
std::string inflated(std::string_view packed) {
  Inflater inflater;
  auto in = std::as_bytes(std::span(packed));
  std::string out(kMaxBlock, '\0');
  out.resize(inflater.inflate(in, std::as_writable_bytes(std::span(out))));
  return inflater.state() == Inflater::State::Ended ? out : std::string();
}

// The resources of Photoshop hold IPTC records, XMP and Exif, in its own files and within JPEG.
void readResources(std::string_view resources, PictureContent& picture) {
  ByteReader reader(std::as_bytes(std::span(resources)));
  while (reader.remaining() >= 12 && textOf(reader.bytes(4)) == "8BIM") {
    const std::uint16_t number = reader.u16be();
    const std::uint8_t name = reader.u8();
    reader.skip(name + (name + 1u) % 2);  // padded to an even length with its count
    const std::uint32_t size = reader.u32be();
    const std::string_view content = textOf(reader.bytes(size));
    reader.skip(reader.remaining() > 0 ? size % 2 : 0);
    if (!reader.ok()) return;
    if (number == 0x0404) picture.iptc = content;
    if (number == 0x0422 && picture.exif.empty()) picture.exif = content;
    if (number == 0x0424 && picture.xmp.empty()) picture.xmp = content;
  }
}

void readJpegSegments(PictureSource& source, PictureContent& picture) {
  constexpr std::string_view kXmp = "http://ns.adobe.com/xap/1.0/\0"sv;
  constexpr std::string_view kResources = "Photoshop 3.0\0"sv;
  constexpr int kMaxSegments = 256;
  std::uint64_t at = 2;
  for (int i = 0; i < kMaxSegments; ++i) {
    const auto head = source.bytes(at, 4);
    ByteReader reader(head);
    if (reader.u8() != 0xFF) return;
    const std::uint8_t marker = reader.u8();
    const std::uint16_t length = reader.u16be();
    if (!reader.ok() || marker == 0xDA || marker == 0xD9) return;
    if (marker == 0xE1 || marker == 0xED) {
      const std::string segment =
          blockAt(source, at + 4, length - std::min<std::uint32_t>(length, 2));
      if (segment.starts_with(kXmp)) picture.xmp = segment.substr(kXmp.size());
      if (segment.starts_with(kResources))
        readResources(std::string_view(segment).substr(kResources.size()), picture);
    }
    at += marker == 0xFF ? 1 : 2 + std::uint64_t{length};
  }
}

void addText(std::string_view name, std::string_view value, PropertyMap& texts) {
  struct Row {
    std::string_view name;
    std::uint32_t label;
  };
  // ISO/IEC 15948, 11.3.4.2
  constexpr Row kRows[] = {
      {"Title", label::kPictureTitle},        {"Author", label::kPictureAuthor},
      {"Description", label::kDescription},   {"Copyright", label::kPictureCopyright},
      {"Software", label::kCreationSoftware}, {"Creation Time", label::kDateCreated},
      {"Comment", label::kPictureComment}};
  const auto found = std::ranges::find(kRows, name, &Row::name);
  if (found != std::end(kRows) && !value.empty()) texts.emplace(found->label, fromUtf8(value));
}

// Reads a text chunk of PNG, of one of three kinds.
void readPngText(std::string_view kind, const std::string& chunk, PictureContent& picture) {
  const std::size_t end = chunk.find('\0');
  if (end == chunk.npos) return;
  const std::string_view name = std::string_view(chunk).substr(0, end);
  std::string_view rest = std::string_view(chunk).substr(end + 1);
  if (kind == "tEXt") return addText(name, toUtf8(char2wchar(std::string(rest))), picture.texts);
  if (rest.size() < 2) return;
  const bool isPacked = kind == "zTXt" || rest[0] == '\1';
  rest.remove_prefix(kind == "zTXt" ? 1 : 2);
  for (int i = 0; kind == "iTXt" && i < 2; ++i) {  // language, translated name
    const std::size_t stop = rest.find('\0');
    if (stop == rest.npos) return;
    rest.remove_prefix(stop + 1);
  }
  const std::string value = isPacked ? inflated(rest) : std::string(rest);
  if (name == "XML:com.adobe.xmp")
    picture.xmp = value;
  else
    addText(name, value, picture.texts);
}

void readPngChunks(PictureSource& source, PictureContent& picture) {
  std::uint64_t at = 8;
  for (int i = 0; i < kMaxChunks; ++i) {
    const auto head = source.bytes(at, 8);
    ByteReader reader(head);
    const std::uint32_t size = reader.u32be();
    const std::string kind(textOf(reader.bytes(4)));
    if (!reader.ok() || kind == "IEND") return;
    if (kind == "eXIf") picture.exif = blockAt(source, at + 8, size);
    if (kind == "acTL") picture.frames = ByteReader(source.bytes(at + 8, 4)).u32be();
    if (kind == "tEXt" || kind == "zTXt" || kind == "iTXt")
      readPngText(kind, blockAt(source, at + 8, size), picture);
    at += 12 + std::uint64_t{size};
  }
}

std::uint32_t u24le(ByteReader& reader) {
  const std::uint32_t low = reader.u16le();
  return low | std::uint32_t{reader.u8()} << 16;
}

// Reads the chunks of WebP (RFC 9649, 2.7).
void readWebp(PictureSource& source, PictureContent& picture) {
  std::uint64_t at = 12;
  std::uint32_t frames = 0;
  for (int i = 0; i < kMaxChunks && at < source.size(); ++i) {
    constexpr std::size_t kHeader = 18;
    const auto head = source.bytes(at, kHeader);
    ByteReader reader(head);
    const std::string_view kind = textOf(reader.bytes(4));
    const std::uint32_t size = reader.u32le();
    if (!reader.ok()) break;
    if (kind == "VP8X") {
      const bool hasAlpha = (reader.u8() & 0x10) != 0;
      reader.skip(3);
      picture.width = u24le(reader) + 1;
      picture.height = u24le(reader) + 1;
      picture.bits = hasAlpha ? 32 : 24;
    } else if (kind == "VP8 " && picture.width == 0) {
      reader.skip(6);  // frame tag and start code
      picture.width = reader.u16le() & 0x3FFF;
      picture.height = reader.u16le() & 0x3FFF;
      picture.bits = 24;
    } else if (kind == "VP8L" && picture.width == 0) {
      reader.skip(1);
      const std::uint32_t packed = reader.u32le();
      picture.width = (packed & 0x3FFF) + 1;
      picture.height = (packed >> 14 & 0x3FFF) + 1;
      picture.bits = (packed >> 28 & 1) != 0 ? 32 : 24;
    } else if (kind == "ANMF") {
      ++frames;
    } else if (kind == "EXIF") {
      picture.exif = blockAt(source, at + 8, size);
      if (picture.exif.starts_with("Exif\0\0"sv)) picture.exif.erase(0, 6);
    } else if (kind == "XMP ") {
      picture.xmp = blockAt(source, at + 8, size);
    }
    at += 8 + std::uint64_t{size} + size % 2;
  }
  if (frames > 1) picture.frames = frames;
}

// Reads the screen, which all frames share, and counts the frames of a file of usual size.
void readGif(PictureSource& source, PictureContent& picture) {
  constexpr std::uint64_t kMaxWalked = std::uint64_t{32} << 20;
  const auto screen = source.bytes(6, 7);
  ByteReader header(screen);
  picture.width = header.u16le();
  picture.height = header.u16le();
  const auto paletteSize = [](std::uint8_t flags) {
    return (flags & 0x80) != 0 ? std::uint64_t{6} << (flags & 7) : 0;
  };
  std::uint64_t at = 13 + paletteSize(header.u8());
  const auto byteAt = [&](std::uint64_t place) { return ByteReader(source.bytes(place, 1)).u8(); };
  std::uint32_t frames = 0;
  while (at < std::min(source.size(), kMaxWalked)) {
    const std::uint8_t mark = byteAt(at);
    if (mark == 0x2C) {
      ++frames;
      at += 11 + paletteSize(byteAt(at + 9));
    } else if (mark == 0x21) {
      at += 2;
    } else {
      break;
    }
    while (at < std::min(source.size(), kMaxWalked)) {
      const std::uint8_t size = byteAt(at);
      at += 1 + std::uint64_t{size};
      if (size == 0) break;
    }
  }
  if (frames > 1 && at < kMaxWalked) picture.frames = frames;
}

/// The directories of a TIFF file, of a camera's raw file too.
class TiffReader {
 public:
  TiffReader(PictureSource& source, PictureContent& picture) : source_(source), picture_(picture) {
    isBig_ = textOf(source.head()).starts_with("MM");
  }

  void read() {
    const auto head = source_.bytes(4, 4);
    ByteReader reader(head);
    std::vector<std::uint32_t> pending{u32(reader)};
    constexpr std::size_t kMaxDirectories = 16;
    for (std::size_t i = 0; i < pending.size() && i < kMaxDirectories; ++i)
      readDirectory(pending[i], i == 0, pending);
  }
  bool isDng() const { return isDng_; }

 private:
  std::uint16_t u16(ByteReader& reader) const { return isBig_ ? reader.u16be() : reader.u16le(); }
  std::uint32_t u32(ByteReader& reader) const { return isBig_ ? reader.u32be() : reader.u32le(); }

  void readDirectory(std::uint32_t at, bool isFirst, std::vector<std::uint32_t>& pending) {
    constexpr std::size_t kEntry = 12, kMaxEntries = 1000;
    if (at == 0 || at >= source_.size()) return;
    const auto count = source_.bytes(at, 2);
    ByteReader counted(count);
    const std::size_t entries = std::min<std::size_t>(u16(counted), kMaxEntries);
    const auto table = source_.bytes(at + std::uint64_t{2}, entries * kEntry + 4);
    ByteReader reader(table);
    std::uint32_t width = 0, height = 0;
    for (std::size_t i = 0; i < entries && reader.remaining() >= kEntry; ++i) {
      const std::uint16_t number = u16(reader), type = u16(reader);
      const std::uint32_t length = u32(reader);
      const auto value = reader.bytes(4);
      ByteReader inValue(value);
      const std::uint32_t plain = type == 3 ? u16(inValue) : u32(inValue);
      if (number == 0x0100) width = plain;
      if (number == 0x0101) height = plain;
      if (number == 0x014A) addDirectories(length, plain, pending);
      if (number == 0x02BC && isFirst) picture_.xmp = blockAt(source_, plain, length);
      if (number == 0x83BB && isFirst)
        picture_.iptc = blockAt(source_, plain, std::uint64_t{length} * (type == 4 ? 4 : 1));
      if (number == 0xC612 && isFirst) isDng_ = true;
    }
    // A raw file also holds its previews: the largest picture is the photograph.
    if (std::uint64_t{width} * height > std::uint64_t{picture_.width} * picture_.height) {
      picture_.width = width;
      picture_.height = height;
    }
  }

  void addDirectories(std::uint32_t count, std::uint32_t at, std::vector<std::uint32_t>& pending) {
    constexpr std::uint32_t kMax = 8;
    if (count == 1) return pending.push_back(at);
    const auto offsets = source_.bytes(at, std::size_t{4} * std::min(count, kMax));
    for (ByteReader reader(offsets); reader.remaining() >= 4;) pending.push_back(u32(reader));
  }

  PictureSource& source_;
  PictureContent& picture_;
  bool isBig_ = false;
  bool isDng_ = false;
};

// Exif within formats that begin as TIFF does but for their mark.
std::string remarked(PictureSource& source) {
  std::string tiff = blockAt(source, 0, std::min<std::uint64_t>(source.size(), kMaxBlock));
  tiff.replace(2, 2, "*\0"sv);
  return tiff;
}

void readTiff(PictureSource& source, PictureContent& picture) {
  TiffReader(source, picture).read();
  if (!textOf(source.head()).substr(2).starts_with('*') && textOf(source.head()).starts_with("II"))
    picture.exif = remarked(source);
}

// The JPEG picture that a Fujifilm raw file holds tells what Exif has.
void readRaf(PictureSource& source, PictureContent& picture) {
  constexpr std::size_t kExif = 12;  // bytes of the JPEG file before its Exif data
  ByteReader reader(source.head());
  reader.skip(84);
  const std::uint32_t at = reader.u32be();
  const std::uint32_t size = reader.u32be();
  if (reader.ok() && size > kExif)
    picture.exif = blockAt(source, at + std::uint64_t{kExif},
                           std::min<std::uint64_t>(size - kExif, kMaxBlock));
}

void readPhotoshop(PictureSource& source, PictureContent& picture) {
  ByteReader reader(source.head());
  reader.skip(26);
  const std::uint32_t colors = reader.u32be();
  const std::uint64_t at = 30 + std::uint64_t{colors};
  const auto length = source.bytes(at, 4);
  readResources(blockAt(source, at + 4, ByteReader(length).u32be()), picture);
}

// Reads the numbers in the head of a Netpbm picture; lines after '#' are comments.
void readNetpbm(PictureSource& source, PictureContent& picture) {
  const std::string_view head = textOf(source.head()).substr(0, 1024);
  const char kind = head[1];
  std::uint32_t numbers[3] = {0, 0, 1};
  std::size_t at = 2;
  for (std::size_t i = 0; i < (kind == '1' || kind == '4' ? 2u : 3u); ++i) {
    for (; at < head.size() && (head[at] < '0' || head[at] > '9'); ++at) {
      if (head[at] == '#')
        at = std::min(head.find('\n', at), head.size() - 1);
      else if (!isXmlSpace(head[at]))
        return;
    }
    for (numbers[i] = 0; at < head.size() && head[at] >= '0' && head[at] <= '9'; ++at)
      numbers[i] =
          std::min(numbers[i] * 10 + static_cast<std::uint32_t>(head[at] - '0'), 1'000'000u);
  }
  if (numbers[0] == 0 || numbers[1] == 0) return;
  picture.width = numbers[0];
  picture.height = numbers[1];
  const std::uint32_t depth = numbers[2] > 255 ? 16 : numbers[2] > 1 ? 8 : 1;
  picture.bits = kind == '3' || kind == '6' ? 3 * depth : depth;
}

void readExr(PictureSource& source, PictureContent& picture) {
  const std::string_view head = textOf(source.head());
  constexpr std::string_view kWindow = "displayWindow\0box2i\0"sv;
  const std::size_t found = head.find(kWindow);
  if (found == head.npos) return;
  ByteReader reader(source.head().subspan(found + kWindow.size()));
  reader.skip(4);
  const std::uint32_t left = reader.u32le(), top = reader.u32le();
  picture.width = reader.u32le() - left + 1;
  picture.height = reader.u32le() - top + 1;
}

// The size stands in a line such as "-Y 600 +X 800".
void readRadiance(PictureSource& source, PictureContent& picture) {
  const std::string head(textOf(source.head()).substr(0, 4096));
  const std::size_t line = head.find("\n\n-Y ");
  if (line == head.npos) return;
  char* end = nullptr;
  picture.height = static_cast<std::uint32_t>(std::strtoul(head.c_str() + line + 5, &end, 10));
  if (std::string_view(end).starts_with(" +X "))
    picture.width = static_cast<std::uint32_t>(std::strtoul(end + 4, nullptr, 10));
  picture.isHdr = true;
}

void readPcx(PictureSource& source, PictureContent& picture) {
  ByteReader reader(source.head());
  reader.skip(3);
  const std::uint8_t bits = reader.u8();
  const std::uint16_t left = reader.u16le(), top = reader.u16le();
  const std::uint16_t right = reader.u16le(), bottom = reader.u16le();
  reader.skip(53);
  const std::uint8_t planes = reader.u8();
  if (!reader.ok() || right < left || bottom < top || planes == 0) return;
  picture.width = right - left + 1u;
  picture.height = bottom - top + 1u;
  picture.bits = std::uint32_t{bits} * planes;
}

// Formats with their measures at fixed places.
struct FixedLayout {
  std::string_view mark;
  std::size_t width, height;  // offsets
  bool isBig;
  std::size_t depth, channels;  // offsets; 0 for none
  std::size_t depthBytes;
};
constexpr FixedLayout kFixed[] = {{"8BPS", 18, 14, true, 22, 12, 2},
                                  {"DDS ", 16, 12, false, 0, 0, 0},
                                  {"qoif", 4, 8, true, 0, 12, 1},
                                  {"gimp xcf", 14, 18, true, 0, 0, 0}};

void readFixed(PictureSource& source, PictureContent& picture) {
  for (const FixedLayout& layout : kFixed) {
    if (!textOf(source.head()).starts_with(layout.mark)) continue;
    const auto at = [&](std::size_t offset, std::size_t size) {
      ByteReader reader(source.head());
      reader.skip(offset);
      if (size == 1) return std::uint32_t{reader.u8()};
      if (size == 2) return std::uint32_t{reader.u16be()};
      return layout.isBig ? reader.u32be() : reader.u32le();
    };
    picture.width = at(layout.width, 4);
    picture.height = at(layout.height, 4);
    if (layout.channels > 0)
      picture.bits = at(layout.channels, layout.depthBytes) *
                     (layout.depth > 0 ? at(layout.depth, layout.depthBytes) : 8);
  }
}

struct Row {
  std::size_t offset;
  std::string_view mark;
  void (*read)(PictureSource&, PictureContent&);
};
constexpr Row kReaders[] = {
    {0, "\xFF\xD8\xFF"sv, readJpegSegments},
    {0, "\x89PNG"sv, readPngChunks},
    {0, "GIF8"sv, readGif},
    {0, "RIFF"sv, readWebp},
    {4, "ftypcrx"sv, readCr3},
    {4, "ftyp"sv, readHeif},
    {4, "JXL "sv, readJpegXl},
    {0, "\xFF\x0A"sv, readJpegXl},
    {4, "jP  "sv, readJpeg2000},
    {0, "\xFF\x4F"sv, readJpeg2000},
    {0, "II"sv, readTiff},
    {0, "MM"sv, readTiff},
    {0, "FUJIFILM"sv, readRaf},
    {0, "8BPS"sv, readPhotoshop},
    {0, "P"sv, readNetpbm},
    {0, "\x76\x2F\x31\x01"sv, readExr},
    {0, "#?RADIANCE"sv, readRadiance},
    {0, "\x0A"sv, readPcx},
};

// A length such as "12.5cm" in pixels of 1/96 inch (SVG 2, CSS Values 3); 0 for a share.
double svgLength(const std::string& text) {
  struct Unit {
    std::string_view name;
    double pixels;
  };
  constexpr Unit kUnits[] = {{"", 1},    {"px", 1},         {"pt", 96 / 72.0}, {"pc", 16},
                             {"in", 96}, {"cm", 96 / 2.54}, {"mm", 96 / 25.4}};
  char* end = nullptr;
  const double number = std::strtod(text.c_str(), &end);
  const auto unit = std::ranges::find(kUnits, std::string_view(end), &Unit::name);
  return unit == std::end(kUnits) || !std::isfinite(number) ? 0 : number * unit->pixels;
}

std::uint32_t pixels(double length) {
  constexpr double kMax = 1e9;
  return length > 0 && length < kMax ? static_cast<std::uint32_t>(std::lround(length)) : 0;
}

// The third and fourth number of a viewBox.
void readViewBox(const std::string& value, PictureContent& picture) {
  double box[4] = {};
  const char* at = value.c_str();
  for (double& number : box) {
    char* end = nullptr;
    number = std::strtod(at, &end);
    at = *end == ',' ? end + 1 : end;
  }
  picture.width = pixels(box[2]);
  picture.height = pixels(box[3]);
}

// The measures in the tag of the root: those of the picture, or else of what it shows.
void readSvgMeasures(std::string_view text, const XmlScanner& scanner, PictureContent& picture) {
  double width = 0, height = 0;
  for (const XmlScanner::Attribute& attribute : scanner.attributes()) {
    const std::string_view name = attribute.name.of(text);
    const std::string value(attribute.value.of(text));
    if (name == "width") width = svgLength(value);
    if (name == "height") height = svgLength(value);
    if (name == "viewBox" && picture.width == 0) readViewBox(value, picture);
  }
  if (width <= 0 || height <= 0) return;
  picture.width = pixels(width);
  picture.height = pixels(height);
}

}  // namespace

PictureContent readPictureContent(File& file) {
  PictureContent picture;
  const std::uint64_t size = file.size().value_or(0);
  PictureSource source(file, size);
  const std::string_view head = textOf(source.head());
  for (const Row& row : kReaders) {
    if (head.size() <= row.offset || !head.substr(row.offset).starts_with(row.mark)) continue;
    row.read(source, picture);
    break;
  }
  readFixed(source, picture);
  PictureMeasures measures;
  if (measurePicture(file, size, measures)) {
    // Where both tell a size, the format's own reader knows the canvas of all frames.
    if (picture.width == 0) picture.width = measures.width, picture.height = measures.height;
    if (picture.bits == 0) picture.bits = measures.bits;
    constexpr double kCentimeters = 2.54;
    picture.across = measures.across * kCentimeters;
    picture.down = measures.down * kCentimeters;
  }
  return picture;
}

PictureContent readSvgContent(File& file) {
  PictureContent picture;
  constexpr std::uint64_t kMaxRead = std::uint64_t{64} << 10;
  PictureSource source(file, file.size().value_or(0));
  std::string_view text = textOf(source.head()).substr(0, kMaxRead);
  if (text.starts_with("\xEF\xBB\xBF")) text.remove_prefix(3);
  XmlScanner scanner(text, false);
  std::uint32_t label = 0;
  for (;;) {
    const XmlScanner::Token token = scanner.next();
    using Token = XmlScanner::Token;
    if (token == Token::Finished || token == Token::Incomplete || token == Token::Error) break;
    const std::string_view content = text.substr(scanner.begin(), scanner.end() - scanner.begin());
    if (token == Token::Text && label != 0)
      picture.texts.emplace(label, fromUtf8(resolveReferences(content)));
    if (token != Token::Start && token != Token::Empty) continue;
    label = 0;
    if (scanner.depth() == 2 && scanner.name() == "title") label = label::kPictureTitle;
    if (scanner.depth() == 2 && scanner.name() == "desc") label = label::kDescription;
    if (scanner.depth() <= 1) readSvgMeasures(text, scanner, picture);
  }
  return picture;
}

}  // namespace tessaron
