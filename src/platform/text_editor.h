#pragma once

#include <string>
#include <string_view>
#include <system_error>

#include "tessaron_export.h"

namespace tessaron {

/// A text file that only the user can read, for a program to change. Deleted by the destructor
/// unless `keep` was called. For one thread at a time.
class TESSARON_API ScratchText {
 public:
  /// Creates a file with a new name in the folder for temporary files: `name`, something random,
  /// ".txt". `error` tells why that failed.
  ScratchText(std::u16string_view name, std::string_view content, std::error_code& error);
  ~ScratchText();
  ScratchText(const ScratchText&) = delete;
  ScratchText& operator=(const ScratchText&) = delete;

  const std::u16string& path() const { return path_; }
  /// Leaves the file to the user.
  void keep() { isKept_ = true; }

 private:
  std::u16string path_;
  std::string native_;  // the same as POSIX takes it: deleting the file allocates no memory
  bool isKept_ = false;
};

/// How a program ended.
struct EditorResult {
  std::error_code error;  ///< it could not be started
  int exitCode = 0;       ///< 0 when it ended well
};

/// The user's text editor: `$VISUAL`, or else `$EDITOR`, or else vi (Notepad on Windows). May have
/// arguments.
TESSARON_API std::u16string textEditor();

/// The program that shows a text screen by screen: `$PAGER`, or else more.
TESSARON_API std::u16string textPager();

/// The program that shows a page of the manual as man takes it; empty where there is none, as on
/// Windows.
TESSARON_API std::u16string manualViewer();

/// Opens the file at `path` by a command of the system's, which may have arguments, and waits for
/// its end. Meanwhile, Ctrl+C in the terminal is for that program alone.
TESSARON_API EditorResult openText(std::u16string_view command, std::u16string_view path);

/// Opens the file at `path` in the user's editor, as `openText` does.
inline EditorResult editText(std::u16string_view path) { return openText(textEditor(), path); }

}  // namespace tessaron
