#pragma once

#include <string>
#include <string_view>

#include "tessaron_export.h"

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
/// contents. On a fault `package` is untouched: something cannot be read, there is no "main.xml",
/// or something could not be unpacked again, which is a folder, a link, an empty file, one of more
/// than 256 MiB, or a name that some system does not take.
TESSARON_API PackFault packFolder(std::u16string_view folder, std::string& package);

}  // namespace tessaron
