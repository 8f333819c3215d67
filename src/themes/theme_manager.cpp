#include "themes/theme_manager.h"

#include <utility>

CThemeMan::CThemeMan(std::u16string dataFolder)
    : dataFolder_(std::move(dataFolder)),
      imageCache_(std::make_unique<CImageCacheMan>(dataFolder_ + u"/ImageCache.db")),
      package_(std::make_unique<CThemePackage>()) {}

CThemeMan::~CThemeMan() = default;

std::vector<std::u16string> CThemeMan::packages() const {
  return tessaron::themePackages(dataFolder_);
}

bool CThemeMan::select(const std::u16string&, std::int32_t) { return false; }

const CThemeScheme* CThemeMan::scheme() const {
  return scheme_ < package_->schemes.size() ? package_->schemes[scheme_] : nullptr;
}

std::u16string CThemeMan::picturePath(std::u16string_view) const { return {}; }

std::vector<std::u16string> tessaron::themePackages(std::u16string_view) { return {}; }
