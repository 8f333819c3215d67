#include "platform/directory.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <filesystem>
#include <memory>

#include "platform/posix/native_path.h"
#include "platform/posix/retry.h"

namespace tessaron {
namespace {

struct Close {
  void operator()(DIR* folder) const { closedir(folder); }
};

std::error_code lastError() { return {errno, std::generic_category()}; }

EntryKind kindOf(DIR* folder, const dirent& entry) {
  mode_t mode = DTTOIF(entry.d_type);
  struct stat info;
  if (entry.d_type == DT_UNKNOWN &&  // not every file system tells
      fstatat(dirfd(folder), entry.d_name, &info, AT_SYMLINK_NOFOLLOW) == 0) {
    mode = info.st_mode;
  }
  if (S_ISREG(mode)) return EntryKind::File;
  if (S_ISDIR(mode)) return EntryKind::Folder;
  return S_ISLNK(mode) ? EntryKind::Link : EntryKind::Other;
}

}  // namespace

std::vector<FolderEntry> readFolder(std::u16string_view path, std::error_code& error) {
  error.clear();
  std::vector<FolderEntry> entries;
  const std::unique_ptr<DIR, Close> folder(opendir(nativePath(path).c_str()));
  if (!folder) {
    error = lastError();
    return entries;
  }
  for (;;) {
    errno = 0;
    const dirent* entry = readdir(folder.get());
    if (!entry) break;
    const std::string_view name = entry->d_name;
    if (name == "." || name == "..") continue;
    entries.push_back({fromNativePath(name), kindOf(folder.get(), *entry)});
  }
  if (errno != 0) error = lastError();
  return entries;
}

std::error_code createFolder(std::u16string_view path) {
  std::error_code error;
  std::filesystem::create_directories(nativePath(path), error);
  return error;
}

std::error_code flushFile(std::u16string_view path) {
  const std::string name = nativePath(path);
  const int file = retry([&] { return ::open(name.c_str(), O_RDONLY | O_NOFOLLOW | O_CLOEXEC); });
  if (file == -1) return lastError();
  const bool isFlushed = retry([&] { return fsync(file); }) == 0;
  const std::error_code error = isFlushed ? std::error_code() : lastError();
  close(file);
  return error;
}

std::u16string resolvedPath(std::u16string_view path) {
  std::error_code error;
  std::filesystem::path resolved = std::filesystem::absolute(nativePath(path), error);
  if (!error) resolved = std::filesystem::weakly_canonical(resolved, error);
  return error ? std::u16string(path) : fromNativePath(resolved.native());
}

std::u16string absolutePath(std::u16string_view path, bool followLinks) {
  std::error_code error;
  std::filesystem::path whole = std::filesystem::absolute(nativePath(path), error);
  if (!error && followLinks) whole = std::filesystem::weakly_canonical(whole, error);
  return error ? std::u16string(path) : fromNativePath(whole.lexically_normal().native());
}

bool isAbsolutePath(std::u16string_view path) { return path.starts_with(u'/'); }

std::u16string joinPath(std::u16string_view folder, std::u16string_view name) {
  return std::u16string(folder).append(u"/").append(name);
}

std::size_t lastSeparator(std::u16string_view path) { return path.find_last_of(u"/\\"); }

}  // namespace tessaron
