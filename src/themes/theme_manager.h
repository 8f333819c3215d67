#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "graphics/image_cache.h"
#include "tessaron_export.h"
#include "themes/theme_package.h"

/// The theme packages of a data folder, the theme in use, and the image cache beside them.
class TESSARON_API CThemeMan {
 public:
  /// Opens the image cache "ImageCache.db" of the folder, which need not be there. No theme is in
  /// use yet.
  explicit CThemeMan(std::u16string dataFolder);
  ~CThemeMan();
  CThemeMan(const CThemeMan&) = delete;
  CThemeMan& operator=(const CThemeMan&) = delete;

  /// The file names of the "*.tpk" packages in the data folder, whatever the case of the suffix,
  /// sorted. What is in them is not looked at.
  std::vector<std::u16string> packages() const;

  /// Takes a theme into use: unpacks the package `fileName` of the data folder, into a folder below
  /// it that is named after the package's identifier. `scheme` counts from 0. False, and the theme
  /// in use stays, when the name is none of a file in the data folder, the package cannot be
  /// opened, is no package, or has no such scheme, and nothing is unpacked then; also when it
  /// cannot be unpacked, which `lastReport` tells. Single files that are dropped are no failure:
  /// `package().report` tells of them.
  bool select(const std::u16string& fileName, std::int32_t scheme);

  /// File name of the package in use; empty when there is none.
  const std::u16string& selectedFile() const { return selectedFile_; }
  /// The package in use, as it was read; empty when there is none.
  const CThemePackage& package() const { return *package_; }
  /// What the last `select` found in its package, also when it failed.
  const tessaron::PackageReport& lastReport() const { return lastReport_; }
  /// The scheme in use; null when there is none. Valid until the next successful `select`.
  const CThemeScheme* scheme() const;
  /// The full path of a file of the theme in use, such as a picture that the scheme names; whatever
  /// its case there. Empty when the package has no such file, or none that may be unpacked. A file
  /// that could not be unpacked is missing.
  std::u16string picturePath(std::u16string_view name) const;

  /// The image cache; it is closed when its file could not be opened.
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
