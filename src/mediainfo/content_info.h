#pragma once

#include <string>

#include "mediainfo/file_info.h"
#include "tessaron_export.h"

/// The description of one file by its content: what its first bytes say that it is, whatever its
/// name. It fills the same members as CFileInfo does, which goes by the name, and knows more kinds:
/// pictures, sound and film of today, books, archives. `info` has the kind's name (40401) and what
/// holds for the whole file, `metaInfo` tags and properties, the lists what each stream tells.
/// A film is a film in whatever container. One thread at a time may use a record; threads may fill
/// different ones.
class TESSARON_API ContentInfo : public CFileInfo {
 public:
  /// Whether to fill `thumbnails` with the picture itself, or with the cover of a book, of sound or
  /// of a film.
  bool wantsThumbnail = false;
  /// Whether to tell where a picture or film was taken (40237 to 40239).
  bool wantsLocation = false;

  ContentInfo();
  ContentInfo(const ContentInfo&);
  ContentInfo(ContentInfo&&) noexcept;
  ContentInfo& operator=(const ContentInfo&);
  ContentInfo& operator=(ContentInfo&&) noexcept;
  ~ContentInfo();

  /// Opens and describes the file at `filePath`. False, and what was found so far stays, where
  /// CFileInfo::fromFile returns false. A damaged file is described as far as it can be read.
  bool fromFile(const std::u16string& filePath) override;
  /// As above, from a file that is open already; `filePath` only gives it its names, and is opened
  /// on Windows alone. Neither opens other files (after `prepare`) nor starts threads nor writes.
  bool fromOpenFile(tessaron::File& file, const std::u16string& filePath);

  /// Loads the libraries that describe files and lets them initialize themselves, which opens
  /// files: for a process that later may not. Any thread may call it.
  static void prepare();

  /// Whether the file's content could not be read at all.
  bool isUnreadable() const { return isUnreadable_; }
  /// Whether a wanted thumbnail is missing although the file is a picture.
  bool isUndecodable() const { return isUndecodable_; }

 protected:
  bool fromFileHandle(tessaron::File& file) override;
  bool fromFilePostProcess() override;

 private:
  bool isUnreadable_ = false;
  bool isUndecodable_ = false;
};
