#include "scan.h"

#include <tessaron/mediainfo/folder_info.h>
#include <tessaron/platform/directory.h>

namespace {

const char16_t* categoryName(long category) {
  switch (category) {
    case 2:
      return u"Archives";
    case 4:
      return u"Documents";
    case 8:
      return u"Fonts";
    case 16:
      return u"Audio";
    case 32:
      return u"Pictures";
    case 64:
      return u"Video";
    default:
      return u"Other";
  }
}

}  // namespace

Scan::Scan(const std::u16string& root) : folders_{root} {
  for (std::size_t i = 0; i < folders_.size(); ++i) {
    std::error_code error;  // a folder that cannot be read has no folders below it
    for (const auto& entry : tessaron::readFolder(folders_[i], error)) {
      if (entry.kind == tessaron::EntryKind::Folder) {
        folders_.push_back(tessaron::joinPath(folders_[i], entry.name));
      }
    }
  }
}

bool Scan::step() {
  if (next_ == folders_.size()) return false;
  CFolderInfo folder;
  folder.fromFolder(folders_[next_++]);
  files_ += folder.files.size();
  for (const CFileInfo& file : folder.files) ++categories_[file.category];
  return true;
}

std::unique_ptr<GPPieChart> Scan::statistics(int width, int height) const {
  if (categories_.empty()) return nullptr;
  auto chart = std::make_unique<GPPieChart>(width, height);
  for (const auto& [category, count] : categories_) {
    chart->feed({categoryName(category), count, static_cast<float>(count)});
  }
  chart->normalize(true);
  chart->draw();
  return chart;
}
