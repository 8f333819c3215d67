#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "tessaron_export.h"
#include "themes/theme_check.h"

namespace tessaron {

/// Why a folder could not be packed. A value: each thread may use its own.
struct PackError {
  bool isUnreadable = false;  ///< otherwise the content of `path` cannot be packed
  std::u16string path;        ///< the folder or a file in it
  std::string reason;         ///< one line in English; empty without an error

  explicit operator bool() const { return !reason.empty(); }
};

/// Puts the package of all files in `folder` into `package`: "main.xml" first, then the others by
/// name. The same files always give the same bytes; the identifier is a hash of their names and
/// contents. `warnings` gets what checkTheme finds in it. On an error both are unchanged: something
/// cannot be read, there is no "main.xml", or something could not be unpacked again. That is a
/// folder, a link, an empty file, a file above 256 MiB, more than 1 GiB or 4096 files in total, a
/// name that some system does not accept, or a second "main.xml" in other case. Any number of
/// threads may call it at once.
TESSARON_API PackError packFolder(std::u16string_view folder, std::string& package,
                                  std::vector<ThemeWarning>& warnings);

}  // namespace tessaron
