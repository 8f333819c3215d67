#pragma once

#include "mediainfo/file_info.h"

namespace tessaron::tool {

/// The library's description of a file by the extension of its name, with what ContentInfo has
/// besides. A picture that cannot or need not be decoded gets the measures in its header. For one
/// thread at a time.
class NamedInfo : public CFileInfo {
 public:
  bool wantsThumbnail = false;
  bool wantsLocation = false;

  /// Whether the content of a file could not be read.
  bool isUnreadable() const { return isUnreadable_; }
  /// Whether only the header of a picture could be read, although a thumbnail was wanted.
  bool isUndecodable() const { return isUndecodable_; }

 private:
  bool fromFileHandle(File& file) override;
  bool fromFilePostProcess() override;

  bool isUnreadable_ = false;
  bool isUndecodable_ = false;
};

}  // namespace tessaron::tool
