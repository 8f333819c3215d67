#pragma once

#include "mediainfo/content_info.h"

namespace tessaron::tool {

/// How a file is described.
struct DescribedView {
  bool wantsThumbnail = false;
  bool isByName = false;  ///< as the library's CFileInfo does, by the extension of the name
  bool wantsLocation = false;
};

/// A file's description. A picture that cannot or need not be decoded gets the measures in its
/// header. For one thread at a time.
class Described : public ContentInfo {
 public:
  explicit Described(const DescribedView& view) : view_(view) {
    wantsThumbnail = view.wantsThumbnail;
    wantsLocation = view.wantsLocation;
  }

  bool fromFile(const std::u16string& filePath) override;

  /// Whether the content of a file could not be read.
  bool isUnreadable() const { return view_.isByName ? isUnreadable_ : ContentInfo::isUnreadable(); }
  /// Whether only the header of a picture could be read, although a thumbnail was wanted.
  bool isUndecodable() const {
    return view_.isByName ? isUndecodable_ : ContentInfo::isUndecodable();
  }

 private:
  bool fromFileHandle(File& file) override;
  bool fromFilePostProcess() override;

  DescribedView view_;
  bool isUnreadable_ = false;
  bool isUndecodable_ = false;
};

}  // namespace tessaron::tool
