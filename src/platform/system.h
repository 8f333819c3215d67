#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <string>
#include <string_view>
#include <system_error>
#include <vector>

#include "platform/types.h"
#include "tessaron_export.h"

namespace tessaron {

/// The current date and time, UTC.
TESSARON_API SYSTEMTIME utcNow();

/// The current date and time where the user is.
TESSARON_API SYSTEMTIME localNow();

/// The words of the command line, the program first, as UTF-8 (on Linux as the caller has given
/// them). On Windows `count` and `words`, which `main` gets in a code page, are not looked at.
TESSARON_API std::vector<std::string> commandLine(int count, char** words);

/// A path that somebody has typed, with the system's separators: Windows takes both slashes for
/// one, and the library's functions the backslash alone.
TESSARON_API std::u16string withSystemSeparators(std::u16string path);

/// Whether a file that is open can be replaced. Not on Windows.
TESSARON_API bool replacesOpenFiles();

/// The value of an environment variable, as UTF-8; empty when it is not set.
TESSARON_API std::string environmentVariable(const char* name);

/// Whether a file could be opened and the disk then failed to take all of what was written: it is
/// full or broken, or a quota or a limit is reached.
TESSARON_API bool isWriteError(const std::error_code& error);

/// A temporary file without a name for reading and writing, closed with fclose and then gone. Null
/// on failure, and `errno` tells why.
TESSARON_API std::FILE* openTemporaryFile();
/// Moves the position of a file that may have more than 2 GiB. False on failure.
TESSARON_API bool seekFile(std::FILE* file, std::uint64_t offset);

/// Whether all `size` bytes from `address` on can be read. Costs a system call a page; never
/// faults. A null pointer is not readable, not even zero bytes of it.
bool isReadable(const void* address, std::size_t size);

/// Whether a whole object can be read at `object`.
template <typename T>
bool isReadable(const T* object) {
  return isReadable(static_cast<const void*>(object), sizeof(T));
}

/// The folder of the running program, without a separator at its end; empty when it cannot be told.
/// On Linux the folder of the user's own files instead: `$TESSARON_HOME`, or else
/// `$XDG_DATA_HOME/tessaron` (with its usual default, `~/.local/share`).
TESSARON_API std::u16string programFolder();

/// The folder for what the program remembers about its work, without a separator at its end; it may
/// be missing. On Linux `$XDG_STATE_HOME/tessaron` (with its usual default, `~/.local/state`), on
/// Windows "Tessaron" in the user's local application data. Empty when it cannot be told.
TESSARON_API std::u16string stateFolder();

/// The folder for temporary files, with a separator at its end. On Linux `$TMPDIR`, or else /tmp.
TESSARON_API std::u16string temporaryFolder();

/// A path in `folder`: the first three units of `prefix`, `number` in hexadecimal digits (of which
/// the lower 16 bits count), ".tmp". With a number there may be such a file or not. With 0 a new
/// name is found, and an empty file of that name is made. Empty on failure.
TESSARON_API std::u16string temporaryFileName(std::u16string_view folder,
                                              std::u16string_view prefix, std::uint32_t number);

/// Parts of windows with a system color, as Windows numbers them.
enum class SystemColor {
  Window = 5,
  MenuText = 7,
  WindowText = 8,
  Highlight = 13,
  HighlightText = 14,
  ButtonFace = 15,
  ButtonShadow = 16,
  ButtonHighlight = 20,
  MenuHighlight = 29,
};

/// The user's color. On Linux always that of a light desktop: white windows (255, 255, 255) with
/// black text; highlights (0, 120, 215) with white text; buttons (240, 240, 240) with shadows
/// (160, 160, 160) and white highlights.
TESSARON_API COLORREF systemColor(SystemColor part);

/// The width of a vertical scroll bar in pixels. On Linux always 16.
TESSARON_API int verticalScrollBarWidth();

/// The bits that a pixel of the screen has. On Linux always 32.
TESSARON_API int screenBitsPerPixel();

/// Whether windows are drawn with visual styles. On Linux never.
TESSARON_API bool isThemeApplied();

}  // namespace tessaron
