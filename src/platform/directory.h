#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <system_error>
#include <vector>

#include "tessaron_export.h"

namespace tessaron {

/// What a name in a folder stands for. A link is one whatever it leads to; pipes, sockets and
/// devices are `Other`.
enum class EntryKind { File, Folder, Link, Other };

struct FolderEntry {
  std::u16string name;
  EntryKind kind = EntryKind::Other;
};

// Any thread may call these functions.

/// The names in a folder without "." and "..", hidden ones included, in the order in which the file
/// system gives them. On a failure sets `error` and returns what came before it. A name that is no
/// well-formed text has surrogates without their partners in it; a path made of it leads to the
/// file nevertheless.
TESSARON_API std::vector<FolderEntry> readFolder(std::u16string_view path, std::error_code& error);

/// Creates a folder, and those above it that are missing. No error when it is there already.
TESSARON_API std::error_code createFolder(std::u16string_view path);

/// Puts what was written to the file at `path`, which must be closed, on the disk. A link in its
/// place is refused.
TESSARON_API std::error_code flushFile(std::u16string_view path);

/// The path by which a file is the same however it was named: absolute, on Linux with links
/// followed, on Windows in one case. The file may be missing.
TESSARON_API std::u16string resolvedPath(std::u16string_view path);

/// The absolute path without "." and "..", with slashes on every system. With `followLinks` links
/// on the way are followed, where the system has them. The file may be missing.
TESSARON_API std::u16string absolutePath(std::u16string_view path, bool followLinks);

/// Whether a path leads to the same file from every folder.
TESSARON_API bool isAbsolutePath(std::u16string_view path);

/// The folder's path, the system's separator and the name. The separator is added in any case; the
/// system takes two as one.
TESSARON_API std::u16string joinPath(std::u16string_view folder, std::u16string_view name);

/// The position of the last separator in a path; npos when there is none. Windows counts the
/// backslash alone, Linux both slashes.
TESSARON_API std::size_t lastSeparator(std::u16string_view path);

}  // namespace tessaron
