#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "tessaron_export.h"
#include "themes/theme_check.h"

namespace tessaron {

/// Why a folder could not be packed.
struct PackFault {
  bool isUnreadable = false;  ///< otherwise it holds something that no package can
  std::u16string path;        ///< the folder or a file in it
  std::string reason;         ///< one line in English; empty when there is no fault

  explicit operator bool() const { return !reason.empty(); }
};

/// Puts the package of all files in `folder` into `package`: "main.xml" first, then the others by
/// name. The same files always give the same bytes; the identifier comes from their names and
/// contents. `warnings` gets what checkTheme finds in it. On a fault both are untouched: something
/// cannot be read, there is no "main.xml", or something could not be unpacked again, which is a
/// folder, a link, an empty file, one of more than 256 MiB, more than 1 GiB or 4096 files in all,
/// or a name that some system does not take.
TESSARON_API PackFault packFolder(std::u16string_view folder, std::string& package,
                                  std::vector<ThemeWarning>& warnings);

}  // namespace tessaron
