#include <algorithm>
#include <cstdio>

#include "mediainfo/labels.h"
#include "mediainfo/stream_properties_internal.h"
#include "support/text.h"
#include "support/units.h"

namespace tessaron {
namespace {

std::u16string number(std::uint32_t value) { return fromUtf8(std::to_string(value)); }

std::u16string hexadecimal(std::uint32_t value, int digits) {
  char text[16];
  std::snprintf(text, sizeof text, "0x%0*X", digits, static_cast<unsigned>(value));
  return fromUtf8(text);
}

// Returns the four characters, or the number when they are not printable.
std::u16string fourCCText(std::uint32_t code) {
  std::u16string text;
  for (int shift = 0; shift < 32; shift += 8) text += static_cast<char16_t>(code >> shift & 0xFF);
  text.resize(text.find_last_not_of(std::u16string_view(u" \0", 2)) + 1);
  for (const char16_t unit : text) {
    if (unit < u' ' || unit > u'~') return hexadecimal(code, 8);
  }
  return text;
}

std::u16string codeText(std::uint32_t code, bool isVideo) {
  return isVideo ? fourCCText(code) : hexadecimal(code, 4);
}

std::u16string formatName(const MediaStream& stream, CAudioFormatTagInfo& formatTags,
                          CFourCCInfo& fourCCs) {
  std::u16string name;
  for (const std::uint32_t code : stream.codes) {
    if (code == 0) continue;
    if (stream.isVideo ? fourCCs.getNameByFourCC(code, name)
                       : formatTags.getNameByFormatTag(static_cast<std::uint16_t>(code), name)) {
      return name;
    }
  }
  if (!stream.codecName.empty()) return fromUtf8(stream.codecName);
  const std::uint32_t code = stream.codes[0];
  return code == 0 ? std::u16string() : codeText(code, stream.isVideo);
}

}  // namespace

PropertyMap streamProperties(const MediaStream& stream, CAudioFormatTagInfo& formatTags,
                             CFourCCInfo& fourCCs) {
  PropertyMap map;
  const auto isTime = [](const auto& entry) {
    return entry.first == label::kRunTime || entry.first == label::kFrameRate;
  };
  const auto add = [&map](std::uint32_t key, std::u16string text) {
    if (!text.empty()) map.emplace(key, std::move(text));
  };
  add(label::kFormat, formatName(stream, formatTags, fourCCs));
  if (stream.bitRate > 0) add(label::kDataRate, dataRateText(stream.bitRate));
  if (stream.seconds > 0) add(label::kRunTime, runTimeText(stream.seconds));
  if (stream.channels > 0) add(label::kChannels, number(stream.channels));
  if (stream.sampleRate > 0) {
    std::u16string sample = number(stream.sampleRate) + u" Hz";
    if (stream.sampleBits > 0) sample += u", " + number(stream.sampleBits) + u" bit";
    add(label::kSample, std::move(sample));
  }
  if (stream.width > 0 && stream.height > 0) {
    add(label::kDimensions, number(stream.width) + u" x " + number(stream.height));
  }
  if (stream.frameRate > 0 && stream.frameRate <= kMaxFrameRate) {
    add(label::kFrameRate, decimalText(stream.frameRate, 3) + u" fps");
  }
  if (stream.aspectX > 0 && stream.aspectY > 0) {
    add(label::kAspectRatio, number(stream.aspectX) + u':' + number(stream.aspectY));
  }
  if (std::ranges::all_of(map, isTime)) map.clear();
  return map;
}

bool isBareCode(const std::u16string& format, const MediaStream& stream) {
  return std::ranges::any_of(stream.codes, [&](std::uint32_t code) {
    return code != 0 && format == codeText(code, stream.isVideo);
  });
}

}  // namespace tessaron
