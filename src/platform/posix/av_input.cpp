#include "platform/posix/av_input.h"

#include <dlfcn.h>

#include <algorithm>
#include <numeric>
#include <type_traits>

namespace tessaron {
namespace {

constexpr std::int64_t kProbedBytes = 1 << 20;
constexpr std::uint64_t kReadBytes = 16 << 20;  // bytes, with headers at the end of a file
constexpr auto kTime = std::chrono::seconds(3);
constexpr int kBufferSize = 32 << 10;

// Refuses the other files that playlists name.
int refuseToOpen(AVFormatContext*, AVIOContext**, const char*, int, AVDictionary**) {
  return AVERROR(EPERM);
}

bool isProgramStream(const AVFormatContext& context) {
  return context.iformat->name == std::string_view("mpeg");
}

double secondsOf(const AVStream& stream, const AVFormatContext& context) {
  // An interrupted recording claims more frames than its file has bytes.
  const auto* source = static_cast<const AvSource*>(context.pb->opaque);
  if (stream.nb_frames > static_cast<std::int64_t>(source->size)) return 0;
  if (stream.duration > 0) {
    return static_cast<double>(stream.duration) * stream.time_base.num / stream.time_base.den;
  }
  return context.duration > 0 ? static_cast<double>(context.duration) / AV_TIME_BASE : 0;
}

// A codec has several codes: prefers the file's own if the tables know it.
std::array<std::uint32_t, 2> codesOf(const AVCodecParameters& codec) {
  const bool isVideo = codec.codec_type == AVMEDIA_TYPE_VIDEO;
  const AVCodecTag* const tables[] = {
      isVideo ? av().avformat_get_riff_video_tags() : av().avformat_get_riff_audio_tags(), nullptr};
  const bool isKnown = codec.codec_tag != 0 && (isVideo || codec.codec_tag <= 0xFFFF) &&
                       av().av_codec_get_id(tables, codec.codec_tag) == codec.codec_id;
  return {isKnown ? codec.codec_tag : 0, av().av_codec_get_tag(tables, codec.codec_id)};
}

std::uint32_t positive(std::int64_t value) {
  return static_cast<std::uint32_t>(std::clamp<std::int64_t>(value, 0, 0xFFFFFFFF));
}

double quotient(AVRational value) {
  return value.num > 0 && value.den > 0 ? static_cast<double>(value.num) / value.den : 0;
}

}  // namespace

// Not linked: it depends on a hundred libraries, and most programs never need streams.
AvLibrary::AvLibrary() {
  constexpr const char* kName = "libavformat.so." AV_STRINGIFY(LIBAVFORMAT_VERSION_MAJOR);
  void* const loaded = dlopen(kName, RTLD_NOW | RTLD_LOCAL | RTLD_NOLOAD);
  void* const library = loaded ? loaded : dlopen(kName, RTLD_NOW | RTLD_LOCAL);
  if (!library) return;
  ready = true;
  const auto find = [&](auto& function, const char* name) {
    function = reinterpret_cast<std::remove_reference_t<decltype(function)>>(dlsym(library, name));
    ready = ready && function;
  };
#define FIND(name) find(name, #name);
  AV_FUNCTIONS(FIND)
#undef FIND
  // A program that uses libavformat itself has set its own level and limit.
  if (!ready || loaded) return;
  constexpr std::size_t kMaxBlock = 64 << 20;
  av_log_set_level(AV_LOG_QUIET);
  av_max_alloc(kMaxBlock);
}

const AvLibrary& av() {
  static const AvLibrary library;
  return library;
}

AvSource::AvSource(File& opened)
    : file(opened),
      size(opened.size().value_or(0)),
      deadline(std::chrono::steady_clock::now() + kTime) {}

int AvSource::readInto(void* opaque, std::uint8_t* buffer, int count) {
  auto& self = *static_cast<AvSource*>(opaque);
  if (self.read >= kReadBytes || interrupted(opaque)) return AVERROR_EOF;
  const auto bytes = std::as_writable_bytes(std::span(buffer, static_cast<std::size_t>(count)));
  const std::size_t got = self.file.readAt(self.at, bytes).value_or(0);
  self.at += got;
  self.read += got;
  return got > 0 ? static_cast<int>(got) : AVERROR_EOF;
}

std::int64_t AvSource::seekTo(void* opaque, std::int64_t offset, int whence) {
  auto& self = *static_cast<AvSource*>(opaque);
  const auto size = static_cast<std::int64_t>(self.size);
  if (whence & AVSEEK_SIZE) return size;
  whence &= ~AVSEEK_FORCE;
  if (whence == SEEK_CUR) offset += static_cast<std::int64_t>(self.at);
  if (whence == SEEK_END) offset += size;
  if (offset < 0) return AVERROR(EINVAL);
  self.at = static_cast<std::uint64_t>(offset);
  return offset;
}

int AvSource::interrupted(void* opaque) {
  return std::chrono::steady_clock::now() > static_cast<AvSource*>(opaque)->deadline;
}

AvInput::AvInput(AvSource& source) {
  if (!av().ready) return;
  auto* const buffer = static_cast<unsigned char*>(av().av_malloc(kBufferSize));
  if (!buffer) return;
  io_ = av().avio_alloc_context(buffer, kBufferSize, 0, &source, AvSource::readInto, nullptr,
                                AvSource::seekTo);
  if (!io_) av().av_free(buffer);
  context_ = av().avformat_alloc_context();
  if (!io_ || !context_) return;
  context_->pb = io_;
  context_->io_open = refuseToOpen;
  context_->protocol_whitelist = av().av_strdup("none");
  context_->interrupt_callback = {AvSource::interrupted, &source};
  context_->probesize = kProbedBytes;
  context_->max_analyze_duration = AV_TIME_BASE / 2;
  // A context that cannot be opened is freed and set to null.
  if (av().avformat_open_input(&context_, "", nullptr, nullptr) == 0) isOpen_ = true;
}

AvInput::~AvInput() {
  if (!av().ready) return;
  if (context_) av().avformat_close_input(&context_);
  if (io_) av().av_free(io_->buffer);
  av().avio_context_free(&io_);
}

bool isListed(const AVStream& stream) {
  const AVMediaType type = stream.codecpar->codec_type;
  const bool isCover = (stream.disposition & AV_DISPOSITION_ATTACHED_PIC) != 0;
  return type == AVMEDIA_TYPE_AUDIO || (type == AVMEDIA_TYPE_VIDEO && !isCover);
}

bool isComplete(const AvInput& input) {
  if (input->nb_streams == 0) return false;
  return std::ranges::all_of(input.streams(), [&](const AVStream* stream) {
    const AVCodecParameters& codec = *stream->codecpar;
    if (!isListed(*stream)) return true;
    const bool isVideo = codec.codec_type == AVMEDIA_TYPE_VIDEO;
    return codec.codec_id != AV_CODEC_ID_NONE && secondsOf(*stream, *input.get()) > 0 &&
           (isVideo ? codec.width > 0 && stream->avg_frame_rate.num > 0
                    : codec.sample_rate > 0 && codec.ch_layout.nb_channels > 0);
  });
}

MediaStream describeStream(const AVStream& from, const AVFormatContext& context) {
  const AVCodecParameters& codec = *from.codecpar;
  MediaStream to;
  to.isVideo = codec.codec_type == AVMEDIA_TYPE_VIDEO;
  if (isProgramStream(context)) to.packetId = static_cast<std::uint8_t>(from.id);
  to.codes = codesOf(codec);
  const AVCodecDescriptor* const descriptor = av().avcodec_descriptor_get(codec.codec_id);
  if (descriptor && codec.codec_id != AV_CODEC_ID_NONE) {
    to.codecName = descriptor->long_name ? descriptor->long_name : descriptor->name;
  }
  to.bitRate = static_cast<double>(codec.bit_rate);
  to.seconds = secondsOf(from, context);
  if (!to.isVideo) {
    to.channels = positive(codec.ch_layout.nb_channels);
    to.sampleRate = positive(codec.sample_rate);
    to.sampleBits = positive(codec.bits_per_raw_sample > 0 ? codec.bits_per_raw_sample
                                                           : codec.bits_per_coded_sample);
    return to;
  }
  to.width = positive(codec.width);
  to.height = positive(codec.height);
  to.frameRate = quotient(from.avg_frame_rate.num > 0 ? from.avg_frame_rate : from.r_frame_rate);
  const AVRational pixel =
      from.sample_aspect_ratio.num > 0 ? from.sample_aspect_ratio : codec.sample_aspect_ratio;
  if (pixel.num > 0 && pixel.den > 0) {
    const std::int64_t x = std::int64_t{codec.width} * pixel.num;
    const std::int64_t y = std::int64_t{codec.height} * pixel.den;
    const std::int64_t common = std::max<std::int64_t>(std::gcd(x, y), 1);
    to.aspectX = positive(x / common);
    to.aspectY = positive(y / common);
  }
  return to;
}

}  // namespace tessaron
