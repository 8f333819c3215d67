#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <optional>
#include <string_view>

#include "mediainfo/angle_internal.h"
#include "mediainfo/content_media_internal.h"
#include "mediainfo/labels.h"
#include "mediainfo/stream_properties_internal.h"
#include "support/pictures/loading.h"
#include "support/string_table.h"
#include "support/text.h"
#include "support/units.h"

namespace tessaron {
namespace {

struct TagRow {
  std::string_view name;
  std::uint32_t label;
};
// The names of tags in all containers, in lower case. Of several names for a label the first row
// with a value counts.
constexpr TagRow kTags[] = {
    {"title", label::kTitle},
    {"com.apple.quicktime.title", label::kTitle},
    {"com.apple.quicktime.displayname", label::kTitle},
    {"artist", label::kAuthor},
    {"author", label::kAuthor},
    {"com.apple.quicktime.artist", label::kAuthor},
    {"com.apple.quicktime.author", label::kAuthor},
    {"iart", label::kAuthor},
    {"album", label::kAlbum},
    {"com.apple.quicktime.album", label::kAlbum},
    {"date", label::kYear},
    {"date_released", label::kYear},
    {"date_recorded", label::kYear},
    {"year", label::kYear},
    {"com.apple.quicktime.year", label::kYear},
    {"track", label::kTrack},
    {"part_number", label::kTrack},
    {"disc", label::kPartOfSet},
    {"genre", label::kGenre},
    {"com.apple.quicktime.genre", label::kGenre},
    {"copyright", label::kCopyright},
    {"com.apple.quicktime.copyright", label::kCopyright},
    {"comment", label::kComment},
    {"com.apple.quicktime.comment", label::kComment},
    {"description", label::kDescription},
    {"synopsis", label::kDescription},
    {"summary", label::kDescription},
    {"com.apple.quicktime.description", label::kDescription},
    {"keywords", label::kKeywords},
    {"com.apple.quicktime.keywords", label::kKeywords},
    {"subject", label::kSubject},
    {"album_artist", label::kAlbumArtist},
    {"composer", label::kComposer},
    {"conductor", label::kConductor},
    {"performer", label::kAuthor},
    {"director", label::kDirector},
    {"com.apple.quicktime.director", label::kDirector},
    {"producer", label::kProducer},
    {"com.apple.quicktime.producer", label::kProducer},
    {"lyricist", label::kWriter},
    {"written_by", label::kWriter},
    {"publisher", label::kPublisher},
    {"label", label::kPublisher},
    {"grouping", label::kContentGroup},
    {"barcode", label::kBarCode},
    {"upc", label::kBarCode},
    {"ean", label::kBarCode},
    {"ean/upc", label::kBarCode},
    {"asin", label::kAsin},
    {"mood", label::kMood},
    {"lyrics", label::kLyrics},
    {"language", label::kLanguage},
    {"isrc", label::kIsrc},
    {"tsrc", label::kIsrc},
    {"tbpm", label::kBeatsPerMinute},
    {"bpm", label::kBeatsPerMinute},
    {"rating", label::kRating},
    {"show", label::kSeries},
    {"season_number", label::kSeason},
    {"episode_sort", label::kEpisode},
    {"episode_id", label::kEpisode},
    {"encoded_by", label::kEncodedBy},
    {"encoding_tool", label::kEncodingTool},
    {"encoder", label::kEncodingTool},
    {"software", label::kEncodingTool},
    {"com.apple.quicktime.software", label::kEncodingTool},
    {"make", label::kCameraMake},
    {"com.apple.quicktime.make", label::kCameraMake},
    {"com.android.manufacturer", label::kCameraMake},
    {"model", label::kCameraModel},
    {"com.apple.quicktime.model", label::kCameraModel},
    {"com.android.model", label::kCameraModel},
    {"com.apple.quicktime.creationdate", label::kDateCreated},
    {"creation_time", label::kDateCreated},
};

struct CodecRow {
  std::string_view codec;
  const char16_t* name;
};
// Short names of the codecs in use today. The tables by code are older than most of these.
constexpr CodecRow kCodecs[] = {
    {"aac", u"AAC"},
    {"ac3", u"AC-3"},
    {"ac4", u"AC-4"},
    {"alac", u"ALAC"},
    {"amr_nb", u"AMR"},
    {"amr_wb", u"AMR-WB"},
    {"ape", u"Monkey's Audio"},
    {"ass", u"ASS"},
    {"av1", u"AV1"},
    {"dts", u"DTS"},
    {"dvb_subtitle", u"DVB"},
    {"dvd_subtitle", u"VobSub"},
    {"dvvideo", u"DV"},
    {"eac3", u"E-AC-3"},
    {"ffv1", u"FFV1"},
    {"flac", u"FLAC"},
    {"flv1", u"Sorenson Spark"},
    {"h263", u"H.263"},
    {"h264", u"H.264"},
    {"hdmv_pgs_subtitle", u"PGS"},
    {"hevc", u"H.265"},
    {"mjpeg", u"Motion JPEG"},
    {"mov_text", u"Timed Text"},
    {"mp1", u"MPEG Layer 1"},
    {"mp2", u"MPEG Layer 2"},
    {"mp3", u"MPEG Layer 3"},
    {"mpeg1video", u"MPEG-1"},
    {"mpeg2video", u"MPEG-2"},
    {"mpeg4", u"MPEG-4 Visual"},
    {"msmpeg4v3", u"Microsoft MPEG-4 v3"},
    {"opus", u"Opus"},
    {"prores", u"ProRes"},
    {"speex", u"Speex"},
    {"subrip", u"SubRip"},
    {"theora", u"Theora"},
    {"truehd", u"TrueHD"},
    {"tta", u"True Audio"},
    {"vorbis", u"Vorbis"},
    {"vp8", u"VP8"},
    {"vp9", u"VP9"},
    {"vvc", u"H.266"},
    {"wavpack", u"WavPack"},
    {"webvtt", u"WebVTT"},
    {"wmav1", u"Windows Media Audio 1"},
    {"wmav2", u"Windows Media Audio 2"},
    {"wmv1", u"Windows Media Video 7"},
    {"wmv2", u"Windows Media Video 8"},
    {"wmv3", u"Windows Media Video 9"},
    {"jpeg", u"JPEG"},
    {"png", u"PNG"},
    {"webp", u"WebP"},
    {"gif", u"GIF"},
    {"bmp", u"BMP"},
    {"tiff", u"TIFF"},
};

std::u16string tableText(std::uint32_t number) { return std::u16string(stringAt(number)); }

void add(PropertyMap& map, std::uint32_t label, std::u16string value) {
  constexpr std::u16string_view kBlanks = u" \t\r\n";
  value.erase(value.find_last_not_of(kBlanks) + 1);
  value.erase(0, value.find_first_not_of(kBlanks));
  if (!value.empty()) map.emplace(label, std::move(value));
}

std::u16string codecName(const MediaTrack& track) {
  const auto found = std::ranges::find(kCodecs, track.codec, &CodecRow::codec);
  if (found != std::end(kCodecs)) return found->name;
  if (track.codec.starts_with("pcm_")) return u"PCM";
  return fromUtf8(track.stream.codecName);
}

PropertyMap mapOf(const MediaTrack& track) {
  CAudioFormatTagInfo formatTags;
  CFourCCInfo fourCCs;
  PropertyMap map;
  add(map, label::kFormat, codecName(track));
  PropertyMap known = streamProperties(track.stream, formatTags, fourCCs);
  map.merge(known);
  add(map, label::kCodecProfile, fromUtf8(track.profile));
  if (track.pixelBits > 0) add(map, label::kBitDepth, decimalText(track.pixelBits, 0) + u" bit");
  add(map, label::kDynamicRange, fromUtf8(track.dynamicRange));
  if (track.rotation > 0) add(map, label::kRotation, decimalText(track.rotation, 0) + u"\u00B0");
  add(map, label::kChannelLayout, fromUtf8(track.layout));
  if (track.isVariable) add(map, label::kFrameRateMode, tableText(label::kVariable));
  if (track.language != "und") add(map, label::kLanguage, fromUtf8(track.language));
  add(map, label::kTitle, fromUtf8(track.title));
  return map;
}

// "2024-05-06T07:08:09.000000Z" as "2024-05-06 07:08:09 UTC".
std::u16string dateText(std::string_view text) {
  const bool isUtc = text.ends_with('Z');
  std::string plain(isUtc ? text.substr(0, text.size() - 1) : text);
  if (const std::size_t dot = plain.find('.'); isUtc && dot != plain.npos) plain.resize(dot);
  if (plain.size() > 10 && plain[10] == 'T') plain[10] = ' ';
  return fromUtf8(plain + (isUtc ? " UTC" : ""));
}

std::u16string degreesText(double degrees, char16_t positive, char16_t negative) {
  return angleText(std::abs(degrees)) + u' ' + (degrees < 0 ? negative : positive);
}

// A place as ISO 6709 writes it: "+48.8577+002.2950+035.000/".
void addPlace(const std::string& text, PropertyMap& map) {
  char* end = nullptr;
  const double latitude = std::strtod(text.c_str(), &end);
  const bool hasLongitude = *end == '+' || *end == '-';
  const double longitude = hasLongitude ? std::strtod(end, &end) : 0;
  if (!hasLongitude || !(latitude >= -90 && latitude <= 90)) return;
  if (!(longitude >= -180 && longitude <= 180)) return;
  add(map, label::kLatitude, degreesText(latitude, u'N', u'S'));
  add(map, label::kLongitude, degreesText(longitude, u'E', u'W'));
  if (*end == '+' || *end == '-')
    add(map, label::kAltitude, decimalText(std::strtod(end, nullptr), 1) + u" m");
}

void addTags(const MediaContent& media, bool wantsLocation, PropertyMap& map) {
  for (const TagRow& row : kTags) {
    const auto found = std::ranges::find(media.tags, row.name, &MediaTag::name);
    if (found == media.tags.end()) continue;
    add(map, row.label,
        row.label == label::kDateCreated ? dateText(found->value) : fromUtf8(found->value));
  }
  for (const char* name : {"location", "com.apple.quicktime.location.iso6709"}) {
    const auto found = std::ranges::find(media.tags, name, &MediaTag::name);
    if (wantsLocation && found != media.tags.end()) addPlace(found->value, map);
  }
}

std::u16string listed(const std::vector<std::u16string>& texts, const char16_t* separator) {
  std::u16string list;
  for (const std::u16string& text : texts) list += (list.empty() ? u"" : separator) + text;
  return list;
}

void addLanguages(const MediaContent& media, PropertyMap& info) {
  std::vector<std::u16string> sound, subtitles;
  for (const MediaTrack& track : media.tracks) {
    if (track.kind == MediaTrack::Kind::Video) continue;
    const bool isSound = track.kind == MediaTrack::Kind::Audio;
    const bool isKnown = !track.language.empty() && track.language != "und";
    std::u16string text = isKnown ? fromUtf8(track.language) : u"";
    if (!isSound && isKnown) text.append(u" (").append(codecName(track)).append(u")");
    if (!isSound && !isKnown) text = codecName(track);
    auto& list = isSound ? sound : subtitles;
    // The same language may have several streams of sound.
    if (!text.empty() && (!isSound || std::ranges::find(list, text) == list.end()))
      list.push_back(std::move(text));
  }
  add(info, label::kAudioLanguages, listed(sound, u", "));
  add(info, label::kSubtitleLanguages, listed(subtitles, u", "));
}

// Such as "JPEG 600 x 600, 80 kB".
std::u16string coverText(const MediaCover& cover) {
  MediaTrack picture;
  picture.codec = cover.codec == "mjpeg" ? "jpeg" : cover.codec;
  std::u16string text = codecName(picture);
  PictureMeasures size{cover.width, cover.height};
  if (size.width == 0 && !cover.bytes.empty()) {
    const auto file =
        memoryFile({reinterpret_cast<const char*>(cover.bytes.data()), cover.bytes.size()});
    measurePicture(*file, cover.bytes.size(), size);
  }
  if (size.width > 0 && size.height > 0)
    text += u' ' + decimalText(size.width, 0) + u" x " + decimalText(size.height, 0);
  return text + u", " +
         hr_unitCalculator(static_cast<double>(cover.bytes.size()), u"B", u"kmgtp", 1000);
}

void addLists(const MediaContent& media, PropertyMap& info) {
  addLanguages(media, info);
  std::vector<std::u16string> titles, covers;
  for (const MediaCover& cover : media.covers) covers.push_back(coverText(cover));
  for (const std::string& title : media.chapters)
    if (!title.empty()) titles.push_back(fromUtf8(title));
  add(info, label::kCovers, listed(covers, u"; "));
  if (!media.chapters.empty())
    add(info, label::kChapters, decimalText(static_cast<double>(media.chapters.size()), 0));
  add(info, label::kChapterTitles, listed(titles, u"; "));
}

}  // namespace

void addMedia(const MediaContent& media, bool wantsLocation, CFileInfo& info) {
  for (const MediaTrack& track : media.tracks) {
    if (track.kind == MediaTrack::Kind::Subtitle) continue;
    (track.kind == MediaTrack::Kind::Video ? info.videoStreams : info.audioStreams)
        .push_back(mapOf(track));
  }
  addTags(media, wantsLocation, info.metaInfo);
  addLists(media, info.info);
  if (media.seconds > 0) add(info.info, label::kRunTime, runTimeText(media.seconds));
}

std::u16string containerName(const MediaContent& media, std::u16string_view name) {
  const auto has = [&](MediaTrack::Kind kind) {
    return std::ranges::find(media.tracks, kind, &MediaTrack::kind) != media.tracks.end();
  };
  const bool isFilm = has(MediaTrack::Kind::Video);
  if (name == u"Ogg") {
    const auto wanted = isFilm ? MediaTrack::Kind::Video : MediaTrack::Kind::Audio;
    const auto found = std::ranges::find(media.tracks, wanted, &MediaTrack::kind);
    if (found != media.tracks.end()) return u"Ogg " + codecName(*found);
  }
  const bool isSound = has(MediaTrack::Kind::Audio) && !isFilm;
  const bool mayBeFilm = name == u"Matroska" || name == u"WebM" || name == u"MPEG-4" ||
                         name == u"Windows Media" || name == u"QuickTime";
  if (isSound && mayBeFilm) return std::u16string(name) + u" Audio";
  const bool isBare = name == u"MPEG Audio" || name == u"AC-3";
  if (isBare && media.tracks.size() == 1) return codecName(media.tracks[0]);
  return {};
}

}  // namespace tessaron
