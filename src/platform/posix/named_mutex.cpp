#include "platform/named_mutex.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cctype>
#include <cerrno>
#include <map>
#include <mutex>
#include <string>
#include <string_view>
#include <system_error>

#include "platform/file.h"
#include "platform/posix/environment.h"
#include "platform/posix/native_path.h"
#include "platform/posix/retry.h"

namespace tessaron {
namespace {

constexpr std::size_t kMaxFileName = 200;

// Maps handles to lock files. Handles are never reused, so closing one twice is harmless.
// Serialized by its own mutex.
class OpenMutexes {
 public:
  void* add(int file) {
    const std::lock_guard lock(mutex_);
    files_.emplace(++last_, file);
    return reinterpret_cast<void*>(last_);
  }
  // Removes a handle and returns its file, -1 for none.
  int remove(void* handle) {
    const std::lock_guard lock(mutex_);
    const auto found = files_.find(reinterpret_cast<std::uintptr_t>(handle));
    if (found == files_.end()) return -1;
    const int file = found->second;
    files_.erase(found);
    return file;
  }

 private:
  std::mutex mutex_;
  std::map<std::uintptr_t, int> files_;
  std::uintptr_t last_ = 0;
};

OpenMutexes& openMutexes() {
  static OpenMutexes mutexes;
  return mutexes;
}

// The user's private lock folder, created if missing; empty when others could write to it.
std::string lockFolder() {
  std::string folder = environment("XDG_RUNTIME_DIR");
  if (folder.starts_with('/')) {
    folder += "/tessaron";
  } else {
    folder = environment("TMPDIR");
    folder = (folder.empty() ? "/tmp" : folder) + "/tessaron-" + std::to_string(geteuid());
  }
  mkdir(folder.c_str(), 0700);
  struct stat info;
  const bool isOurs = lstat(folder.c_str(), &info) == 0 && S_ISDIR(info.st_mode) &&
                      info.st_uid == geteuid() && (info.st_mode & 0022) == 0;
  return isOurs ? folder : std::string();
}

// Encodes a mutex name as a file name: ASCII letters, digits, '-' and '_' stay, other units become
// %XXXX. A long name is cut and gets a hash of the whole appended.
std::string fileName(std::u16string_view name) {
  constexpr std::string_view kDigits = "0123456789ABCDEF";
  std::string file = "mutex-";
  std::uint64_t hash = 14695981039346656037u;  // FNV-1a
  for (const char16_t unit : name) {
    hash = (hash ^ unit) * 1099511628211u;
    if (unit < 0x80 && (isalnum(unit) || unit == u'-' || unit == u'_')) {
      file += static_cast<char>(unit);
    } else {
      file += '%';
      for (int shift = 12; shift >= 0; shift -= 4) file += kDigits[unit >> shift & 0xF];
    }
  }
  if (file.size() > kMaxFileName) {
    file.resize(kMaxFileName);
    file += '~' + std::to_string(hash);
  }
  return file;
}

// Takes the file's shared lock. ERROR_ALREADY_EXISTS when others hold it.
std::uint32_t hold(int file) {
  const bool isNew = retry([&] { return flock(file, LOCK_EX | LOCK_NB); }) == 0;
  if (retry([&] { return flock(file, LOCK_SH); }) != 0) return ERROR_ACCESS_DENIED;
  return isNew ? ERROR_SUCCESS : ERROR_ALREADY_EXISTS;
}

}  // namespace

void* openNamedMutex(const char16_t* name, std::uint32_t& code) {
  std::u16string_view text = name ? name : std::u16string_view();
  code = ERROR_SUCCESS;
  if (text.empty()) return openMutexes().add(-1);
  constexpr std::u16string_view kLocal = u"Local\\", kGlobal = u"Global\\";
  if (text.starts_with(kLocal)) text.remove_prefix(kLocal.size());
  if (text.find(u'\\', text.starts_with(kGlobal) ? kGlobal.size() : 0) != text.npos) {
    code = ERROR_PATH_NOT_FOUND;
    return nullptr;
  }
  code = ERROR_ACCESS_DENIED;
  const std::string folder = lockFolder();
  if (folder.empty()) return nullptr;
  const std::string path = folder + '/' + fileName(text);
  // Serialized: hold() releases the exclusive lock before it takes the shared one.
  std::error_code error;
  const FolderLock lock(fromNativePath(path), error);
  if (error) return nullptr;
  const int file =
      retry([&] { return open(path.c_str(), O_CREAT | O_RDWR | O_CLOEXEC | O_NOFOLLOW, 0600); });
  if (file == -1) return nullptr;
  code = hold(file);
  if (code == ERROR_ACCESS_DENIED) {
    close(file);
    return nullptr;
  }
  return openMutexes().add(file);
}

void closeNamedMutex(void* mutex) {
  const int file = openMutexes().remove(mutex);
  if (file != -1) close(file);
}

}  // namespace tessaron
