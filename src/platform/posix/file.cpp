#include "platform/file.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <sys/statvfs.h>
#include <sys/xattr.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <filesystem>
#include <new>
#include <random>
#include <utility>

#include "platform/posix/native_path.h"
#include "platform/posix/retry.h"

namespace tessaron {
namespace {

namespace fs = std::filesystem;

std::error_code lastError() { return {errno, std::generic_category()}; }

class Descriptor {
 public:
  explicit Descriptor(int fd = -1) : fd_(fd) {}
  Descriptor(Descriptor&& other) noexcept : fd_(std::exchange(other.fd_, -1)) {}
  Descriptor& operator=(Descriptor&& other) noexcept {
    std::swap(fd_, other.fd_);
    return *this;
  }
  ~Descriptor() {
    if (fd_ != -1) close(fd_);
  }
  explicit operator bool() const { return fd_ != -1; }
  int get() const { return fd_; }
  int release() { return std::exchange(fd_, -1); }

 private:
  int fd_;
};

bool writeAll(int fd, std::span<const std::byte> bytes) {
  while (!bytes.empty()) {
    const ssize_t count = retry([&] { return ::write(fd, bytes.data(), bytes.size()); });
    if (count <= 0) return false;
    bytes = bytes.subspan(static_cast<std::size_t>(count));
  }
  return true;
}

bool lockAtOnce(int fd) {
  return retry([&] { return flock(fd, LOCK_EX | LOCK_NB); }) == 0;
}

// Seconds and nanoseconds since 1970 as 100-nanosecond steps since 1601.
FILETIME toFileTime(const statx_timestamp& time) {
  const auto steps =
      static_cast<std::uint64_t>((time.tv_sec + 11644473600) * 10000000 + time.tv_nsec / 100);
  return {static_cast<std::uint32_t>(steps), static_cast<std::uint32_t>(steps >> 32)};
}

// The answer of statx to STATX_BASIC_STATS and STATX_BTIME.
FileStatus toStatus(const struct statx& info, bool isHidden) {
  FileStatus status;
  status.size = info.stx_size;
  status.creationTime = toFileTime(info.stx_mask & STATX_BTIME ? info.stx_btime : info.stx_ctime);
  status.lastWriteTime = toFileTime(info.stx_mtime);
  constexpr std::uint32_t kReadOnly = 0x1, kHidden = 0x2, kArchive = 0x20;
  if ((info.stx_mode & 0222) == 0) status.attributes |= kReadOnly;
  if (isHidden) status.attributes |= kHidden;
  status.attributes |= kArchive;
  status.number = info.stx_ino;
  return status;
}

bool isHiddenName(const std::string& path) {
  const std::size_t slash = path.rfind('/');
  return path.substr(slash == path.npos ? 0 : slash + 1).starts_with('.');
}

class PosixFile : public File {
 public:
  PosixFile(Descriptor fd, bool hidden) : fd_(std::move(fd)), hidden_(hidden) {}

  std::optional<std::size_t> read(std::span<std::byte> buffer) override {
    const ssize_t count = retry([&] { return ::read(fd_.get(), buffer.data(), buffer.size()); });
    if (count < 0) return std::nullopt;
    return static_cast<std::size_t>(count);
  }
  std::optional<std::size_t> readAt(std::uint64_t offset, std::span<std::byte> buffer) override {
    const ssize_t count = retry([&] {
      return ::pread(fd_.get(), buffer.data(), buffer.size(), static_cast<off_t>(offset));
    });
    if (count < 0) return std::nullopt;
    return static_cast<std::size_t>(count);
  }
  bool write(std::span<const std::byte> bytes) override { return writeAll(fd_.get(), bytes); }
  bool seek(std::uint64_t offset) override {
    return lseek(fd_.get(), static_cast<off_t>(offset), SEEK_SET) != -1;
  }
  std::optional<std::uint64_t> size() override {
    struct stat info;
    if (fstat(fd_.get(), &info) != 0) return std::nullopt;
    return static_cast<std::uint64_t>(info.st_size);
  }
  bool setEnd() override {
    const off_t at = lseek(fd_.get(), 0, SEEK_CUR);
    return at != -1 && retry([&] { return ftruncate(fd_.get(), at); }) == 0;
  }
  std::optional<FileStatus> status() override {
    struct statx info;
    if (statx(fd_.get(), "", AT_EMPTY_PATH, STATX_BASIC_STATS | STATX_BTIME, &info) != 0) {
      return std::nullopt;
    }
    return toStatus(info, hidden_);
  }
  std::intptr_t handle() const override { return fd_.get(); }

 private:
  Descriptor fd_;
  bool hidden_;
};

// Follows symbolic links, also to a target that does not exist.
fs::path followLinks(fs::path path) {
  std::error_code error;
  for (int links = 0; links < 40 && fs::is_symlink(path, error); ++links) {
    const fs::path target = fs::read_symlink(path, error);
    if (error) break;
    path = path.parent_path() / target;  // an absolute target replaces the whole
  }
  return path;
}

fs::path folderOf(const fs::path& path) {
  return path.has_parent_path() ? path.parent_path() : fs::path(".");
}

constexpr std::string_view kReplacementPrefix = ".tessaron-", kReplacementSuffix = ".tmp";

// Deletes the replacements that killed processes have left. Those in use are locked. Allocates
// nothing that could throw.
void removeLeftovers(const char* path) {
  DIR* const folder = opendir(path);
  if (!folder) return;
  while (const dirent* entry = readdir(folder)) {
    const std::string_view name = entry->d_name;
    if (!name.starts_with(kReplacementPrefix) || !name.ends_with(kReplacementSuffix)) continue;
    const int flags = O_RDONLY | O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK;
    const Descriptor fd(openat(dirfd(folder), entry->d_name, flags));
    if (fd && lockAtOnce(fd.get())) unlinkat(dirfd(folder), entry->d_name, 0);
  }
  closedir(folder);
}

// A file beside the target, to be filled and renamed over it. Without a name where the system can,
// so that nothing stays when the process is killed.
class Replacement {
 public:
  Replacement(const fs::path& target, mode_t mode) : target_(target) {
    const fs::path folder = folderOf(target);
    removeLeftovers(folder.c_str());
    constexpr int kFlags = O_RDWR | O_CLOEXEC;
    if (access(kOpenFiles, X_OK) == 0)  // it is not there in every chroot
      fd_ = Descriptor(retry([&] { return open(folder.c_str(), O_TMPFILE | kFlags, mode); }));
    if (!fd_) {
      chooseName();
      fd_ = Descriptor(retry([&] { return open(name_.c_str(), O_CREAT | O_EXCL | kFlags, mode); }));
    }
    if (!fd_) {
      name_.clear();
    } else {
      lockAtOnce(fd_.get());
    }
  }
  ~Replacement() {
    if (!name_.empty()) unlink(name_.c_str());
  }
  Replacement(const Replacement&) = delete;
  Replacement& operator=(const Replacement&) = delete;

  int fd() const { return fd_.get(); }

  bool commit() {
    if (name_.empty()) {
      chooseName();
      const std::string self = kOpenFiles + std::to_string(fd_.get());
      if (linkat(AT_FDCWD, self.c_str(), AT_FDCWD, name_.c_str(), AT_SYMLINK_FOLLOW) != 0) {
        name_.clear();
        return false;
      }
    }
    if (rename(name_.c_str(), target_.c_str()) != 0) return false;
    name_.clear();
    // Flush the folder as well, for the new name. A failure is ignored: the file is in its place.
    const Descriptor folder(open(folderOf(target_).c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    if (folder) retry([&] { return fsync(folder.get()); });
    return true;
  }

 private:
  static constexpr const char* kOpenFiles = "/proc/self/fd/";

  void chooseName() {
    std::random_device random;
    std::string name(kReplacementPrefix);
    name += std::to_string(random()) + '-' + std::to_string(random());
    name_ = folderOf(target_) / name.append(kReplacementSuffix);
  }

  fs::path target_;
  fs::path name_;
  Descriptor fd_;
};

// Copies owner, permission bits and access list. A failure to set the owner is ignored.
bool copyPermissions(const fs::path& from, const struct stat& info, int to) {
  if (info.st_uid != geteuid() || info.st_gid != getegid()) {
    [[maybe_unused]] const int ignored = fchown(to, info.st_uid, info.st_gid);
  }
  if (fchmod(to, info.st_mode & 07777) != 0) return false;
  constexpr const char* kAccessList = "system.posix_acl_access";
  std::array<char, 4096> list;
  const ssize_t size = getxattr(from.c_str(), kAccessList, list.data(), list.size());
  return size <= 0 ||
         fsetxattr(to, kAccessList, list.data(), static_cast<std::size_t>(size), 0) == 0;
}

// Opens a regular file in a folder. Checks the type first: opening a device can have effects.
Descriptor openInFolder(std::intptr_t handle, const std::string& name, int flags, struct stat& info,
                        std::error_code& error) {
  error.clear();
  const int folder = static_cast<int>(handle);
  const auto isFile = [&] {
    const mode_t mode = info.st_mode;
    if (S_ISREG(mode) && info.st_nlink <= 1) return true;
    error = std::make_error_code(S_ISREG(mode)   ? std::errc::too_many_links
                                 : S_ISLNK(mode) ? std::errc::too_many_symbolic_link_levels
                                 : S_ISDIR(mode) ? std::errc::is_a_directory
                                                 : std::errc::no_such_device_or_address);
    return false;
  };
  if (fstatat(folder, name.c_str(), &info, AT_SYMLINK_NOFOLLOW) == 0 && !isFile())
    return Descriptor();
  flags |= O_NOFOLLOW | O_NONBLOCK | O_NOCTTY | O_CLOEXEC;
  Descriptor fd(retry([&] { return openat(folder, name.c_str(), flags, 0666); }));
  if (!fd || fstat(fd.get(), &info) != 0) {
    error = lastError();
  } else if (isFile()) {
    return fd;
  }
  return Descriptor();
}

int flagsOf(const OpenMode& mode) {
  using Disposition = OpenMode::Disposition;
  int flags = O_CLOEXEC | O_NOCTTY | O_NONBLOCK;
  flags |= mode.read && mode.write ? O_RDWR : mode.write ? O_WRONLY : O_RDONLY;
  if (mode.disposition != Disposition::OpenExisting) flags |= O_CREAT;
  if (mode.disposition == Disposition::CreateNew) flags |= O_EXCL;
  if (mode.deleteOnClose) flags |= O_NOFOLLOW;  // unlinking would remove the link, not its target
  return flags;
}

// Locks an open file for use by nobody else.
std::error_code lockExclusively(int fd, const std::string& name, const struct stat& info) {
  if (!lockAtOnce(fd)) return lastError();
  // The former holder may have replaced the file.
  struct stat named;
  if (stat(name.c_str(), &named) != 0) return lastError();
  if (named.st_dev == info.st_dev && named.st_ino == info.st_ino) return {};
  return std::make_error_code(std::errc::resource_unavailable_try_again);
}

// Truncates a file unless it is empty: some file systems would flush even that on closing.
bool truncateFile(int fd) {
  struct stat info;
  if (fstat(fd, &info) != 0) return false;
  return info.st_size == 0 || retry([&] { return ftruncate(fd, 0); }) == 0;
}

}  // namespace

std::unique_ptr<File> openFile(std::u16string_view path, const OpenMode& mode,
                               std::error_code& error) {
  error.clear();
  if (std::unique_ptr<File> lent = LentFile::open(path, mode)) return lent;
  const std::string name = nativePath(path);
  const auto refuse = [&](std::error_code reason) {
    error = reason;
    return nullptr;
  };
  // Check the type first: opening a pipe or a device can block or have effects.
  struct stat info;
  const auto regular = [&] {
    if (S_ISREG(info.st_mode)) return true;
    error = std::make_error_code(S_ISDIR(info.st_mode) ? std::errc::is_a_directory
                                                       : std::errc::no_such_device_or_address);
    return false;
  };
  if (stat(name.c_str(), &info) == 0 && !regular()) return nullptr;

  const int flags = flagsOf(mode);
  Descriptor fd(retry([&] { return open(name.c_str(), flags, mode.isPrivate ? 0600 : 0666); }));
  if (!fd || fstat(fd.get(), &info) != 0) return refuse(lastError());
  if (!regular()) return nullptr;
  if (!mode.shareRead || (mode.write && !mode.shareWrite)) {
    error = lockExclusively(fd.get(), name, info);
    if (error) return nullptr;
  }
  if (mode.disposition == OpenMode::Disposition::CreateAlways && !truncateFile(fd.get()))
    return refuse(lastError());
  if (mode.deleteOnClose && unlink(name.c_str()) != 0) return refuse(lastError());
  return std::make_unique<PosixFile>(std::move(fd), isHiddenName(name));
}

std::optional<FileStatus> fileStatus(std::u16string_view path) {
  const std::string name = nativePath(path);
  struct statx info;
  const bool isKnown =
      statx(AT_FDCWD, name.c_str(), 0, STATX_BASIC_STATS | STATX_BTIME, &info) == 0;
  if (!isKnown || !S_ISREG(info.stx_mode) || access(name.c_str(), R_OK) != 0) return std::nullopt;
  return toStatus(info, isHiddenName(name));
}

std::optional<std::uint32_t> encryptionStatus(std::u16string_view path) {
  struct statx info;
  if (statx(AT_FDCWD, nativePath(path).c_str(), 0, 0, &info) != 0) return std::nullopt;
  return info.stx_attributes & STATX_ATTR_ENCRYPTED ? 1 : 0;
}

struct FileReplacement::Parts {
  fs::path target;
  struct stat old {};
  bool exists = false;
  std::optional<Replacement> replacement;  // none for a device or a pipe
  std::unique_ptr<PosixFile> file;
};

FileReplacement::FileReplacement(std::u16string_view path, std::error_code& error)
    : parts_(std::make_unique<Parts>()) {
  error.clear();
  const std::string name = nativePath(path);
  Parts& parts = *parts_;
  parts.target = followLinks(name);
  parts.exists = stat(name.c_str(), &parts.old) == 0;
  Descriptor fd;
  if (parts.exists && S_ISDIR(parts.old.st_mode)) {
    error = std::make_error_code(std::errc::is_a_directory);
    return;
  }
  if (parts.exists && !S_ISREG(parts.old.st_mode)) {
    // Write to a device or a pipe directly. Open the link itself: the target of /dev/stdout may
    // have no name.
    fd = Descriptor(retry([&] { return open(name.c_str(), O_WRONLY | O_CLOEXEC | O_NOCTTY); }));
  } else if (parts.exists ? faccessat(AT_FDCWD, parts.target.c_str(), W_OK, AT_EACCESS) == 0
                          : errno == ENOENT) {
    // Refuse a read-only file even where its folder would allow replacing it.
    parts.replacement.emplace(parts.target, parts.exists ? 0600 : 0666);
    const int beside = parts.replacement->fd();
    if (beside != -1) fd = Descriptor(fcntl(beside, F_DUPFD_CLOEXEC, 0));
  }
  if (fd) {
    parts.file = std::make_unique<PosixFile>(std::move(fd), false);
  } else {
    error = lastError();
  }
}

FileReplacement::~FileReplacement() = default;

File& FileReplacement::file() { return *parts_->file; }

std::error_code FileReplacement::run(const std::function<bool(File&)>& write) {
  errno = 0;
  if (write(*parts_->file)) return {};
  return errno != 0 ? lastError() : std::make_error_code(std::errc::io_error);
}

std::error_code FileReplacement::commit() {
  if (!parts_->replacement) return {};
  const int fd = parts_->replacement->fd();
  const bool done = (!parts_->exists || copyPermissions(parts_->target, parts_->old, fd)) &&
                    retry([&] { return fsync(fd); }) == 0 && parts_->replacement->commit();
  return done ? std::error_code{} : lastError();
}

OutputFolder::OutputFolder(std::u16string_view parent, std::u16string_view name,
                           std::error_code& error)
    : path_(parent), handle_(-1) {
  error.clear();
  path_.append(u"/").append(name);
  const std::string folder = nativePath(name);
  const std::string container = nativePath(parent);
  const Descriptor above(
      retry([&] { return open(container.c_str(), O_PATH | O_DIRECTORY | O_CLOEXEC); }));
  if (above) isNew_ = mkdirat(above.get(), folder.c_str(), 0777) == 0;
  if (!above || (!isNew_ && errno != EEXIST)) {
    error = lastError();
    return;
  }
  const int flags = O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC;
  Descriptor fd(retry([&] { return openat(above.get(), folder.c_str(), flags); }));
  if (!fd) error = lastError();
  struct stat info;
  if (!fd && fstatat(above.get(), folder.c_str(), &info, AT_SYMLINK_NOFOLLOW) == 0 &&
      S_ISLNK(info.st_mode)) {
    error = std::make_error_code(std::errc::too_many_symbolic_link_levels);
  }
  handle_ = fd.release();
}

OutputFolder::~OutputFolder() {
  if (handle_ != -1) close(static_cast<int>(handle_));
  if (!isNew_ || !isDiscarded_) return;
  try {
    rmdir(nativePath(path_).c_str());
  } catch (const std::bad_alloc&) {  // the folder stays
  }
}

std::unique_ptr<File> OutputFolder::createFile(std::u16string_view name,
                                               std::error_code& error) const {
  const std::string file = nativePath(name);
  struct stat info;
  Descriptor fd = openInFolder(handle_, file, O_WRONLY | O_CREAT, info, error);
  if (!fd) return nullptr;
  if (!lockAtOnce(fd.get()) || !truncateFile(fd.get())) {
    error = lastError();
    return nullptr;
  }
  return std::make_unique<PosixFile>(std::move(fd), file.starts_with('.'));
}

std::unique_ptr<File> OutputFolder::openFile(std::u16string_view name,
                                             std::error_code& error) const {
  const std::string file = nativePath(name);
  struct stat info;
  Descriptor fd = openInFolder(handle_, file, O_RDONLY, info, error);
  if (!fd) return nullptr;
  return std::make_unique<PosixFile>(std::move(fd), file.starts_with('.'));
}

std::error_code OutputFolder::replaceFile(std::u16string_view from, std::u16string_view to) const {
  const int folder = static_cast<int>(handle_);
  const bool done = renameat(folder, nativePath(from).c_str(), folder, nativePath(to).c_str()) == 0;
  return done ? std::error_code() : lastError();
}

std::error_code OutputFolder::linkFile(std::u16string_view from, std::u16string_view to) const {
  const int folder = static_cast<int>(handle_);
  const bool done =
      linkat(folder, nativePath(from).c_str(), folder, nativePath(to).c_str(), 0) == 0;
  return done ? std::error_code() : lastError();
}

std::error_code OutputFolder::removeFile(std::u16string_view name) const {
  const bool done = unlinkat(static_cast<int>(handle_), nativePath(name).c_str(), 0) == 0;
  return done || errno == ENOENT ? std::error_code() : lastError();
}

std::optional<std::uint64_t> OutputFolder::freeSpace() const {
  struct statvfs info;
  if (fstatvfs(static_cast<int>(handle_), &info) != 0) return std::nullopt;
  return std::uint64_t{info.f_bavail} * info.f_frsize;
}

FolderLock::FolderLock(std::u16string_view path, std::error_code& error) : handle_(-1) {
  error.clear();
  const fs::path folder = folderOf(followLinks(nativePath(path)));
  Descriptor fd(retry([&] { return open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC); }));
  if (!fd || retry([&] { return flock(fd.get(), LOCK_EX); }) != 0) {
    error = lastError();
    return;
  }
  handle_ = fd.release();
}

FolderLock::~FolderLock() {
  if (handle_ != -1) close(static_cast<int>(handle_));
}

}  // namespace tessaron
