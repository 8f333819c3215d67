#include <algorithm>
#include <array>
#include <cmath>

#include "support/byte_reader.h"
#include "support/pictures/tiff_file_internal.h"

namespace tessaron {
namespace {

enum Tag : std::uint16_t {
  kWidth = 256,
  kHeight = 257,
  kBits = 258,
  kCompression = 259,
  kPhotometric = 262,
  kSamples = 277,
  kAcross = 282,
  kDown = 283,
  kPlanes = 284,
  kResolutionUnit = 296,
  kTileWidth = 322,
  kTileHeight = 323,
  kSampleFormat = 339,
};

enum Type : std::uint16_t { kByte = 1, kShort = 3, kLong = 4, kRational = 5 };
enum Photometric : std::uint32_t {
  kWhiteIsZero,
  kBlackIsZero,
  kRgb,
  kPalette,
  kInks = 5,
  kYCbCr = 6,
  kLab = 8
};
enum SampleFormat : std::uint32_t { kUnsigned = 1, kSigned = 2, kFloat = 3 };
enum Unit : std::uint32_t { kNoUnit = 1, kInch = 2, kCentimeter = 3 };
constexpr std::uint32_t kInPlanes = 2;

// What decoders need besides the fields that are read here: fill order, strips, fax options,
// predictor, palette, tiles, ink names, extra samples, tables and subsampling of JPEG, profile; and
// the resolution.
constexpr std::uint16_t kPassedOn[] = {266, 273, 274, 278, 279, kAcross, kDown, 292, 293,
                                       317, 320, 324, 325, 332, 338,     347,   512, 513,
                                       514, 515, 519, 520, 521, 529,     530,   532, 34675};

constexpr std::uint16_t kMaxEntries = 4096;
constexpr std::size_t kEntrySize = 12;
constexpr std::uint32_t kMaxSide = 1 << 24;  // pixels

// A layout of pixels, and how many bits FreeImage gives it. Of the others it mistakes the size.
struct Layout {
  std::uint32_t photometric, bits, samples, decodedBits;
  bool mayBeTiled;
};
constexpr Layout kLayouts[] = {
    {kWhiteIsZero, 1, 1, 1, true},   {kWhiteIsZero, 4, 1, 4, true},
    {kWhiteIsZero, 8, 1, 8, true},   {kWhiteIsZero, 16, 1, 16, true},
    {kWhiteIsZero, 32, 1, 32, true}, {kWhiteIsZero, 8, 2, 8, false},
    {kBlackIsZero, 1, 1, 1, true},   {kBlackIsZero, 4, 1, 4, true},
    {kBlackIsZero, 8, 1, 8, true},   {kBlackIsZero, 16, 1, 16, true},
    {kBlackIsZero, 32, 1, 32, true}, {kBlackIsZero, 8, 2, 8, false},
    {kPalette, 1, 1, 1, true},       {kPalette, 4, 1, 4, true},
    {kPalette, 8, 1, 8, true},       {kPalette, 8, 2, 8, false},
    {kRgb, 8, 3, 24, true},          {kRgb, 8, 4, 32, true},
    {kRgb, 16, 3, 48, true},         {kRgb, 16, 4, 64, true},
    {kRgb, 32, 3, 96, true},         {kRgb, 32, 4, 128, true},
    {kInks, 8, 4, 24, false},        {kInks, 16, 4, 48, false},
    {kYCbCr, 8, 3, 24, true},        {kLab, 8, 3, 24, true},
};

std::uint64_t ceilingEighth(std::uint64_t bits) { return (bits + 7) / 8; }

}  // namespace

std::uint16_t TiffFile::u16(std::span<const std::byte> bytes) const {
  ByteReader reader(bytes);
  return isBigEndian_ ? reader.u16be() : reader.u16le();
}

std::uint32_t TiffFile::u32(std::span<const std::byte> bytes) const {
  ByteReader reader(bytes);
  return isBigEndian_ ? reader.u32be() : reader.u32le();
}

void TiffFile::put16(std::vector<std::byte>& to, std::uint32_t value) const {
  const auto high = static_cast<std::byte>(value >> 8 & 0xFF);
  const auto low = static_cast<std::byte>(value & 0xFF);
  to.push_back(isBigEndian_ ? high : low);
  to.push_back(isBigEndian_ ? low : high);
}

void TiffFile::put32(std::vector<std::byte>& to, std::uint32_t value) const {
  put16(to, isBigEndian_ ? value >> 16 : value);
  put16(to, isBigEndian_ ? value : value >> 16);
}

std::optional<TiffFile> TiffFile::read(PictureSource& source) {
  TiffFile tiff;
  if (!tiff.readDirectory(source) || !tiff.readFields(source) || !tiff.isSupported())
    return std::nullopt;
  return tiff;
}

bool TiffFile::readDirectory(PictureSource& source) {
  const std::vector<std::byte> head = source.bytes(0, 8);
  if (head.size() < 8) return false;
  fileSize_ = source.size();
  isBigEndian_ = head[0] == std::byte{'M'};
  const std::uint64_t offset = u32(std::span(head).subspan(4));
  const std::uint16_t count = std::min(u16(source.bytes(offset, 2)), kMaxEntries);
  const std::vector<std::byte> table = source.bytes(offset + 2, count * kEntrySize);
  for (std::span<const std::byte> rest(table); rest.size() >= kEntrySize;
       rest = rest.subspan(kEntrySize)) {
    Entry entry{u16(rest.subspan(2)), u32(rest.subspan(4)), {}};
    entry.value.assign(rest.begin() + 8, rest.begin() + kEntrySize);
    entries_.try_emplace(u16(rest), std::move(entry));
  }
  return !entries_.empty();
}

// The number that a field holds for all samples. Nothing when it is no such number.
std::optional<std::uint32_t> TiffFile::number(PictureSource& source, std::uint16_t tag,
                                              std::uint32_t missing) const {
  const auto found = entries_.find(tag);
  if (found == entries_.end()) return missing;
  const auto& [type, count, value] = found->second;
  if (count == 0) return std::nullopt;
  if (type == kByte && count == 1) return std::to_integer<std::uint32_t>(value[0]);
  if (type == kLong && count == 1) return u32(value);
  constexpr std::uint32_t kMaxCount = 16, kInline = 2;
  if (type != kShort || count > kMaxCount) return std::nullopt;
  const std::vector<std::byte> numbers =
      count > kInline ? source.bytes(u32(value), std::size_t{2} * count) : value;
  if (numbers.size() < std::size_t{2} * count) return std::nullopt;
  const std::uint16_t first = u16(numbers);
  for (std::size_t i = 1; i < count; ++i)
    if (u16(std::span(numbers).subspan(2 * i)) != first) return std::nullopt;
  return first;
}

// Returns a resolution, in dots per unit. Nothing when the field is missing, damaged or absurd,
// which does not cost the picture: the field is dropped, since FreeImage converts it unchecked.
std::optional<float> TiffFile::resolution(PictureSource& source, std::uint16_t tag) {
  constexpr float kMaxDots = 1e6F;
  constexpr std::uint32_t kHeaderSize = 8;  // decoders get another header: no value lies in it
  const auto found = entries_.find(tag);
  if (found == entries_.end()) return std::nullopt;
  const auto& [type, count, value] = found->second;
  const std::vector<std::byte> fraction = source.bytes(u32(value), 8);
  ByteReader reader(fraction);
  const double numerator = u32(reader.bytes(4)), denominator = u32(reader.bytes(4));
  const float dots = denominator == 0 ? 0 : static_cast<float>(numerator / denominator);
  const bool isFraction = type == kRational && count == 1 && u32(value) >= kHeaderSize;
  if (isFraction && reader.ok() && dots <= kMaxDots) return dots;
  entries_.erase(found);
  return std::nullopt;
}

bool TiffFile::readFields(PictureSource& source) {
  struct Field {
    std::uint16_t tag;
    std::uint32_t TiffFile::*to;
    std::uint32_t missing;
  };
  constexpr Field kFields[] = {
      {kWidth, &TiffFile::width_, 0},
      {kHeight, &TiffFile::height_, 0},
      {kBits, &TiffFile::bits_, 1},
      {kCompression, &TiffFile::compression_, 1},
      {kPhotometric, &TiffFile::photometric_, kWhiteIsZero},
      {kSamples, &TiffFile::samples_, 1},
      {kPlanes, &TiffFile::planes_, 1},
      {kResolutionUnit, &TiffFile::unit_, kInch},
      {kTileWidth, &TiffFile::tileWidth_, 0},
      {kTileHeight, &TiffFile::tileHeight_, 0},
      {kSampleFormat, &TiffFile::sampleFormat_, kUnsigned},
  };
  for (const Field& field : kFields) {
    const std::optional<std::uint32_t> value = number(source, field.tag, field.missing);
    if (!value) return false;
    this->*field.to = *value;
  }
  if (unit_ < kNoUnit || unit_ > kCentimeter) unit_ = kInch;
  const std::optional<float> across = resolution(source, kAcross);
  const std::optional<float> down = resolution(source, kDown);
  if (across || down) {  // libtiff takes a single one that is missing for 0
    across_ = across.value_or(0);
    down_ = down.value_or(0);
  }
  return true;
}

bool TiffFile::isSupported() const {
  const auto isSide = [](std::uint32_t side) { return side > 0 && side <= kMaxSide; };
  if (!isSide(width_) || !isSide(height_)) return false;
  if (isTiled() && (!isSide(tileWidth_) || !isSide(tileHeight_) || planes_ == kInPlanes))
    return false;
  if (planes_ != 1 && planes_ != kInPlanes) return false;
  const bool isGray = samples_ == 1 && photometric_ <= kBlackIsZero;
  const bool isFormat = sampleFormat_ == kUnsigned ? bits_ < 32 || isGray
                        : sampleFormat_ == kSigned ? isGray && bits_ >= 16
                                                   : sampleFormat_ == kFloat && bits_ == 32;
  return isFormat && std::ranges::any_of(kLayouts, [&](const Layout& layout) {
           return layout.photometric == photometric_ && layout.bits == bits_ &&
                  layout.samples == samples_ && (layout.mayBeTiled || !isTiled());
         });
}

PictureMeasures TiffFile::measures() const {
  const auto layout = std::ranges::find_if(kLayouts, [&](const Layout& row) {
    return row.photometric == photometric_ && row.bits == bits_ && row.samples == samples_;
  });
  PictureMeasures measures{width_, height_, layout->decodedBits, 28.35, 28.35};
  if (unit_ == kNoUnit && (across_ <= 0 || down_ <= 0)) return measures;
  const auto perCentimeter = [&](double resolution) {
    const double perMeter = unit_ == kCentimeter ? resolution * 100 : resolution / 0.0254;
    return std::floor(perMeter + 0.5) / 100;
  };
  measures.across = perCentimeter(across_);
  measures.down = perCentimeter(down_);
  return measures;
}

std::uint64_t TiffFile::pixelBytes() const {
  return ceilingEighth(std::uint64_t{width_} * measures().bits) * height_;
}

std::uint64_t TiffFile::memory() const {
  const std::uint64_t pixels = std::uint64_t{width_} * height_;
  const std::uint64_t raw = ceilingEighth(std::uint64_t{width_} * bits_ * samples_) * height_;
  // One tile, of which libtiff may keep what it has read besides.
  const std::uint64_t tile =
      ceilingEighth(std::uint64_t{tileWidth_} * tileHeight_) * bits_ * samples_ * 2;
  const bool isConverted = photometric_ == kYCbCr || photometric_ == kLab;
  return pixelBytes() + std::max(raw, isConverted ? 4 * pixels : 0) + tile;
}

bool TiffFile::holdsPixels() const {
  constexpr std::uint32_t kPlain = 1;
  constexpr std::uint64_t kMaxExpansion = 1 << 16;  // facsimile: a bit for every white line
  if (compression_ > kPlain) return pixelBytes() / kMaxExpansion <= fileSize_;
  if (photometric_ == kYCbCr) return pixelBytes() / 3 <= fileSize_;  // with fewer samples of color
  return ceilingEighth(std::uint64_t{width_} * bits_ * samples_) <= fileSize_ / height_;
}

// Sets a field of one number for each of `count` samples.
void TiffFile::setNumbers(std::uint16_t tag, std::uint32_t value, std::uint32_t count) {
  Entry entry{count == 1 ? kLong : kShort, count, {}};
  if (count == 1)
    put32(entry.value, value);
  else
    for (std::uint32_t i = 0; i < count; ++i) put16(entry.value, value);
  entry.value.resize(std::max<std::size_t>(entry.value.size(), 4));
  entries_.insert_or_assign(tag, std::move(entry));
}

// Returns a copy of the directory with nothing but what decoding needs.
TiffFile TiffFile::cleaned() const {
  TiffFile clean;
  clean.isBigEndian_ = isBigEndian_;
  for (const std::uint16_t tag : kPassedOn)
    if (const auto found = entries_.find(tag); found != entries_.end())
      clean.entries_.insert(*found);
  clean.setNumbers(kWidth, width_, 1);
  clean.setNumbers(kHeight, height_, 1);
  clean.setNumbers(kBits, bits_, samples_);
  clean.setNumbers(kCompression, compression_, 1);
  clean.setNumbers(kPhotometric, photometric_, 1);
  clean.setNumbers(kSamples, samples_, 1);
  clean.setNumbers(kPlanes, planes_, 1);
  if (entries_.contains(kSampleFormat)) clean.setNumbers(kSampleFormat, sampleFormat_, samples_);
  clean.setNumbers(kResolutionUnit, unit_, 1);
  if (isTiled()) {
    clean.setNumbers(kTileWidth, tileWidth_, 1);
    clean.setNumbers(kTileHeight, tileHeight_, 1);
  }
  return clean;
}

// Returns the bytes of the directory for the offset `at`, followed by values that do not fit into
// it.
std::vector<std::byte> TiffFile::directory(std::uint64_t at) const {
  const std::uint64_t valuesAt = at + 2 + kEntrySize * entries_.size() + 4;
  std::vector<std::byte> table, values;
  put16(table, static_cast<std::uint32_t>(entries_.size()));
  for (const auto& [tag, entry] : entries_) {
    put16(table, tag);
    put16(table, entry.type);
    put32(table, entry.count);
    const bool isInline = entry.value.size() <= 4;
    if (!isInline) put32(table, static_cast<std::uint32_t>(valuesAt + values.size()));
    auto& to = isInline ? table : values;
    to.insert(to.end(), entry.value.begin(), entry.value.end());
  }
  put32(table, 0);  // no further picture
  table.insert(table.end(), values.begin(), values.end());
  return table;
}

PictureView TiffFile::view(PictureSource& source) const {
  constexpr std::uint64_t kHeader = 8;
  const std::uint64_t at = (fileSize_ + 1) / 2 * 2;
  std::vector<std::byte> head = source.bytes(0, kHeader / 2);
  put32(head, static_cast<std::uint32_t>(at));
  PictureView view(source);
  view.addBytes(std::move(head));
  view.addRange(kHeader, fileSize_ - kHeader);
  view.addBytes(std::vector<std::byte>(static_cast<std::size_t>(at - fileSize_)));
  view.addBytes(cleaned().directory(at));
  return view;
}

}  // namespace tessaron
