#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <vector>

#include "tessaron_export.h"
#include "themes/theme_package.h"

namespace tessaron {

/// Something in a theme that its maker will not have meant.
struct ThemeWarning {
  std::optional<std::size_t> scheme;  ///< which one it is about, from 0; none: the whole package
  std::u16string name;                ///< the file or the attribute; empty when it is neither
  std::string reason;                 ///< one line in English
};

/// Looks for files that the description names and the package lacks, pictures that it has and
/// nothing names, attributes that should be numbers and are none, and a description without a
/// theme. The package was read to its end: by `Inspect(true)`, for example. At most 1000 warnings
/// come back.
TESSARON_API std::vector<ThemeWarning> checkTheme(const CThemePackage& package);

/// The files that the scheme names and the package's index lists, but that were not unpacked: they
/// were dropped, or their entry is missing. The package was unpacked by `Initialize`. What is only
/// damaged is there; what the index does not list is none that the package lost.
TESSARON_API std::vector<ThemeWarning> findDropped(const CThemePackage& package,
                                                   const CThemeScheme& scheme);

}  // namespace tessaron
