#include "platform/media_content.h"

#include <algorithm>
#include <cmath>
#include <limits>

#include "platform/posix/av_input.h"

namespace tessaron {
namespace {

constexpr unsigned kMaxStreams = 100;
constexpr unsigned kMaxChapters = 1000;
constexpr int kMaxTags = 200;
constexpr std::size_t kMaxTagBytes = 64 << 10;

std::string lower(std::string_view text) {
  std::string result(text);
  std::ranges::transform(result, result.begin(), [](char c) {
    return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
  });
  return result;
}

std::string tagOf(const AVDictionary* tags, const char* name) {
  const AVDictionaryEntry* const entry = av().av_dict_get(tags, name, nullptr, 0);
  return entry && entry->value ? std::string(entry->value).substr(0, kMaxTagBytes) : "";
}

void addTags(const AVDictionary* from, std::vector<MediaTag>& to) {
  const AVDictionaryEntry* entry = nullptr;
  for (int i = 0; i < kMaxTags; ++i) {
    entry = av().av_dict_get(from, "", entry, AV_DICT_IGNORE_SUFFIX);
    if (!entry) return;
    if (entry->key && entry->value)
      to.push_back({lower(entry->key), std::string(entry->value).substr(0, kMaxTagBytes)});
  }
}

/// Profile and bits of a color component, as the codec's configuration record declares them.
struct Configuration {
  int profile = FF_PROFILE_UNKNOWN;
  std::uint32_t bits = 0;
};

// Reads the records of the MP4 and Matroska formats. Packets need not be decoded for them.
Configuration configurationOf(const AVCodecParameters& codec) {
  const auto size = static_cast<std::size_t>(std::max(codec.extradata_size, 0));
  const std::span<const std::uint8_t> data(codec.extradata, size);
  constexpr std::uint8_t kHigh = 100, kFirstExtended = 110;
  Configuration result;
  if (codec.codec_id == AV_CODEC_ID_H264 && size >= 4 && data[0] == 1) {
    result.profile = data[1];
    const bool isConstrained = data[1] == FF_PROFILE_H264_BASELINE && (data[2] & 0x40) != 0;
    if (isConstrained) result.profile = FF_PROFILE_H264_CONSTRAINED_BASELINE;
    if (data[1] <= kHigh) result.bits = 8;
    // High 10 and above end in chroma format and depths, after the parameter sets.
    if (data[1] >= kFirstExtended && size >= 11 && (data[size - 3] & 0xF8) == 0xF8)
      result.bits = (data[size - 3] & 7u) + 8;
  } else if (codec.codec_id == AV_CODEC_ID_HEVC && size >= 23 && data[0] == 1) {
    result = {data[1] & 0x1F, (data[17] & 7u) + 8};
  } else if (codec.codec_id == AV_CODEC_ID_AAC && size >= 2) {
    result.profile = (data[0] >> 3) - 1;  // the type of audio object, less 1
  } else if (codec.codec_id == AV_CODEC_ID_AV1 && size >= 4 && data[0] == 0x81) {
    const bool isHigh = (data[2] & 0x40) != 0, isTwelve = (data[2] & 0x20) != 0;
    result = {data[1] >> 5, isTwelve ? 12u : isHigh ? 10u : 8u};
  }
  return result;
}

bool hasSideData(const AVStream& stream, AVPacketSideDataType type) {
  return av().av_stream_get_side_data(&stream, type, nullptr) != nullptr;
}

std::string dynamicRangeOf(const AVStream& stream) {
  std::string range;
  switch (stream.codecpar->color_trc) {
    case AVCOL_TRC_SMPTE2084:
      range = hasSideData(stream, AV_PKT_DATA_MASTERING_DISPLAY_METADATA) ? "HDR10" : "HDR (PQ)";
      break;
    case AVCOL_TRC_ARIB_STD_B67:
      range = "HDR (HLG)";
      break;
    default:
      break;
  }
  if (hasSideData(stream, AV_PKT_DATA_DOVI_CONF))
    range = "Dolby Vision" + (range.empty() ? range : ", " + range);
  return range;
}

// Returns degrees clockwise.
int rotationOf(const AVStream& stream) {
  constexpr std::size_t kMatrixBytes = 9 * sizeof(std::int32_t);
  std::size_t size = 0;
  const auto* const data = av().av_stream_get_side_data(&stream, AV_PKT_DATA_DISPLAYMATRIX, &size);
  if (!data || size < kMatrixBytes) return 0;
  const double degrees = av().av_display_rotation_get(reinterpret_cast<const std::int32_t*>(data));
  if (!std::isfinite(degrees)) return 0;
  const int turn = -static_cast<int>(std::lround(degrees));
  return (turn % 360 + 360) % 360;
}

// Whether the times, which are ascending, lie unequally far apart. A clock of milliseconds tells
// equal distances as 33 and 34.
bool isUneven(std::span<const std::int64_t> times) {
  if (times.size() < 4) return false;
  std::int64_t shortest = std::numeric_limits<std::int64_t>::max(), longest = 0;
  // The last frame of a part may have any duration.
  for (std::size_t i = 1; i + 1 < times.size(); ++i) {
    const std::int64_t step = times[i] - times[i - 1];
    if (step <= 0) continue;
    shortest = std::min(shortest, step);
    longest = std::max(longest, step);
  }
  constexpr double kTicks = 1.5, kShare = 0.02;
  const auto allowed = std::max(kTicks, kShare * static_cast<double>(longest));
  return longest > 0 && static_cast<double>(longest - shortest) > allowed;
}

bool hasName(const AvInput& input, std::string_view part) {
  return std::string_view(input->iformat->name).find(part) != std::string_view::npos;
}

// Returns when the first frames of each stream are shown. An MP4 file's table tells it.
std::vector<std::vector<std::int64_t>> frameTimes(const AvInput& input) {
  constexpr std::uint64_t kMaxRead = 4 << 20;  // bytes of packets
  constexpr int kMaxEntries = 2000;
  constexpr int kMaxPackets = 600;
  constexpr std::size_t kMaxFrames = 150;
  std::vector<std::vector<std::int64_t>> times(input.streams().size());
  if (hasName(input, "mp4")) {
    for (std::size_t i = 0; i < times.size(); ++i) {
      AVStream* const stream = input.streams()[i];
      const int count = std::min(av().avformat_index_get_entries_count(stream), kMaxEntries);
      for (int j = 0; j < count; ++j)
        times[i].push_back(av().avformat_index_get_entry(stream, j)->timestamp);
    }
    return times;
  }
  if (!hasName(input, "matroska") && !hasName(input, "flv")) return times;
  AVPacket* packet = av().av_packet_alloc();
  std::uint64_t read = 0;
  for (int i = 0; packet && i < kMaxPackets && read < kMaxRead; ++i) {
    if (av().av_read_frame(input.get(), packet) < 0) break;
    read += static_cast<std::uint64_t>(packet->size);
    const auto stream = static_cast<std::size_t>(packet->stream_index);
    if (stream < times.size() && packet->pts != AV_NOPTS_VALUE)
      times[stream].push_back(packet->pts);
    const bool isEnough = stream < times.size() && times[stream].size() >= kMaxFrames &&
                          input.streams()[stream]->codecpar->codec_type == AVMEDIA_TYPE_VIDEO;
    av().av_packet_unref(packet);
    if (isEnough) break;
  }
  av().av_packet_free(&packet);
  times.resize(input.streams().size());  // packets may have been of streams that no header told of
  // Frames are stored in the order of decoding; those at the end may lack neighbors.
  constexpr std::size_t kReordered = 16;
  for (auto& shown : times) {
    std::ranges::sort(shown);
    if (shown.size() > 2 * kReordered) shown.resize(shown.size() - kReordered);
  }
  return times;
}

void describeVideo(const AVStream& from, MediaTrack& to) {
  const AVCodecParameters& codec = *from.codecpar;
  to.pixelBits = configurationOf(codec).bits;
  const AVPixFmtDescriptor* const pixel =
      av().av_pix_fmt_desc_get(static_cast<AVPixelFormat>(codec.format));
  if (to.pixelBits == 0 && pixel && pixel->nb_components > 0)
    to.pixelBits = static_cast<std::uint32_t>(pixel->comp[0].depth);
  to.dynamicRange = dynamicRangeOf(from);
  to.rotation = rotationOf(from);
}

MediaTrack trackOf(const AVStream& from, const AVFormatContext& context) {
  const AVCodecParameters& codec = *from.codecpar;
  MediaTrack to;
  to.kind = codec.codec_type == AVMEDIA_TYPE_VIDEO   ? MediaTrack::Kind::Video
            : codec.codec_type == AVMEDIA_TYPE_AUDIO ? MediaTrack::Kind::Audio
                                                     : MediaTrack::Kind::Subtitle;
  to.stream = describeStream(from, context);
  if (const auto* const known = av().avcodec_descriptor_get(codec.codec_id)) {
    to.codec = known->name;
    // What containers declare for the samples of such codecs means nothing.
    if ((known->props & AV_CODEC_PROP_LOSSLESS) == 0) to.stream.sampleBits = 0;
  }
  int profile = codec.profile;
  if (profile == FF_PROFILE_UNKNOWN) profile = configurationOf(codec).profile;
  const char* const name = av().avcodec_profile_name(codec.codec_id, profile);
  if (name) to.profile = name;
  if (to.kind == MediaTrack::Kind::Video) describeVideo(from, to);
  if (to.kind == MediaTrack::Kind::Audio && codec.ch_layout.nb_channels > 0) {
    char layout[128] = "";
    const int length = av().av_channel_layout_describe(&codec.ch_layout, layout, sizeof layout);
    if (length > 0 && codec.ch_layout.order != AV_CHANNEL_ORDER_UNSPEC) to.layout = layout;
  }
  to.language = tagOf(from.metadata, "language");
  to.title = tagOf(from.metadata, "title");
  return to;
}

void addCover(const AVStream& stream, MediaContent& content) {
  constexpr std::size_t kMaxCovers = 20;
  const AVPacket& packet = stream.attached_pic;
  if (content.covers.size() == kMaxCovers || packet.size <= 0) return;
  MediaCover& cover = content.covers.emplace_back();
  if (const auto* const known = av().avcodec_descriptor_get(stream.codecpar->codec_id))
    cover.codec = known->name;
  cover.width = static_cast<std::uint32_t>(std::max(stream.codecpar->width, 0));
  cover.height = static_cast<std::uint32_t>(std::max(stream.codecpar->height, 0));
  const auto bytes = std::as_bytes(std::span(packet.data, static_cast<std::size_t>(packet.size)));
  cover.bytes.assign(bytes.begin(), bytes.end());
}

// Whether packets must be read: for what headers lack, or for the kind of pixels.
bool needsPackets(const AvInput& input) {
  return !isComplete(input) || std::ranges::any_of(input.streams(), [](const AVStream* stream) {
    const AVCodecParameters& codec = *stream->codecpar;
    if (!isListed(*stream)) return false;
    if (codec.codec_type == AVMEDIA_TYPE_AUDIO)
      return codec.codec_id == AV_CODEC_ID_AAC && codec.extradata_size < 2;
    return codec.format < 0 && configurationOf(codec).bits == 0;
  });
}

void addStreams(const AvInput& input, MediaContent& content) {
  const auto times = frameTimes(input);
  const auto streams = input.streams();
  for (std::size_t i = 0; i < std::min<std::size_t>(streams.size(), kMaxStreams); ++i) {
    const AVStream& stream = *streams[i];
    if ((stream.disposition & AV_DISPOSITION_ATTACHED_PIC) != 0) {
      addCover(stream, content);
      continue;
    }
    if (!isListed(stream) && stream.codecpar->codec_type != AVMEDIA_TYPE_SUBTITLE) continue;
    MediaTrack track = trackOf(stream, *input.get());
    track.isVariable = track.kind == MediaTrack::Kind::Video && isUneven(times[i]);
    content.tracks.push_back(std::move(track));
  }
  // Ogg keeps the tags in its streams, of which mostly one has any.
  if (hasName(input, "ogg"))
    for (const AVStream* stream : streams) addTags(stream->metadata, content.tags);
}

}  // namespace

std::optional<MediaContent> readMediaContent(File& file, std::u16string_view) {
  if (!av().ready) return std::nullopt;
  AvSource source(file);
  const AvInput input(source);
  if (!input || input->probe_score < AVPROBE_SCORE_RETRY) return std::nullopt;
  // Playlists, texts and single pictures are none of the media that are described here.
  for (const char* other : {"image2", "_pipe", "concat", "hls", "tty"})
    if (hasName(input, other)) return std::nullopt;
  if (needsPackets(input) && av().avformat_find_stream_info(input.get(), nullptr) < 0)
    return std::nullopt;
  MediaContent content;
  content.container = input->iformat->name;
  addTags(input->metadata, content.tags);
  addStreams(input, content);
  if (input->duration > 0) content.seconds = static_cast<double>(input->duration) / AV_TIME_BASE;
  for (const MediaTrack& track : content.tracks)
    if (input->duration <= 0) content.seconds = std::max(content.seconds, track.stream.seconds);
  for (unsigned i = 0; i < std::min(input->nb_chapters, kMaxChapters); ++i)
    content.chapters.push_back(tagOf(input->chapters[i]->metadata, "title"));
  return content;
}

void prepareMediaContent() { av(); }

}  // namespace tessaron
