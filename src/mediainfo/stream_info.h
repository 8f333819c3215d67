#pragma once

#include <string>

#include "mediainfo/codec_names.h"
#include "mediainfo/property_map.h"
#include "tessaron_export.h"

/// Describes the streams of a media file of any format that the system knows: libavformat on Linux,
/// DirectShow on Windows.
class TESSARON_API CDSMediaStreamInfo {
 public:
  CDSMediaStreamInfo();
  CDSMediaStreamInfo(const CDSMediaStreamInfo&);
  CDSMediaStreamInfo(CDSMediaStreamInfo&&) noexcept;
  CDSMediaStreamInfo& operator=(const CDSMediaStreamInfo&);
  CDSMediaStreamInfo& operator=(CDSMediaStreamInfo&&) noexcept;
  ~CDSMediaStreamInfo();

  /// Describes each stream in a map of its own. The first audio (video) stream of the file is taken
  /// for the first map that is in `audio` (`video`) already, and so on; the video streams of an
  /// MPEG program stream are told apart by their ids when `video` is as CMPEGFileParser fills it.
  /// Such a map gets what it lacks, and the codec's name in place of a bare code; it keeps all
  /// else. Further maps are appended, unless nothing but times is known of a stream. False, with
  /// both lists as they were, when the file cannot be read or is of no known format, or the system
  /// has no reader.
  bool identifyByFileName(const std::u16string& path, StreamList& audio, StreamList& video);

 private:
  CAudioFormatTagInfo formatTags_;
  CFourCCInfo fourCCs_;
};
