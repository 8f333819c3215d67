#include "themes/theme_manager.h"

#include <algorithm>
#include <utility>

#include "platform/directory.h"
#include "platform/text.h"
#include "themes/file_names.h"

CThemeMan::CThemeMan(std::u16string dataFolder)
    : dataFolder_(std::move(dataFolder)),
      imageCache_(
          std::make_unique<CImageCacheMan>(tessaron::joinPath(dataFolder_, u"ImageCache.db"))),
      package_(std::make_unique<CThemePackage>()) {}

CThemeMan::~CThemeMan() = default;

std::vector<std::u16string> CThemeMan::packages() const {
  return tessaron::themePackages(dataFolder_);
}

bool CThemeMan::select(const std::u16string& fileName, std::int32_t scheme) {
  lastReport_ = {};
  if (scheme < 0 || tessaron::faultOfFileName(fileName)) return false;
  const auto number = static_cast<std::size_t>(scheme);
  CThemePackage described;
  described.path = tessaron::joinPath(dataFolder_, fileName);
  described.Inspect(false);
  lastReport_ = described.report;
  if (lastReport_.failure != tessaron::PackageReport::Failure::None) return false;
  if (number >= described.schemes.size()) return false;

  auto package = std::make_unique<CThemePackage>();
  package->path = described.path;
  package->Initialize(dataFolder_, true);
  lastReport_ = package->report;
  if (lastReport_.failure != tessaron::PackageReport::Failure::None) return false;
  if (number >= package->schemes.size()) return false;  // it was replaced meanwhile
  package_ = std::move(package);
  selectedFile_ = fileName;
  scheme_ = number;
  return true;
}

const CThemeScheme* CThemeMan::scheme() const {
  return scheme_ < package_->schemes.size() ? package_->schemes[scheme_] : nullptr;
}

std::u16string CThemeMan::picturePath(std::u16string_view name) const {
  if (tessaron::faultOfFileName(name)) return {};
  for (const auto& entry : package_->report.entries) {
    const auto isIt = [&](const auto& own) { return tessaron::equalIgnoringCase(own, name); };
    const auto own = std::ranges::find_if(entry.names, isIt);
    if (own != entry.names.end()) return tessaron::joinPath(package_->extractionFolder, *own);
  }
  return {};
}

std::vector<std::u16string> tessaron::themePackages(std::u16string_view folder) {
  constexpr std::u16string_view kSuffix = u".tpk";
  std::vector<std::u16string> names;
  std::error_code error;
  for (FolderEntry& entry : readFolder(folder, error)) {
    const std::u16string_view name = entry.name;
    const bool isPackage = name.size() > kSuffix.size() && !faultOfFileName(name) &&
                           equalIgnoringCase(name.substr(name.size() - kSuffix.size()), kSuffix);
    if (isPackage && entry.kind != EntryKind::Folder) names.push_back(std::move(entry.name));
  }
  std::ranges::sort(names);
  return names;
}
