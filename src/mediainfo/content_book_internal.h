#pragma once

#include <string>
#include <vector>

#include "mediainfo/property_map.h"
#include "platform/file.h"
#include "support/zip_reader.h"

namespace tessaron {

/// What a book or another document tells of itself.
struct BookContent {
  std::string kind;  ///< the kind's name where the archive makes it one: "EPUB"
  PropertyMap texts;
  std::string cover;  ///< a picture file; empty when there is none, or it is not wanted
  std::string coverName;
};

/// Describes a zip archive that is an EPUB book or an office document; `kind` is empty when it is
/// neither. Unpacks at most a few MiB, and a cover of at most 32 MiB only when `wantsCover`.
BookContent readZipContent(File& file, const std::vector<ZipEntry>& entries, bool wantsCover);

/// Describes a FictionBook document.
BookContent readFictionBook(File& file);

/// Describes a Mobipocket book; its cover as above.
BookContent readMobipocket(File& file, bool wantsCover);

}  // namespace tessaron
