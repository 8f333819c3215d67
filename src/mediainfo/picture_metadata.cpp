#include "mediainfo/picture_metadata.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <optional>
#include <string_view>

#include "mediainfo/angle_internal.h"
#include "mediainfo/labels.h"
#include "mediainfo/orientation.h"
#include "mediainfo/picture_metadata_internal.h"
#include "platform/file.h"
#include "platform/picture_tags.h"
#include "support/byte_reader.h"
#include "support/pictures/picture_header_internal.h"
#include "support/string_table.h"
#include "support/text.h"
#include "support/units.h"

namespace tessaron {
namespace {

using Tags = std::vector<PictureTag>;

// The types of values.
enum Type : std::uint16_t {
  kByte = 1,
  kAscii = 2,
  kShort = 3,
  kLong = 4,
  kRational = 5,
  kSignedByte = 6,
  kUndefined = 7,
  kSignedShort = 8,
  kSignedLong = 9,
  kSignedRational = 10,
};

// The numbers of GPS entries.
constexpr std::uint16_t kLatitudeSide = 1;
constexpr std::uint16_t kLongitudeSide = 3;
constexpr std::uint16_t kAltitudeSide = 5;

const PictureTag* findTag(const Tags& tags, std::uint16_t number) {
  const auto found = std::ranges::find(tags, number, &PictureTag::number);
  return found == tags.end() ? nullptr : &*found;
}

double asSigned(std::uint32_t bits) { return static_cast<std::int32_t>(bits); }

// Returns the number at `index` of a value of a numeric type. Nothing for a division by zero.
std::optional<double> numberAt(const PictureTag& tag, std::size_t index = 0) {
  ByteReader reader(tag.bytes);
  std::optional<double> number;
  switch (tag.type) {
    case kByte:
      reader.skip(index);
      number = reader.u8();
      break;
    case kSignedByte:
      reader.skip(index);
      number = static_cast<std::int8_t>(reader.u8());
      break;
    case kShort:
      reader.skip(2 * index);
      number = reader.u16le();
      break;
    case kSignedShort:
      reader.skip(2 * index);
      number = static_cast<std::int16_t>(reader.u16le());
      break;
    case kLong:
      reader.skip(4 * index);
      number = reader.u32le();
      break;
    case kSignedLong:
      reader.skip(4 * index);
      number = asSigned(reader.u32le());
      break;
    case kRational:
    case kSignedRational: {
      reader.skip(8 * index);
      const std::uint32_t above = reader.u32le();
      const std::uint32_t below = reader.u32le();
      if (below == 0) return std::nullopt;
      number =
          tag.type == kRational ? double{1} * above / below : asSigned(above) / asSigned(below);
      break;
    }
    default:
      return std::nullopt;
  }
  return reader.ok() ? number : std::nullopt;
}

std::u16string tableText(std::uint32_t number) { return std::u16string(stringAt(number)); }

std::u16string trimmed(std::u16string text) {
  constexpr std::u16string_view kBlank(u" \t\r\n\0", 5);
  text.resize(std::min(text.find(u'\0'), text.size()));
  text.erase(text.find_last_not_of(kBlank) + 1);
  text.erase(0, text.find_first_not_of(kBlank));
  return text;
}

std::string_view narrow(std::span<const std::byte> bytes) {
  return {reinterpret_cast<const char*>(bytes.data()), bytes.size()};
}

std::u16string utf16(std::span<const std::byte> bytes, bool bigEndian) {
  std::u16string text;
  for (ByteReader reader(bytes); reader.remaining() >= 2;) {
    text += static_cast<char16_t>(bigEndian ? reader.u16be() : reader.u16le());
  }
  return trimmed(text);
}

std::u16string text(const Tags&, const PictureTag& tag) {
  if (const std::optional<double> number = numberAt(tag); number && tag.type != kByte) {
    return decimalText(*number, 2);
  }
  return trimmed(fromUtf8(narrow(tag.bytes)));
}

// The texts that the file manager of Windows writes, in UTF-16.
std::u16string windowsText(const Tags&, const PictureTag& tag) { return utf16(tag.bytes, false); }

// Decodes a text that follows eight bytes with the name of its character set.
std::u16string userComment(const Tags& tags, const PictureTag& tag) {
  constexpr std::size_t kName = 8;
  if (tag.type != kUndefined) return text(tags, tag);
  if (tag.bytes.size() < kName) return {};
  const std::string_view set = narrow(tag.bytes).substr(0, kName);
  const auto rest = std::span(tag.bytes).subspan(kName);
  if (set.starts_with("JIS")) return {};
  if (!set.starts_with("UNICODE")) return trimmed(fromUtf8(narrow(rest)));
  // Writers disagree on the byte order: take the one with more zeros in the upper bytes.
  int first = 0, second = 0;
  for (std::size_t i = 0; i + 1 < rest.size(); i += 2) {
    if (rest[i] == std::byte{0}) ++first;
    if (rest[i + 1] == std::byte{0}) ++second;
  }
  const bool hasMark =
      rest.size() > 1 && (rest[0] == std::byte{0xFE} || rest[0] == std::byte{0xFF});
  const bool bigEndian = hasMark ? rest[0] == std::byte{0xFE} : first > second;
  return utf16(rest.subspan(hasMark ? 2 : 0), bigEndian);
}

// "2004:05:06 07:08:09" as "2004-05-06 07:08:09".
std::u16string date(const Tags& tags, const PictureTag& tag) {
  std::u16string value = text(tags, tag);
  const bool isDate = value.size() >= 10 && value[4] == u':' && value[7] == u':';
  if (!isDate) return value.find_first_of(u"0123456789") == value.npos ? u"" : value;
  if (value.find_first_of(u"123456789") == value.npos) return {};  // no date, in zeros
  value[4] = value[7] = u'-';
  return value;
}

std::u16string seconds(double value) {
  constexpr double kMinPlain = 0.3;  // seconds; shorter times are written as fractions
  if (!(value > 0) || value > 1e6) return {};
  if (value >= kMinPlain) return decimalText(value, 1) + u" s";
  return u"1/" + decimalText(1 / value, 0) + u" s";
}

std::u16string aperture(double number) {
  return number > 0 && number < 1e4 ? u"f/" + decimalText(number, 1) : u"";
}

// Adapts a formatter of numbers.
using FromNumber = std::u16string (*)(double);
template <FromNumber Write>
std::u16string number(const Tags&, const PictureTag& tag) {
  const std::optional<double> value = numberAt(tag);
  return value ? Write(*value) : u"";
}

std::u16string plain(double value) { return decimalText(value, 2); }
std::u16string nonZero(double value) { return value > 0 ? decimalText(value, 0) : u""; }
std::u16string length(double value) { return value > 0 ? decimalText(value, 1) + u" mm" : u""; }
std::u16string zoom(double value) { return value > 0 ? decimalText(value, 1) + u"x" : u""; }
std::u16string exposureSteps(double value) {
  return (value > 0 ? u"+" : u"") + decimalText(value, 2) + u" EV";
}
// Shutter and aperture in logarithmic (APEX) units.
std::u16string shutterValue(double value) { return seconds(std::exp2(-value)); }
std::u16string apertureValue(double value) { return aperture(std::exp2(value / 2)); }

std::u16string distance(const Tags&, const PictureTag& tag) {
  constexpr std::uint32_t kInfinite = 0xFFFFFFFF;
  ByteReader reader(tag.bytes);
  if (tag.type == kRational && reader.u32le() == kInfinite) return u"\u221E";
  const std::optional<double> value = numberAt(tag);
  if (!value) return {};
  return *value > 0 ? decimalText(*value, 2) + u" m" : tableText(label::kUnknown);
}

// Returns the text at index `value` of a list; "other" outside of it.
template <std::size_t Size>
std::u16string listed(const std::uint32_t (&labels)[Size], double value) {
  return tableText(value >= 0 && value < Size ? labels[static_cast<std::size_t>(value)]
                                              : label::kOther);
}

std::u16string exposureProgram(double value) {
  return listed({label::kUnknown, label::kManual, label::kNormalProgram, label::kAperturePriority,
                 label::kShutterPriority, label::kCreativeProgram, label::kActionProgram,
                 label::kPortraitMode, label::kLandscapeMode},
                value);
}

std::u16string meteringMode(double value) {
  return listed({label::kUnknown, label::kAverage, label::kCenterWeightedAverage, label::kSpot,
                 label::kMultiSpot, label::kPattern, label::kPartial},
                value);
}

std::u16string lightSource(double value) {
  using namespace label;
  // 12 to 16 are fluorescent lamps, 17 to 23 standard lights, 24 is studio tungsten.
  return listed(
      {kUnknown,     kDaylight,    kFluorescent, kTungsten, kFlashLight, kOther,       kOther,
       kOther,       kOther,       kFineWeather, kCloudy,   kShade,      kFluorescent, kFluorescent,
       kFluorescent, kFluorescent, kFluorescent, kTungsten, kDaylight,   kDaylight,    kDaylight,
       kDaylight,    kDaylight,    kOther,       kTungsten},
      value);
}

std::u16string orientation(double value) {
  if (!(value >= 1 && value <= kOrientations.size())) return {};
  return orientationText(kOrientations[static_cast<std::size_t>(value) - 1]);
}

std::u16string flash(double value) {
  constexpr double kMax = 0xFFFF;
  if (!(value >= 0 && value <= kMax)) return {};
  const auto bits = static_cast<unsigned>(value);
  std::u16string result = tableText((bits & 1) != 0 ? label::kFired : label::kDidNotFire);
  const unsigned mode = bits >> 3 & 3;  // 1 compulsory, 2 suppressed, 3 automatic
  if (mode == 1) result += u", " + tableText(label::kForced);
  if (mode == 3) result += u", " + tableText(label::kAuto);
  if ((bits & 0x40) != 0) result += u", " + tableText(label::kRedEyeReduction);
  return result;
}

std::u16string autoOrManual(double value) { return listed({label::kAuto, label::kManual}, value); }

std::u16string colorSpace(double value) {
  return value == 1 ? u"sRGB" : value == 2 ? u"Adobe RGB" : tableText(label::kOther);
}

// "0221" is 2.21.
std::u16string version(const Tags& tags, const PictureTag& tag) {
  const std::u16string digits = text(tags, tag);
  if (digits.size() != 4 || digits.find_first_not_of(u"0123456789") != digits.npos) return {};
  std::u16string result = (digits[0] == u'0' ? u"" : digits.substr(0, 1)) + digits[1] + u'.';
  return result + digits[2] + (digits[3] == u'0' ? u"" : digits.substr(3));
}

// Degrees, minutes and seconds: 48° 51' 29.6" N
template <std::uint16_t SideNumber>
std::u16string coordinate(const Tags& tags, const PictureTag& tag) {
  double degrees = 0;
  for (std::size_t i = 0, unit = 1; i < 3; ++i, unit *= 60) {
    const std::optional<double> part = numberAt(tag, i);
    if (!part) {
      if (i == 0) return {};
      break;
    }
    degrees += *part / static_cast<double>(unit);
  }
  if (!(degrees >= 0 && degrees <= 180)) return {};
  const PictureTag* const side = findTag(tags, SideNumber);
  return trimmed(angleText(degrees) + u' ' + (side ? text(tags, *side) : u""));
}

std::u16string altitude(const Tags& tags, const PictureTag& tag) {
  const std::optional<double> value = numberAt(tag);
  if (!value) return {};
  const PictureTag* const side = findTag(tags, kAltitudeSide);
  const bool below = side && !side->bytes.empty() && side->bytes[0] == std::byte{1};
  return (below && *value > 0 ? u"-" : u"") + decimalText(*value, 1) + u" m";
}

struct Property {
  std::uint16_t number;
  std::uint32_t label;  // 0: only used by other properties
  std::u16string (*format)(const Tags&, const PictureTag&);
};

// Of several numbers with the same label the first found counts.
constexpr Property kProperties[] = {
    {0x9C9B, label::kPictureTitle, windowsText},
    {0x010D, label::kPictureTitle, text},
    {0x010E, label::kDescription, text},
    {0x0131, label::kCreationSoftware, text},
    {0x9C9D, label::kPictureAuthor, windowsText},
    {0x013B, label::kPictureAuthor, text},
    {0x8298, label::kPictureCopyright, text},
    {0x9C9C, label::kPictureComment, windowsText},
    {0x9286, label::kPictureComment, userComment},
    {0x9C9F, label::kSubject, windowsText},
    {0x9C9E, label::kKeywords, windowsText},
    {0x010F, label::kCameraMake, text},
    {0x0110, label::kCameraModel, text},
    {0xA434, label::kLensModel, text},
    {0x0132, label::kDateModified, date},
    {0x9003, label::kDateTaken, date},
    {0x9004, label::kDateDigitized, date},
    {0x0112, label::kOrientation, number<orientation>},
    {0x829A, label::kExposureTime, number<seconds>},
    {0x829D, label::kFNumber, number<aperture>},
    {0x8822, label::kExposureProgram, number<exposureProgram>},
    {0x8827, label::kIsoSpeed, number<nonZero>},
    {0x9201, label::kShutterSpeed, number<shutterValue>},
    {0x9202, label::kAperture, number<apertureValue>},
    {0x9203, label::kBrightness, number<plain>},
    {0x9204, label::kExposureBias, number<exposureSteps>},
    {0x9205, label::kMaximumAperture, number<apertureValue>},
    {0x9206, label::kSubjectDistance, distance},
    {0x9207, label::kMeteringMode, number<meteringMode>},
    {0x9208, label::kLightSource, number<lightSource>},
    {0x9209, label::kFlash, number<flash>},
    {0xA20B, label::kFlashEnergy, number<plain>},
    {0x920A, label::kFocalLength, number<length>},
    {0xA405, label::kFocalLengthIn35mm, number<length>},
    {0xA402, label::kExposureMode, number<autoOrManual>},
    {0xA403, label::kWhiteBalance, number<autoOrManual>},
    {0xA404, label::kDigitalZoom, number<zoom>},
    {0xA001, label::kColorSpace, number<colorSpace>},
    {0x9000, label::kExifVersion, version},
    {2, label::kLatitude, coordinate<kLatitudeSide>},
    {4, label::kLongitude, coordinate<kLongitudeSide>},
    {6, label::kAltitude, altitude},
    {kLatitudeSide, 0, nullptr},
    {kLongitudeSide, 0, nullptr},
    {kAltitudeSide, 0, nullptr},
};

constexpr auto kWanted = [] {
  std::array<std::uint16_t, std::size(kProperties)> numbers{};
  std::ranges::transform(kProperties, numbers.begin(), &Property::number);
  return numbers;
}();

}  // namespace

bool addPictureProperties(File& file, PropertyMap& metaInfo) {
  const std::string header = extractPictureHeader(file, kWanted);
  if (header.empty()) return false;
  const Tags tags = decodePictureTags(std::as_bytes(std::span(header)));
  bool found = false;
  for (const Property& property : kProperties) {
    const PictureTag* const tag = findTag(tags, property.number);
    if (!tag || property.label == 0) continue;
    const std::u16string value = property.format(tags, *tag);
    if (value.empty()) continue;
    found = true;
    metaInfo.emplace(property.label, value);
  }
  return found;
}

}  // namespace tessaron

CGPImageMDParser::CGPImageMDParser() = default;
CGPImageMDParser::CGPImageMDParser(const CGPImageMDParser&) = default;
CGPImageMDParser& CGPImageMDParser::operator=(const CGPImageMDParser&) = default;
CGPImageMDParser::~CGPImageMDParser() = default;

bool CGPImageMDParser::parseByFileName(const std::u16string& path, PropertyMap& metaInfo) {
  std::error_code error;
  const auto file = tessaron::openFile(path, {}, error);
  return file && tessaron::addPictureProperties(*file, metaInfo);
}
