#pragma once
// Where results go.

#include <functional>
#include <optional>
#include <string>
#include <string_view>

#include "platform/file.h"

namespace tessaron::tool {

/// Replaces or creates a file in one step. Fails with kCannotCreate or kCannotWrite; the old file
/// is then as it was. BrokenPipe when it is a pipe that nobody reads.
void writeOutput(const std::string& path, std::string_view content);

/// As above, with what `write` writes; false from it is a failure of the last system call.
void writeOutput(const std::string& path, const std::function<bool(File&)>& write);

/// Fails with kUsage when `output` is the file `input`, by whatever name.
void requireOtherFile(const std::string& output, const std::string& input);

/// Where a result goes: to standard output as it comes ("-" or an empty path), or into a file,
/// which `finish` replaces in one step.
class Output {
 public:
  explicit Output(std::string path);
  bool isFile() const;
  /// Fails as `print` or `writeOutput` does.
  void write(std::string_view text);
  /// Ends the result; without it the old file stays. Fails as `write` does.
  void finish();

 private:
  std::string path_;
  std::optional<FileReplacement> file_;  // as soon as there is something to write
  std::string block_;
};

/// Hands a complete result to standard output or into a file, as `Output` does.
void writeResult(const std::string& path, std::string_view text);

/// Writes to standard output. Fails with kCannotWrite, or BrokenPipe.
void print(std::string_view text);

/// Flushes standard output. Fails as `print` does.
void flushOutput();

}  // namespace tessaron::tool
