#pragma once

#include <tessaron/graphics/pie_chart.h>

#include <cstddef>
#include <map>
#include <memory>
#include <string>
#include <vector>

/// Describes the files of a folder and of all folders below it, one folder a step, and counts them
/// by their category.
class Scan {
 public:
  /// Looks for the folders below `root`, not yet for their files.
  explicit Scan(const std::u16string& root);

  /// Describes the files of the next folder. False when there was none left.
  bool step();
  std::size_t folders() const { return folders_.size(); }
  std::size_t foldersDone() const { return next_; }
  std::size_t files() const { return files_; }
  /// The categories' shares, drawn; null when there are no files.
  std::unique_ptr<GPPieChart> statistics(int width, int height) const;

 private:
  std::vector<std::u16string> folders_;
  std::size_t next_ = 0;
  std::size_t files_ = 0;
  std::map<long, int> categories_;
};
