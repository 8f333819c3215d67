#include "platform/directory.h"

#include <filesystem>

#include "platform/win32/error.h"
#include "platform/win32/wide.h"

namespace tessaron {
namespace {

EntryKind kindOf(const WIN32_FIND_DATAW& entry) {
  if (entry.dwFileAttributes & FILE_ATTRIBUTE_REPARSE_POINT) return EntryKind::Link;
  if (entry.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY) return EntryKind::Folder;
  return entry.dwFileAttributes & FILE_ATTRIBUTE_DEVICE ? EntryKind::Other : EntryKind::File;
}

}  // namespace

std::vector<FolderEntry> readFolder(std::u16string_view path, std::error_code& error) {
  error.clear();
  std::vector<FolderEntry> entries;
  WIN32_FIND_DATAW found;
  const HANDLE search = FindFirstFileW(wide(joinPath(path, u"*")), &found);
  DWORD reason = GetLastError();
  if (search != INVALID_HANDLE_VALUE) {
    do {
      const std::u16string name = reinterpret_cast<const char16_t*>(found.cFileName);
      if (name != u"." && name != u"..") entries.push_back({name, kindOf(found)});
    } while (FindNextFileW(search, &found));
    reason = GetLastError();
    FindClose(search);
  }
  if (reason != ERROR_NO_MORE_FILES) {
    error = systemError(reason);
  }
  return entries;
}

std::error_code createFolder(std::u16string_view path) {
  std::error_code error;
  std::filesystem::create_directories(std::filesystem::path(path), error);
  return error;
}

std::error_code flushFile(std::u16string_view path) {
  const std::u16string name(path);
  const HANDLE file = CreateFileW(wide(name), GENERIC_WRITE, FILE_SHARE_READ, nullptr,
                                  OPEN_EXISTING, FILE_FLAG_OPEN_REPARSE_POINT, nullptr);
  if (file == INVALID_HANDLE_VALUE) return lastError();
  const DWORD reason = FlushFileBuffers(file) ? ERROR_SUCCESS : GetLastError();
  CloseHandle(file);
  return reason == ERROR_SUCCESS ? std::error_code() : systemError(reason);
}

std::u16string resolvedPath(std::u16string_view path) {
  const std::u16string name(path);
  const DWORD length = GetFullPathNameW(wide(name), 0, nullptr, nullptr);
  std::u16string full(length, 0);
  full.resize(GetFullPathNameW(wide(name), length, wide(full.data()), nullptr));
  CharLowerBuffW(wide(full.data()), static_cast<DWORD>(full.size()));
  return full;
}

std::u16string absolutePath(std::u16string_view path, bool) {
  std::error_code error;
  const std::filesystem::path whole = std::filesystem::absolute(std::filesystem::path(path), error);
  return error ? std::u16string(path) : whole.lexically_normal().generic_u16string();
}

bool isAbsolutePath(std::u16string_view path) { return std::filesystem::path(path).is_absolute(); }

std::u16string joinPath(std::u16string_view folder, std::u16string_view name) {
  return std::u16string(folder).append(u"\\").append(name);
}

std::size_t lastSeparator(std::u16string_view path) { return path.rfind(u'\\'); }

}  // namespace tessaron
