#pragma once

#include <set>
#include <string>
#include <string_view>

#include "platform/file.h"

namespace tessaron::tool {

/// A folder with a file per cover. Fails with kCannotCreate or kCannotWrite.
class CoverFolder {
 public:
  /// Creates the folder at `path`, or takes the one that is there.
  explicit CoverFolder(const std::string& path);
  /// Writes a cover under a name made of the item's key, and returns the name, which is good in
  /// addresses and on every system.
  std::string write(std::u16string_view key, std::string_view bytes);

 private:
  std::string path_;
  std::unique_ptr<OutputFolder> folder_;
  std::set<std::string> names_;  ///< in small letters
};

}  // namespace tessaron::tool
