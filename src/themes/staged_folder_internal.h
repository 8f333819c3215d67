#pragma once

#include <cstddef>
#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <system_error>
#include <vector>

#include "platform/file.h"
#include "themes/package.h"

namespace tessaron {

/// A folder whose files change all together or not at all: new content goes into files beside the
/// existing ones, and `commit` renames them. The folder stays locked against other StagedFolders
/// until this object is destroyed. One thread at a time.
class StagedFolder {
 public:
  using Failure = PackageReport::Failure;

  /// Why the files could not be written; `Failure::None` without an error.
  struct Error {
    Failure failure = Failure::None;
    std::string reason;  ///< one line in English
    explicit operator bool() const { return failure != Failure::None; }
  };

  /// A file to be written. Nothing is written while its bytes equal those of the existing file.
  struct Target {
    std::u16string name;
    std::unique_ptr<File> old;     ///< null when there is none, or once the content differs
    std::unique_ptr<File> staged;  ///< null until the content differs
    std::uint64_t size = 0;        ///< bytes so far
  };

  /// Creates or opens the folder `name` in `parent` and removes what an interrupted process left in
  /// it. `spareSpace` bytes stay free on the disk. `error` as for OutputFolder; nothing else may be
  /// called after one.
  StagedFolder(const std::u16string& parent, const std::u16string& name, std::uint64_t spareSpace,
               std::error_code& error);
  /// Without `commit` or `discard`, as after an exception: all files are as they were before.
  ~StagedFolder();
  StagedFolder(const StagedFolder&) = delete;
  StagedFolder& operator=(const StagedFolder&) = delete;

  /// Whether the name is reserved for the staged files.
  static bool isReserved(std::u16string_view name);

  /// Begins the file `name`. `error` when a link, a folder or a device has that name.
  Target open(const std::u16string& name, std::error_code& error);
  /// Appends to a file.
  Error append(Target& target, std::span<const std::byte> bytes);
  /// Drops what was appended; the file becomes empty.
  static void clear(Target& target);
  /// Ends a file that is complete.
  Error finish(Target& target);

  /// Puts all staged files in place. On an error all files are as they were before.
  Error commit();
  /// Removes the staged files, and the folder if this object created it.
  void discard();

 private:
  // A written file and the backup of the file it replaces.
  struct Staged {
    std::u16string file;
    std::u16string backup;
    bool hasBackup = false;
    bool isInPlace = false;
  };

  void removeLeftovers();
  bool matchesOld(Target& target, std::span<const std::byte> bytes);
  Error stage(Target& target);
  bool hasSpace(std::uint64_t bytes) const;
  std::error_code replace(const std::u16string& name, Staged& staged);
  void restore(const std::u16string& name, const Staged& staged);
  void restoreAll();

  std::u16string path_;
  std::uint64_t spareSpace_;
  OutputFolder folder_;
  std::optional<FolderLock> lock_;
  std::map<std::u16string, Staged> staged_;  // by name
  std::vector<std::byte> buffer_;            // of the existing file
  bool isDone_ = false;                      // committed or discarded
};

/// The reason in the words of the reports.
std::string describeFileError(const std::error_code& error);

}  // namespace tessaron
