#include "mediainfo/wm_metadata.h"

#include <taglib/aifffile.h>
#include <taglib/apefile.h>
#include <taglib/asffile.h>
#include <taglib/flacfile.h>
#include <taglib/infotag.h>
#include <taglib/mp4file.h>
#include <taglib/mpegfile.h>
#include <taglib/oggflacfile.h>
#include <taglib/opusfile.h>
#include <taglib/speexfile.h>
#include <taglib/tpropertymap.h>
#include <taglib/vorbisfile.h>
#include <taglib/wavfile.h>

#include <chrono>
#include <cstdio>
#include <memory>
#include <optional>
#include <string_view>

#include "mediainfo/category.h"
#include "mediainfo/labels.h"
#include "mediainfo/mp4_sound_internal.h"
#include "mediainfo/tag_stream_internal.h"
#include "support/string_table.h"
#include "support/text.h"
#include "support/units.h"

namespace tessaron {
namespace {

constexpr std::size_t kKiB = 1024;
constexpr std::size_t kMiB = kKiB * kKiB;

constexpr TagLimits kUsual{16 << 10, 8 * kMiB, kMiB, false};
// TagLib reads each box of an MP4 file, and nested boxes recursively.
constexpr TagLimits kBoxes{kKiB, 8 * kMiB, kMiB, false};
// A block that ends early makes a FLAC file invalid, and its pictures are long.
constexpr TagLimits kFlac{16 << 10, 48 * kMiB, kMiB, true};

using FilePtr = std::unique_ptr<TagLib::File>;
constexpr auto kStyle = TagLib::AudioProperties::Fast;

template <typename Format>
FilePtr open(TagStream& stream) {
  return std::make_unique<Format>(&stream, true, kStyle);
}
template <typename Format>
FilePtr openWithFrames(TagStream& stream) {
  return std::make_unique<Format>(&stream, TagLib::ID3v2::FrameFactory::instance(), true, kStyle);
}

struct Format {
  bool (*recognize)(TagLib::IOStream*);
  FilePtr (*open)(TagStream&);
  TagLimits limits;
  bool mayBeVideo;
};

// Formats with weaker signatures come later.
constexpr Format kFormats[] = {
    {TagLib::ASF::File::isSupported, open<TagLib::ASF::File>, kUsual, true},
    {TagLib::MP4::File::isSupported, open<TagLib::MP4::File>, kBoxes, true},
    {TagLib::RIFF::WAV::File::isSupported, open<TagLib::RIFF::WAV::File>, kUsual, false},
    {TagLib::RIFF::AIFF::File::isSupported, open<TagLib::RIFF::AIFF::File>, kUsual, false},
    {TagLib::Ogg::Vorbis::File::isSupported, open<TagLib::Ogg::Vorbis::File>, kUsual, false},
    {TagLib::Ogg::FLAC::File::isSupported, open<TagLib::Ogg::FLAC::File>, kUsual, false},
    {TagLib::Ogg::Opus::File::isSupported, open<TagLib::Ogg::Opus::File>, kUsual, false},
    {TagLib::Ogg::Speex::File::isSupported, open<TagLib::Ogg::Speex::File>, kUsual, false},
    {TagLib::FLAC::File::isSupported, openWithFrames<TagLib::FLAC::File>, kFlac, false},
    {TagLib::MPEG::File::isSupported, openWithFrames<TagLib::MPEG::File>, kUsual, false},
    {TagLib::APE::File::isSupported, open<TagLib::APE::File>, kUsual, false},
};

FilePtr openTags(TagStream& stream, bool isVideo) {
  for (const Format& format : kFormats) {
    if (isVideo && !format.mayBeVideo) continue;
    stream.limit(format.limits);
    stream.seek(0, TagLib::IOStream::Beginning);
    if (!format.recognize(&stream)) continue;
    stream.seek(0, TagLib::IOStream::Beginning);
    if (FilePtr file = format.open(stream); file->isValid()) return file;
  }
  return nullptr;
}

struct TagName {
  std::uint32_t label;
  const char* property;   // TagLib's name for it in every format, or null
  const char* attribute;  // its name in Windows Media files where TagLib has none, or where
                          // it may be a number
};

constexpr std::string_view kEncodingTime = "WM/EncodingTime";

constexpr TagName kNames[] = {
    {label::kTitle, "TITLE", nullptr},
    {label::kAuthor, "ARTIST", nullptr},
    {label::kAlbum, "ALBUM", nullptr},
    {label::kYear, "DATE", "WM/Year"},
    {label::kTrack, "TRACKNUMBER", nullptr},
    {label::kGenre, "GENRE", nullptr},
    {label::kCopyright, "COPYRIGHT", nullptr},
    {label::kComment, "COMMENT", "Description"},
    {label::kComment, "DESCRIPTION", nullptr},
    {label::kAlbumArtist, "ALBUMARTIST", nullptr},
    {label::kComposer, "COMPOSER", nullptr},
    {label::kConductor, "CONDUCTOR", nullptr},
    {label::kDirector, "DIRECTOR", "WM/Director"},
    {label::kProducer, "PRODUCER", nullptr},
    {label::kWriter, "LYRICIST", nullptr},
    {label::kPublisher, "LABEL", nullptr},
    {label::kPublisher, "PUBLISHER", nullptr},
    {label::kSubtitle, "SUBTITLE", nullptr},
    {label::kContentGroup, "WORK", nullptr},
    {label::kContentGroup, "GROUPING", nullptr},
    {label::kPartOfSet, "DISCNUMBER", "WM/PartOfSet"},
    {label::kMood, "MOOD", nullptr},
    {label::kLyrics, "LYRICS", nullptr},
    {label::kLanguage, "LANGUAGE", nullptr},
    {label::kInitialKey, "INITIALKEY", "WM/InitialKey"},
    {label::kBeatsPerMinute, "BPM", "WM/BeatsPerMinute"},
    {label::kIsrc, "ISRC", nullptr},
    {label::kPeriod, nullptr, "WM/Period"},
    {label::kParentalRating, nullptr, "WM/ParentalRating"},
    {label::kOriginalAlbum, "ORIGINALALBUM", "WM/OriginalAlbumTitle"},
    {label::kOriginalArtist, "ORIGINALARTIST", "WM/OriginalArtist"},
    {label::kOriginalWriter, "ORIGINALLYRICIST", "WM/OriginalLyricist"},
    {label::kOriginalYear, "ORIGINALDATE", "WM/OriginalReleaseYear"},
    {label::kProvider, nullptr, "WM/Provider"},
    {label::kRadioStation, "RADIOSTATION", "WM/RadioStationName"},
    {label::kRadioStationOwner, "RADIOSTATIONOWNER", "WM/RadioStationOwner"},
    {label::kAuthorWebPage, "ARTISTWEBPAGE", "WM/AuthorURL"},
    {label::kFileWebPage, "FILEWEBPAGE", "WM/AudioFileURL"},
    {label::kSourceWebPage, "AUDIOSOURCEWEBPAGE", "WM/AudioSourceURL"},
    {label::kPromotionWebPage, nullptr, "WM/PromotionURL"},
    {label::kUserWebPage, "URL", "WM/UserWebURL"},
    {label::kEncodedBy, "ENCODEDBY", nullptr},
    {label::kEncodingSettings, nullptr, "WM/EncodingSettings"},
    {label::kEncodingTime, "ENCODINGTIME", kEncodingTime.data()},
    {label::kEncodingTool, "ENCODING", "WM/ToolName"},
    {label::kEncodingTool, "ENCODER", nullptr},
    {label::kDistributor, nullptr, "WM/ContentDistributor"},
    {label::kRemixedBy, "REMIXER", nullptr},
    {label::kIdentifier, nullptr, "WM/UniqueFileIdentifier"},
};

std::u16string wideText(const TagLib::String& text) {
  const TagLib::String stripped = text.stripWhiteSpace();
  return {stripped.begin(), stripped.end()};  // TagLib holds UTF-16 units
}

void add(PropertyMap& map, std::uint32_t label, const std::u16string& value) {
  if (!value.empty()) map.emplace(label, value);
}

// A FILETIME as "2004-05-06 07:08:09 UTC"; empty for 0 and for years after 9999.
std::u16string fileTimeText(std::uint64_t steps) {
  using namespace std::chrono;
  constexpr std::uint64_t kStepsPerSecond = 10'000'000;
  constexpr sys_days kEpoch = year(1601) / January / 1;
  constexpr sys_days kEnd = year(10000) / January / 1;
  const sys_seconds time = kEpoch + seconds(steps / kStepsPerSecond);
  if (steps == 0 || time >= kEnd) return {};
  const auto day = floor<days>(time);
  const year_month_day date(day);
  const hh_mm_ss clock(time - day);
  char text[32];
  std::snprintf(text, sizeof text, "%04d-%02u-%02u %02d:%02d:%02d UTC",
                static_cast<int>(date.year()), static_cast<unsigned>(date.month()),
                static_cast<unsigned>(date.day()), static_cast<int>(clock.hours().count()),
                static_cast<int>(clock.minutes().count()),
                static_cast<int>(clock.seconds().count()));
  return fromUtf8(text);
}

std::u16string attributeText(const TagLib::ASF::Tag& tag, std::string_view name) {
  const TagLib::ASF::AttributeList values = tag.attribute(name.data());
  if (values.isEmpty()) return {};
  const TagLib::ASF::Attribute& value = values.front();
  switch (value.type()) {
    case TagLib::ASF::Attribute::UnicodeType:
      return wideText(value.toString());
    case TagLib::ASF::Attribute::WordType:
      return decimalText(value.toUShort(), 0);
    case TagLib::ASF::Attribute::DWordType:
      return decimalText(value.toUInt(), 0);
    case TagLib::ASF::Attribute::QWordType:
      return name == kEncodingTime ? fileTimeText(value.toULongLong()) : std::u16string();
    default:
      return {};
  }
}

void addTags(const TagLib::File& file, PropertyMap& map) {
  const TagLib::PropertyMap properties = file.properties();
  const auto* const asf = dynamic_cast<const TagLib::ASF::Tag*>(file.tag());
  for (const TagName& name : kNames) {
    if (name.property) {
      add(map, name.label, wideText(properties[name.property].toString("; ")));
    }
    if (asf && name.attribute) add(map, name.label, attributeText(*asf, name.attribute));
  }
  if (asf) add(map, label::kRating, wideText(asf->rating()));
  if (const auto* const wave = dynamic_cast<const TagLib::RIFF::WAV::File*>(&file)) {
    add(map, label::kCopyright, wideText(wave->InfoTag()->fieldText("ICOP")));
    add(map, label::kEncodingTool, wideText(wave->InfoTag()->fieldText("ISFT")));
  }
}

std::u16string tableText(std::uint32_t number) { return std::u16string(stringAt(number)); }

void addMpegFormat(const TagLib::MPEG::Properties& mpeg, PropertyMap& map) {
  using Header = TagLib::MPEG::Header;
  if (mpeg.layer() < 1 || mpeg.layer() > 3) return;
  const auto layer = static_cast<std::uint32_t>(mpeg.layer());
  const std::u16string generation = mpeg.version() == Header::Version1   ? u"MPEG-1 "
                                    : mpeg.version() == Header::Version2 ? u"MPEG-2 "
                                                                         : u"MPEG-2.5 ";
  add(map, label::kFormat, generation + tableText(label::kLayer1 + layer - 1));
  const std::uint32_t mode = mpeg.channelMode() == Header::Stereo        ? label::kStereo
                             : mpeg.channelMode() == Header::JointStereo ? label::kJointStereo
                             : mpeg.channelMode() == Header::DualChannel ? label::kDualChannel
                                                                         : label::kMono;
  add(map, label::kMode, tableText(mode));
}

void addSound(const TagLib::AudioProperties& sound, File& file, PropertyMap& map) {
  if (const auto* mpeg = dynamic_cast<const TagLib::MPEG::Properties*>(&sound)) {
    addMpegFormat(*mpeg, map);
  }
  constexpr double kThousand = 1000;
  if (sound.bitrate() > 0) add(map, label::kDataRate, dataRateText(sound.bitrate() * kThousand));
  const bool isMp4 = dynamic_cast<const TagLib::MP4::Properties*>(&sound) != nullptr;
  // The sample entry is right for other codecs than AAC.
  const std::optional<std::uint32_t> configured =
      isMp4 && sound.channels() > 0 ? mp4Channels(file) : std::nullopt;
  const double channels = configured ? *configured : sound.channels();
  if (channels > 0) add(map, label::kChannels, decimalText(channels, 0));
  if (sound.sampleRate() > 0) add(map, label::kSample, decimalText(sound.sampleRate(), 0) + u" Hz");
  const int milliseconds = sound.lengthInMilliseconds();
  if (milliseconds > 0) add(map, label::kRunTime, runTimeText(milliseconds / kThousand));
}

}  // namespace
}  // namespace tessaron

CWMMDParser::CWMMDParser(std::int32_t category) : category_(category) {}
CWMMDParser::CWMMDParser(const CWMMDParser&) = default;
CWMMDParser& CWMMDParser::operator=(const CWMMDParser&) = default;
CWMMDParser::~CWMMDParser() = default;

bool CWMMDParser::parseByFileName(const std::u16string& path, PropertyMap& metaInfo) {
  std::error_code error;
  const auto file = tessaron::openFile(path, {}, error);
  return file && parseByHandle(*file, metaInfo);
}

bool CWMMDParser::parseByHandle(tessaron::File& file, PropertyMap& metaInfo) {
  tessaron::TagStream stream(file);
  const bool isVideo = category_ == tessaron::kVideoCategory;
  const tessaron::FilePtr tags = tessaron::openTags(stream, isVideo);
  if (!tags) return false;
  tessaron::addTags(*tags, metaInfo);
  if (!isVideo && tags->audioProperties()) {
    tessaron::addSound(*tags->audioProperties(), file, metaInfo);
  }
  return true;
}
