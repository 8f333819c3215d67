#pragma once

#include <string>

#include "mediainfo/codec_names.h"
#include "mediainfo/property_map.h"
#include "tessaron_export.h"

/// Describes the streams of a media file of any format that the system knows: libavformat on Linux,
/// DirectShow on Windows. Belongs to one thread at a time.
class TESSARON_API CDSMediaStreamInfo {
 public:
  CDSMediaStreamInfo();
  CDSMediaStreamInfo(const CDSMediaStreamInfo&);
  CDSMediaStreamInfo(CDSMediaStreamInfo&&) noexcept;
  CDSMediaStreamInfo& operator=(const CDSMediaStreamInfo&);
  CDSMediaStreamInfo& operator=(CDSMediaStreamInfo&&) noexcept;
  ~CDSMediaStreamInfo();

  /// Describes each stream in one map. Maps that `audio` and `video` hold already are matched with
  /// the file's streams in order; the video streams of an MPEG program stream by their ids when
  /// `video` is as CMPEGFileParser fills it. A matched map gets the properties that it lacks, and
  /// the codec's name in place of a bare code; its other values stay. Further streams are appended,
  /// unless only times are known of them. False, with both lists unchanged, when the file cannot be
  /// read, its format is unknown, or the system has no reader.
  bool identifyByFileName(const std::u16string& path, StreamList& audio, StreamList& video);

 private:
  CAudioFormatTagInfo formatTags_;
  CFourCCInfo fourCCs_;
};
