#pragma once
// libavformat, loaded on first use, and files opened with it. Shared by the readers of streams and
// of tags.

#include <cstdint>

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavformat/avformat.h>
#include <libavutil/channel_layout.h>
#include <libavutil/display.h>
#include <libavutil/mem.h>
#include <libavutil/pixdesc.h>
}

#include <chrono>
#include <span>

#include "platform/file.h"
#include "platform/media_streams.h"

namespace tessaron {

// The functions in use. Their types come from the headers.
#define AV_FUNCTIONS(F)               \
  F(av_channel_layout_describe)       \
  F(av_codec_get_id)                  \
  F(av_codec_get_tag)                 \
  F(av_dict_get)                      \
  F(av_display_rotation_get)          \
  F(av_free)                          \
  F(av_log_set_level)                 \
  F(av_malloc)                        \
  F(av_max_alloc)                     \
  F(av_packet_alloc)                  \
  F(av_packet_free)                   \
  F(av_packet_unref)                  \
  F(av_pix_fmt_desc_get)              \
  F(av_read_frame)                    \
  F(av_stream_get_side_data)          \
  F(av_strdup)                        \
  F(avcodec_descriptor_get)           \
  F(avcodec_profile_name)             \
  F(avformat_alloc_context)           \
  F(avformat_close_input)             \
  F(avformat_find_stream_info)        \
  F(avformat_get_riff_audio_tags)     \
  F(avformat_get_riff_video_tags)     \
  F(avformat_index_get_entries_count) \
  F(avformat_index_get_entry)         \
  F(avformat_open_input)              \
  F(avio_alloc_context)               \
  F(avio_context_free)

/// The functions of libavformat; all null unless `ready`.
struct AvLibrary {
#define DECLARE(name) decltype(&::name) name = nullptr;
  AV_FUNCTIONS(DECLARE)
#undef DECLARE
  bool ready = false;

  AvLibrary();
};

/// The library, loaded by the first call. Any thread may call it.
const AvLibrary& av();

/// A file as libavformat reads it, with limits of time and bytes. One thread at a time.
struct AvSource {
  explicit AvSource(File& opened);

  File& file;
  std::uint64_t size = 0;
  std::uint64_t at = 0;
  std::uint64_t read = 0;
  std::chrono::steady_clock::time_point deadline;

  static int readInto(void* opaque, std::uint8_t* buffer, int count);
  static std::int64_t seekTo(void* opaque, std::int64_t offset, int whence);
  static int interrupted(void* opaque);
};

/// An opened input. Owns its libavformat objects. One thread at a time.
class AvInput {
 public:
  /// `source` must outlive the input.
  explicit AvInput(AvSource& source);
  ~AvInput();
  AvInput(const AvInput&) = delete;
  AvInput& operator=(const AvInput&) = delete;

  explicit operator bool() const { return isOpen_; }
  AVFormatContext* operator->() const { return context_; }
  AVFormatContext* get() const { return context_; }
  std::span<AVStream* const> streams() const { return {context_->streams, context_->nb_streams}; }

 private:
  AVIOContext* io_ = nullptr;
  AVFormatContext* context_ = nullptr;
  bool isOpen_ = false;
};

/// Whether the stream is sound or film; a cover is neither.
bool isListed(const AVStream& stream);
/// Whether the headers declare everything, so that no packets have to be read.
bool isComplete(const AvInput& input);
/// What both systems tell of a stream.
MediaStream describeStream(const AVStream& stream, const AVFormatContext& context);

}  // namespace tessaron
