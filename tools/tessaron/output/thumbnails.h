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
  /// The name for the picture at `path`, with the extension "png"; another one for each call.
  std::string choose(const std::string& path);

 private:
  std::set<std::string> used_;
};

/// Reduces the file's picture to 256 by 256 pixels at most, turns it as its properties say that it
/// is to be shown (`metaInfo`, of JPEG and TIFF files) and writes it as a PNG file. False when
/// there is no picture. Fails with kCannotCreate or kCannotWrite.
bool writeThumbnail(CFileInfo& file, const std::string& path);

}  // namespace tessaron::tool
