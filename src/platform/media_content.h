#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "platform/file.h"
#include "platform/media_streams.h"

namespace tessaron {

/// A stream with what the container and the codec's configuration tell of it. Texts are UTF-8 and
/// empty where nothing is known.
struct MediaTrack {
  enum class Kind : std::uint8_t { Audio, Video, Subtitle };
  Kind kind = Kind::Audio;
  MediaStream stream;  ///< of a subtitle only the codec's name
  std::string codec;   ///< short name in lower case: "h264", "aac"
  std::string profile;
  std::string layout;  ///< of the channels: "stereo", "5.1"
  std::string dynamicRange;
  std::string language;  ///< as the file has it, mostly three letters
  std::string title;
  std::uint32_t pixelBits = 0;  ///< of one color component
  int rotation = 0;             ///< degrees clockwise that it is to be turned by, 0 to 359
  bool isVariable = false;      ///< its frames are not shown equally long
};

struct MediaTag {
  std::string name;  ///< in lower case
  std::string value;
};

/// A picture that belongs to the file, such as a cover.
struct MediaCover {
  std::string codec;  ///< "mjpeg", "png"
  std::uint32_t width = 0;
  std::uint32_t height = 0;
  std::vector<std::byte> bytes;
};

/// What a media file's container tells.
struct MediaContent {
  std::string container;  ///< the reader's name for it: "matroska,webm"
  double seconds = 0;     ///< run time; 0 when unknown
  std::vector<MediaTrack> tracks;
  std::vector<MediaTag> tags;
  std::vector<MediaCover> covers;
  std::vector<std::string> chapters;  ///< titles, which may be empty
};

/// Reads what the system's media library tells of `file`. `path` serves only systems whose library
/// opens files by name. Nothing when the file is of no format that it knows, or when there is no
/// such library. Reads a bounded part of the file, for a bounded time, and opens no other file. Any
/// thread may call it, with a file of its own.
std::optional<MediaContent> readMediaContent(File& file, std::u16string_view path);

/// Loads the library ahead, so that later calls open no files.
void prepareMediaContent();

}  // namespace tessaron
