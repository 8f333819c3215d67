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

/// Scales the file's picture down to at most 256 by 256 pixels, rotates it according to `metaInfo`
/// (of JPEG and TIFF files) and writes it as a PNG file. False when there is no picture. Fails with
/// kCannotCreate or kCannotWrite.
bool writeThumbnail(CFileInfo& file, const std::string& path);

}  // namespace tessaron::tool
