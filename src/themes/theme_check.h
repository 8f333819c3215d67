#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <vector>

#include "tessaron_export.h"
#include "themes/theme_package.h"

namespace tessaron {

/// A probable mistake in a theme. A value: each thread may use its own.
struct ThemeWarning {
  std::optional<std::size_t> scheme;  ///< index of the scheme; none: the whole package
  std::u16string name;                ///< file or attribute; empty when it is neither
  std::string reason;                 ///< one line in English
};

/// Finds files that the description names and the package lacks, pictures that nothing names,
/// attributes that should be numbers, and a description without a theme. The package must have been
/// read to its end, for example by `Inspect(true)`. Returns at most 1000 warnings. Any thread may
/// call it while none changes the package.
TESSARON_API std::vector<ThemeWarning> checkTheme(const CThemePackage& package);

/// Returns the files that the scheme names and the package's index lists, but that were not
/// unpacked: dropped ones and those without an entry. The package must have been unpacked by
/// `Initialize`. Damaged files are unpacked; files that the index does not list are not reported.
TESSARON_API std::vector<ThemeWarning> findDropped(const CThemePackage& package,
                                                   const CThemeScheme& scheme);

}  // namespace tessaron
