#include <algorithm>
#include <array>
#include <map>
#include <optional>
#include <span>
#include <vector>

#include "mediainfo/heif_picture_internal.h"
#include "support/byte_reader.h"

namespace tessaron {
namespace {

constexpr std::size_t kMaxMeta = std::size_t{4} << 20;
constexpr std::size_t kMaxBlock = std::size_t{1} << 20;  // of Exif or XMP
constexpr int kMaxBoxes = 1000;
constexpr std::size_t kMaxItems = 10'000;
constexpr std::size_t kMaxBlocks = 16;

constexpr std::uint32_t name(const char (&text)[5]) {
  std::uint32_t code = 0;
  for (int i = 0; i < 4; ++i) code = code << 8 | static_cast<unsigned char>(text[i]);
  return code;
}

struct Box {
  std::uint32_t type = 0;
  std::uint64_t begin = 0;  // of the content
  std::uint64_t end = 0;
};

// Calls `visit` with each box from `at` on, until that returns false.
template <typename Visit>
void walkBoxes(PictureSource& source, std::uint64_t at, std::uint64_t end, const Visit& visit) {
  constexpr std::size_t kHeader = 16;
  for (int i = 0; i < kMaxBoxes && at < end && end - at >= 8; ++i) {
    const auto bytes = source.bytes(at, kHeader);
    ByteReader reader(bytes);
    std::uint64_t size = reader.u32be();
    const std::uint32_t type = reader.u32be();
    std::uint64_t header = 8;
    if (size == 1) {
      size = reader.u64be();
      header = kHeader;
    }
    if (size == 0) size = end - at;  // the last box
    if (!reader.ok() || size < header || size > end - at) return;
    if (!visit(Box{type, at + header, at + size})) return;
    at += size;
  }
}

// As above, in memory.
template <typename Visit>
void walkBoxes(std::span<const std::byte> bytes, const Visit& visit) {
  ByteReader reader(bytes);
  while (reader.remaining() >= 8) {
    const std::uint32_t size = reader.u32be();
    const std::uint32_t type = reader.u32be();
    if (size < 8 || size - 8 > reader.remaining()) return;
    visit(type, reader.bytes(size - 8));
  }
}

std::string textOf(PictureSource& source, std::uint64_t at, std::uint64_t size) {
  const auto bytes =
      source.bytes(at, static_cast<std::size_t>(std::min<std::uint64_t>(size, kMaxBlock)));
  return {reinterpret_cast<const char*>(bytes.data()), bytes.size()};
}

// An Exif block is a TIFF file after the number of bytes before it.
std::string tiffIn(std::string block) {
  const std::uint32_t skipped = ByteReader(std::as_bytes(std::span(block))).u32be();
  return block.size() >= 4 && skipped < block.size() - 4 ? block.substr(4 + skipped) : "";
}

std::uint64_t sized(ByteReader& reader, unsigned bytes) {
  return bytes == 4 ? reader.u32be() : bytes == 8 ? reader.u64be() : 0;
}

/// The items of a picture and their properties.
class Items {
 public:
  Items(PictureSource& source, PictureContent& picture) : source_(source), picture_(picture) {}

  void read(std::span<const std::byte> meta) {
    walkBoxes(meta,
              [&](std::uint32_t type, std::span<const std::byte> box) { readBox(type, box); });
    for (const std::uint16_t index : associations_[primary_])
      if (index > 0 && index <= properties_.size()) apply(properties_[index - 1]);
    for (const auto& [id, type] : blocks_) {
      const auto found = extents_.find(id);
      std::string& block = type == name("Exif") ? picture_.exif : picture_.xmp;
      if (found == extents_.end() || !block.empty()) continue;
      block = textOf(source_, found->second.offset, found->second.size);
      if (type == name("Exif")) block = tiffIn(std::move(block));
      if (!picture_.exif.empty() && !picture_.xmp.empty()) break;
    }
  }

 private:
  struct Property {
    std::uint32_t type;
    std::span<const std::byte> content;
  };
  struct Extent {
    std::uint64_t offset, size;
  };

  void readBox(std::uint32_t type, std::span<const std::byte> box) {
    if (type == name("pitm")) readPrimary(box);
    if (type == name("iinf")) readInfos(box);
    if (type == name("iloc")) readPlaces(box);
    if (type != name("iprp")) return;
    walkBoxes(box, [&](std::uint32_t inner, std::span<const std::byte> content) {
      if (inner == name("ipma")) readAssociations(content);
      if (inner != name("ipco")) return;
      walkBoxes(content, [&](std::uint32_t kind, std::span<const std::byte> property) {
        properties_.push_back({kind, property});
      });
    });
  }

  void readPrimary(std::span<const std::byte> box) {
    ByteReader reader(box);
    const bool isWide = reader.u32be() >> 24 != 0;
    primary_ = isWide ? reader.u32be() : reader.u16be();
  }

  void readInfos(std::span<const std::byte> box) {
    ByteReader reader(box);
    const bool isWide = reader.u32be() >> 24 != 0;
    reader.skip(isWide ? 4 : 2);
    walkBoxes(reader.bytes(reader.remaining()),
              [&](std::uint32_t type, std::span<const std::byte> info) {
                if (type != name("infe")) return;
                ByteReader entry(info);
                const std::uint32_t version = entry.u32be() >> 24;
                if (version < 2) return;
                const std::uint32_t id = version == 2 ? entry.u16be() : entry.u32be();
                entry.skip(2);
                const std::uint32_t kind = entry.u32be();
                if (!entry.ok() || blocks_.size() >= kMaxBlocks) return;
                if (kind == name("Exif") || (kind == name("mime") && isXmp(entry)))
                  blocks_[id] = kind;
              });
  }

  // Skips the item's name. A "mime" item is XMP by its type.
  static bool isXmp(ByteReader& entry) {
    const auto rest = entry.bytes(entry.remaining());
    const std::string_view text(reinterpret_cast<const char*>(rest.data()), rest.size());
    return text.find("application/rdf+xml") != text.npos;
  }

  void readPlaces(std::span<const std::byte> box) {
    ByteReader reader(box);
    const std::uint32_t version = reader.u32be() >> 24;
    const std::uint8_t sizes = reader.u8(), more = reader.u8();
    const unsigned offsetSize = sizes >> 4, lengthSize = sizes & 15, baseSize = more >> 4;
    const unsigned indexSize = version > 0 ? more & 15 : 0;
    const std::uint32_t count = version < 2 ? reader.u16be() : reader.u32be();
    for (std::uint32_t i = 0; i < std::min<std::uint64_t>(count, kMaxItems) && reader.ok(); ++i) {
      const std::uint32_t id = version < 2 ? reader.u16be() : reader.u32be();
      const std::uint16_t method = version > 0 ? reader.u16be() & 15 : 0;
      reader.skip(2);
      const std::uint64_t base = sized(reader, baseSize);
      const std::uint16_t parts = reader.u16be();
      for (std::uint16_t part = 0; part < parts && reader.ok(); ++part) {
        sized(reader, indexSize);
        const std::uint64_t offset = sized(reader, offsetSize), size = sized(reader, lengthSize);
        // Blocks of text are written in one part, in the file itself.
        if (reader.ok() && part == 0 && method == 0) extents_[id] = {base + offset, size};
        if (offsetSize + lengthSize + indexSize == 0) break;
      }
    }
  }

  void readAssociations(std::span<const std::byte> box) {
    ByteReader reader(box);
    const std::uint32_t head = reader.u32be();
    const bool isWide = (head & 1) != 0;
    const std::uint32_t count = reader.u32be();
    for (std::uint32_t i = 0; i < std::min<std::uint64_t>(count, kMaxItems) && reader.ok(); ++i) {
      const std::uint32_t id = head >> 24 == 0 ? reader.u16be() : reader.u32be();
      const std::uint8_t links = reader.u8();
      for (std::uint8_t link = 0; link < links && reader.ok(); ++link)
        associations_[id].push_back(isWide ? reader.u16be() & 0x7FFF : reader.u8() & 0x7F);
    }
  }

  void apply(const Property& property) {
    ByteReader reader(property.content);
    if (property.type == name("ispe")) {
      reader.skip(4);
      picture_.width = reader.u32be();
      picture_.height = reader.u32be();
    } else if (property.type == name("pixi")) {
      reader.skip(4);
      const std::uint8_t channels = reader.u8();
      for (std::uint8_t i = 0; i < channels && reader.remaining() > 0; ++i)
        picture_.bits += picture_.componentBits = reader.u8();
    } else if (property.type == name("irot")) {
      picture_.rotation = (360 - (reader.u8() & 3) * 90) % 360;  // stored counterclockwise
    } else if (property.type == name("colr") && reader.u32be() == name("nclx")) {
      reader.skip(2);
      const std::uint16_t transfer = reader.u16be();
      picture_.isHdr = transfer == 16 || transfer == 18;  // PQ, HLG
    }
  }

  PictureSource& source_;
  PictureContent& picture_;
  std::uint32_t primary_ = 0;
  std::map<std::uint32_t, std::uint32_t> blocks_;
  std::map<std::uint32_t, Extent> extents_;
  std::map<std::uint32_t, std::vector<std::uint16_t>> associations_;
  std::vector<Property> properties_;
};

/// Reads bits, the lowest of each byte first.
class BitReader {
 public:
  explicit BitReader(std::span<const std::byte> bytes) : bytes_(bytes) {}
  bool ok() const { return at_ <= bytes_.size() * 8; }
  std::uint32_t bits(unsigned count) {
    std::uint32_t value = 0;
    for (unsigned i = 0; i < count; ++i, ++at_) {
      if (at_ / 8 >= bytes_.size()) continue;
      value |= (std::to_integer<std::uint32_t>(bytes_[at_ / 8]) >> at_ % 8 & 1) << i;
    }
    return value;
  }
  bool bit() { return bits(1) != 0; }

 private:
  std::span<const std::byte> bytes_;
  std::size_t at_ = 0;
};

// Reads a size (ISO/IEC 18181-1, D.2).
std::array<std::uint32_t, 2> readSize(BitReader& reader) {
  constexpr unsigned kWidths[] = {9, 13, 18, 30};
  constexpr std::uint64_t kRatios[8][2] = {{},     {1, 1},  {12, 10}, {4, 3},
                                           {3, 2}, {16, 9}, {5, 4},   {2, 1}};
  const bool isSmall = reader.bit();
  const auto side = [&] {
    return isSmall ? (reader.bits(5) + 1) * 8 : reader.bits(kWidths[reader.bits(2)]) + 1;
  };
  const std::uint32_t height = side();
  const std::uint32_t ratio = reader.bits(3);
  if (ratio == 0) return {side(), height};
  return {static_cast<std::uint32_t>(height * kRatios[ratio][0] / kRatios[ratio][1]), height};
}

// Reads the header of a bare JPEG XL picture (ISO/IEC 18181-1, D.2 and D.3).
void readCodestream(std::span<const std::byte> bytes, PictureContent& picture) {
  if (bytes.size() < 4 || bytes[0] != std::byte{0xFF} || bytes[1] != std::byte{0x0A}) return;
  BitReader reader(bytes.subspan(2));
  const auto [width, height] = readSize(reader);
  std::uint32_t bits = 8;
  if (!reader.bit()) {  // not all as usual
    if (reader.bit()) {
      constexpr int kTurns[] = {0, 0, 180, 180, 270, 90, 90, 270};  // by Exif's numbers
      picture.rotation = kTurns[reader.bits(3)];
      if (reader.bit()) readSize(reader);
      if (reader.bit()) return;  // a preview: rare, and its header is long
      if (reader.bit()) {        // an animation, whose header is long
        picture.width = width;
        picture.height = height;
        return;
      }
    }
    constexpr std::uint32_t kIntegers[] = {8, 10, 12}, kFloats[] = {32, 16, 24};
    const bool isFloat = reader.bit();
    const std::uint32_t choice = reader.bits(2);
    bits = choice == 3 ? reader.bits(6) + 1 : isFloat ? kFloats[choice] : kIntegers[choice];
  }
  if (!reader.ok()) return;
  picture.width = width;
  picture.height = height;
  picture.componentBits = bits;
}

// Reads a box with the identifier of XMP (ISO 16684-1; XMP part 3, storage in files, 1.1.4).
void readXmpBox(PictureSource& source, const Box& box, PictureContent& picture) {
  using namespace std::string_view_literals;
  constexpr std::string_view kXmp =
      "\xBE\x7A\xCF\xCB\x97\xA9\x42\xE8\x9C\x71\x99\x94\x91\xE3\xAF\xAC"sv;
  std::string content = textOf(source, box.begin, box.end - box.begin);
  if (content.starts_with(kXmp)) picture.xmp = content.substr(kXmp.size());
}

}  // namespace

void readHeif(PictureSource& source, PictureContent& picture) {
  walkBoxes(source, 0, source.size(), [&](const Box& box) {
    if (box.type != name("meta") || box.end - box.begin < 4 || box.end - box.begin > kMaxMeta)
      return true;
    const auto meta =
        source.bytes(box.begin + 4, static_cast<std::size_t>(box.end - box.begin - 4));
    Items(source, picture).read(meta);
    return false;
  });
}

void readJpegXl(PictureSource& source, PictureContent& picture) {
  constexpr std::size_t kHeader = 64;
  if (source.head().size() > 1 && source.head()[0] == std::byte{0xFF})
    return readCodestream(source.head(), picture);
  walkBoxes(source, 0, source.size(), [&](const Box& box) {
    const bool isPart = box.type == name("jxlp");
    if ((isPart || box.type == name("jxlc")) && picture.width == 0)
      readCodestream(source.bytes(box.begin + (isPart ? 4 : 0), kHeader), picture);
    if (box.type == name("Exif"))
      picture.exif = tiffIn(textOf(source, box.begin, box.end - box.begin));
    if (box.type == name("xml ")) picture.xmp = textOf(source, box.begin, box.end - box.begin);
    return true;
  });
}

void readJpeg2000(PictureSource& source, PictureContent& picture) {
  constexpr std::size_t kHeader = 40;
  if (source.head().size() >= kHeader && source.head()[0] == std::byte{0xFF}) {
    ByteReader reader(source.head());
    reader.skip(8);  // marks, length, capabilities
    const std::uint32_t right = reader.u32be(), bottom = reader.u32be();
    picture.width = right - std::min(right, reader.u32be());
    picture.height = bottom - std::min(bottom, reader.u32be());
    reader.skip(16);
    const std::uint16_t components = reader.u16be();
    picture.bits = components * ((reader.u8() & 0x7Fu) + 1);
    return;
  }
  walkBoxes(source, 0, source.size(), [&](const Box& box) {
    if (box.type == name("uuid")) readXmpBox(source, box, picture);
    if (box.type != name("jp2h")) return true;
    const auto header = source.bytes(box.begin, static_cast<std::size_t>(std::min<std::uint64_t>(
                                                    box.end - box.begin, kMaxBlock)));
    walkBoxes(header, [&](std::uint32_t type, std::span<const std::byte> content) {
      if (type != name("ihdr")) return;
      ByteReader reader(content);
      picture.height = reader.u32be();
      picture.width = reader.u32be();
      const std::uint16_t components = reader.u16be();
      const std::uint8_t depth = reader.u8();
      if (depth != 0xFF) picture.bits = components * ((depth & 0x7Fu) + 1);
    });
    return true;
  });
}

void readCr3(PictureSource& source, PictureContent& picture) {
  constexpr std::uint64_t kUuid = 16;
  walkBoxes(source, 0, source.size(), [&](const Box& moov) {
    if (moov.type != name("moov")) return true;
    walkBoxes(source, moov.begin, moov.end, [&](const Box& uuid) {
      if (uuid.type != name("uuid") || uuid.end - uuid.begin < kUuid) return true;
      walkBoxes(source, uuid.begin + kUuid, uuid.end, [&](const Box& box) {
        if (box.type == name("CMT1")) picture.exif = textOf(source, box.begin, box.end - box.begin);
        return box.type != name("CMT1");
      });
      return picture.exif.empty();
    });
    return false;
  });
}

}  // namespace tessaron
