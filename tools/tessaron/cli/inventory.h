#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "cli/failures.h"

namespace tessaron::tool {

/// Folders and files that the command line names, and those below them, in the order of the output:
/// as named, and within a folder the files before the folders, both sorted by name in the order of
/// the user's language, numbers by value.
class Inventory {
 public:
  /// Which files of a folder are here: those that the command line names, all, or none because it
  /// could not be listed.
  enum class Listing { Named, Whole, Failed };
  struct Folder {
    std::int32_t id;
    std::int32_t parentId;  ///< -1 for a folder that the command line names
    std::u16string path;
    Listing listing = Listing::Named;
  };
  struct Entry {
    std::size_t folder;  ///< index of its folder, never below that of the entry before it
    std::u16string name;
  };

  /// Lists folders recursively where `isRecursive`. What cannot be listed is in `failures`. A file
  /// named `without` that stands in a folder, and its journal, are left out: the run's own index.
  Inventory(const std::vector<std::string>& paths, bool isRecursive,
            const std::string& without = {});

  const std::vector<Folder>& folders() const { return folders_; }
  const std::vector<Entry>& files() const { return files_; }
  const std::vector<Failure>& failures() const { return failures_; }
  std::u16string pathOf(const Entry& file) const;

 private:
  void add(const std::string& path);
  void addFolder(const std::u16string& path, std::int32_t parentId);
  std::size_t newFolder(const std::u16string& path, std::int32_t parentId);
  void refuse(const std::string& path, const std::string& reason);

  bool isLeftOut(const std::u16string& name, const std::u16string& path) const;

  bool isRecursive_;
  std::u16string without_;  // as `resolvedPath` gives it; empty for none
  bool isNamed_ = false;    // the last folder is that of files named alone
  std::vector<Folder> folders_;
  std::vector<Entry> files_;
  std::vector<Failure> failures_;
};

}  // namespace tessaron::tool
