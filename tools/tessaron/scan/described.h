#pragma once

#include "mediainfo/file_info.h"

namespace tessaron::tool {

/// A file's description. A picture that cannot or need not be decoded gets the measures in its
/// header. For one thread at a time.
class Described : public CFileInfo {
 public:
  /// Decodes pictures only where `wantsThumbnail`.
  explicit Described(bool wantsThumbnail) : wantsThumbnail_(wantsThumbnail) {}

  /// Whether the content of a picture, of sound or of a film could not be read.
  bool isUnreadable() const { return isUnreadable_; }
  /// Whether only the header of a picture could be read, although a thumbnail was wanted.
  bool isUndecodable() const { return isUndecodable_; }

 private:
  bool fromFileHandle(File& file) override;

  bool wantsThumbnail_;
  bool isUnreadable_ = false;
  bool isUndecodable_ = false;
};

}  // namespace tessaron::tool
