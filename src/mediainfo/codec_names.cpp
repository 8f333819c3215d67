#include "mediainfo/codec_names.h"

#include <algorithm>
#include <array>
#include <string_view>

namespace {

struct AudioFormatTag {
  std::uint16_t code;
  std::u16string_view name;
};

struct FourCC {
  std::uint32_t code;
  std::u16string_view name;

  constexpr FourCC(const char (&characters)[5], std::u16string_view theName)
      : code(0), name(theName) {
    for (int i = 3; i >= 0; --i) code = code << 8 | static_cast<unsigned char>(characters[i]);
  }
};

constexpr auto kAudioFormatTags = std::to_array<AudioFormatTag>({
#include "mediainfo/audio_format_tags.inc"
});

// QUIRK: the code of Intel Indeo 4 ends with a zero byte. Files fill short codes up with spaces.
// Kept: callers look the code up as it stands here.
constexpr auto kFourCCs = std::to_array<FourCC>({
#include "mediainfo/fourccs.inc"
});

template <typename Table>
constexpr bool namesEachCodeOnce(Table table) {
  std::ranges::sort(table, {}, &Table::value_type::code);
  return std::ranges::adjacent_find(table, {}, &Table::value_type::code) == table.end() &&
         std::ranges::none_of(table, [](const auto& row) { return row.name.empty(); });
}

static_assert(kAudioFormatTags.size() == 49 && namesEachCodeOnce(kAudioFormatTags));
static_assert(kFourCCs.size() == 160 && namesEachCodeOnce(kFourCCs));

}  // namespace

CAudioFormatTagInfo::CAudioFormatTagInfo() {
  for (const auto& [code, name] : kAudioFormatTags) names[code] = name;
}

CAudioFormatTagInfo::CAudioFormatTagInfo(const CAudioFormatTagInfo&) = default;
CAudioFormatTagInfo::CAudioFormatTagInfo(CAudioFormatTagInfo&&) noexcept = default;
CAudioFormatTagInfo& CAudioFormatTagInfo::operator=(const CAudioFormatTagInfo&) = default;
CAudioFormatTagInfo& CAudioFormatTagInfo::operator=(CAudioFormatTagInfo&&) noexcept = default;
CAudioFormatTagInfo::~CAudioFormatTagInfo() = default;

bool CAudioFormatTagInfo::getNameByFormatTag(std::uint16_t tag, std::u16string& name) {
  // QUIRK: an unknown tag is added without a name. A lookup would not be expected to change
  // anything. Kept: callers count on the map to hold every tag that was asked for.
  name = names[tag];
  return !name.empty();
}

CFourCCInfo::CFourCCInfo() {
  for (const FourCC& row : kFourCCs) names[row.code] = row.name;
}

CFourCCInfo::CFourCCInfo(const CFourCCInfo&) = default;
CFourCCInfo::CFourCCInfo(CFourCCInfo&&) noexcept = default;
CFourCCInfo& CFourCCInfo::operator=(const CFourCCInfo&) = default;
CFourCCInfo& CFourCCInfo::operator=(CFourCCInfo&&) noexcept = default;
CFourCCInfo::~CFourCCInfo() = default;

bool CFourCCInfo::getNameByFourCC(std::uint32_t code, std::u16string& name) {
  name = names[code];  // QUIRK: as for the format tags
  return !name.empty();
}
