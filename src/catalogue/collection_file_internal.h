#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <system_error>

#include "platform/file.h"

namespace tessaron {

/// Replaces a collection's file, while no other edit of it can come between: the new file is
/// written beside the old one, flushed, and takes its place in one step. Without `commit` the old
/// file stays as it was. Used by one thread at a time.
class CollectionWriter {
 public:
  /// Waits until no other edit is at work in the folder of `path`.
  explicit CollectionWriter(std::u16string_view path);

  /// Why something failed; nothing is written any more then.
  const std::error_code& error() const { return error_; }
  /// Creates the new file; `write` does so too. False on failure.
  bool open();
  /// Appends to the new file, in large blocks. False on failure.
  bool write(std::string_view text);
  /// Puts the new file in its place.
  void commit();

 private:
  bool flush();

  std::u16string path_;
  std::error_code error_;
  FolderLock lock_;
  std::optional<FileReplacement> file_;
  std::string block_;
};

}  // namespace tessaron
