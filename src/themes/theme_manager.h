#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "graphics/image_cache.h"
#include "tessaron_export.h"
#include "themes/theme_package.h"

/// The theme packages of a data folder, the theme in use, and the image cache beside them. One
/// thread at a time; managers of different folders are independent, and processes that unpack the
/// same package wait for each other.
class TESSARON_API CThemeMan {
 public:
  /// Opens the image cache "ImageCache.db" of the folder, which may be missing. No theme is in use.
  explicit CThemeMan(std::u16string dataFolder);
  ~CThemeMan();
  CThemeMan(const CThemeMan&) = delete;
  CThemeMan& operator=(const CThemeMan&) = delete;

  /// Returns the file names of the "*.tpk" packages in the data folder, ignoring the suffix's case,
  /// sorted. Their content is not checked.
  std::vector<std::u16string> packages() const;

  /// Selects a theme: unpacks the package `fileName` of the data folder into a folder below it that
  /// is named after the package's identifier. `scheme` counts from 0. False, with the theme in use
  /// and all files unchanged, when `fileName` is not the name of a file in the data folder, when
  /// the file cannot be read, is no package or has no such scheme, and when it cannot be unpacked;
  /// see `lastReport`. Single dropped files are no failure; see `package().report`.
  bool select(const std::u16string& fileName, std::int32_t scheme);

  /// File name of the package in use; empty when there is none.
  const std::u16string& selectedFile() const { return selectedFile_; }
  /// The package in use; empty when there is none.
  const CThemePackage& package() const { return *package_; }
  /// The report of the last `select`, also of a failed one.
  const tessaron::PackageReport& lastReport() const { return lastReport_; }
  /// The scheme in use; null when there is none. Valid until the next successful `select`.
  const CThemeScheme* scheme() const;
  /// The full path of a file of the theme in use, such as a picture that the scheme names; ignores
  /// case. Empty when the package has no such file or a name that cannot be unpacked. The file may
  /// be missing if it could not be unpacked.
  std::u16string picturePath(std::u16string_view name) const;

  /// The image cache; closed when its file could not be opened.
  CImageCacheMan& imageCache() { return *imageCache_; }

 private:
  std::u16string dataFolder_;
  std::unique_ptr<CImageCacheMan> imageCache_;
  std::u16string selectedFile_;
  std::unique_ptr<CThemePackage> package_;
  tessaron::PackageReport lastReport_;
  std::size_t scheme_ = 0;
};

namespace tessaron {

/// The file names of the "*.tpk" packages in a folder: see CThemeMan::packages.
TESSARON_API std::vector<std::u16string> themePackages(std::u16string_view folder);

}  // namespace tessaron
