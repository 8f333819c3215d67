#pragma once

#include <cstdint>
#include <string>

#include "mediainfo/file_info.h"
#include "tessaron_export.h"

/// Reads the tags of an audio or video file: title, author, album and others. Threads may share
/// one.
class TESSARON_API CWMMDParser {
 public:
  /// `category` is the file's, as CFileInfo detects it. For a video file, only containers that can
  /// hold tags are read, and the properties of its sound are left out.
  explicit CWMMDParser(std::int32_t category);
  CWMMDParser(const CWMMDParser&);
  CWMMDParser& operator=(const CWMMDParser&);
  ~CWMMDParser();

  /// Adds to `metaInfo` the tags (labels 40301 to 40346) and, of an audio file, format, data rate,
  /// channels, sample rate, mode and run time. An entry that is there already stays as it is.
  /// Reads a bounded part of the file, whatever its size and its claims. False when the file cannot
  /// be opened or is of no kind that has tags; `metaInfo` is then unchanged.
  bool parseByFileName(const std::u16string& path, PropertyMap& metaInfo);
  /// As above, from an open file.
  bool parseByHandle(tessaron::File& file, PropertyMap& metaInfo);

 private:
  std::int32_t category_;
};
