#pragma once

#include <string>

#include "mediainfo/file_info.h"
#include "tessaron_export.h"

/// Reads the properties that cameras and drawing programs write into pictures. Threads may share
/// one.
class TESSARON_API CGPImageMDParser {
 public:
  CGPImageMDParser();
  CGPImageMDParser(const CGPImageMDParser&);
  CGPImageMDParser& operator=(const CGPImageMDParser&);
  ~CGPImageMDParser();

  /// Adds the properties of a JPEG or TIFF picture to `metaInfo` (labels 40201 to 40239), in words
  /// and units for people. An entry that is there already stays as it is. Pixels are not decoded.
  /// False when the file cannot be opened or holds no such properties; `metaInfo` is then
  /// unchanged.
  bool parseByFileName(const std::u16string& path, PropertyMap& metaInfo);
};
