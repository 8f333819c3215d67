#pragma once

#include <cstddef>
#include <set>
#include <string>

#include "mediainfo/file_info.h"

namespace tessaron::tool {

/// Names the thumbnails of a run: the picture's name and a hash of its whole path, so that a
/// picture gets the same name in every run and no two pictures share one.
class ThumbnailNames {
 public:
  /// A new name for the picture at `path`, with the extension "png".
  std::string choose(const std::string& path);

 private:
  std::set<std::string> used_;
};

/// The file's picture, scaled down to at most 256 by 256 pixels and rotated according to `metaInfo`
/// (of JPEG and TIFF files), as a PNG file. Empty when there is no picture.
std::string thumbnailOf(CFileInfo& file);

}  // namespace tessaron::tool
