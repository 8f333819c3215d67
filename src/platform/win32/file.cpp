#include "platform/file.h"

#include <algorithm>
#include <atomic>
#include <utility>
#include <vector>

#include "platform/win32/error.h"
#include "platform/win32/wide.h"

// Exported since Windows XP, but not declared by mingw-w64.
extern "C" __declspec(dllimport) BOOL WINAPI FileEncryptionStatusW(LPCWSTR path, LPDWORD status);

namespace tessaron {
namespace {

class Handle {
 public:
  explicit Handle(HANDLE handle) : handle_(handle) {}
  Handle(Handle&& other) noexcept : handle_(std::exchange(other.handle_, INVALID_HANDLE_VALUE)) {}
  Handle& operator=(Handle&&) = delete;
  ~Handle() { close(); }
  explicit operator bool() const { return handle_ != INVALID_HANDLE_VALUE; }
  HANDLE get() const { return handle_; }
  HANDLE release() { return std::exchange(handle_, INVALID_HANDLE_VALUE); }
  void close() {
    if (handle_ != INVALID_HANDLE_VALUE) CloseHandle(std::exchange(handle_, INVALID_HANDLE_VALUE));
  }

 private:
  HANDLE handle_;
};

// Limits the size of one call.
DWORD oneCall(std::size_t size) {
  return static_cast<DWORD>(std::min<std::size_t>(size, std::size_t{1} << 30));
}

bool writeAll(HANDLE file, std::span<const std::byte> bytes) {
  while (!bytes.empty()) {
    DWORD count = 0;
    if (!WriteFile(file, bytes.data(), oneCall(bytes.size()), &count, nullptr) || count == 0) {
      return false;
    }
    bytes = bytes.subspan(count);
  }
  return true;
}

class Win32File : public File {
 public:
  explicit Win32File(Handle handle) : handle_(std::move(handle)) {}
  bool isOpen() const { return static_cast<bool>(handle_); }
  bool flush() { return FlushFileBuffers(handle_.get()) != 0; }

  std::optional<std::size_t> read(std::span<std::byte> buffer) override {
    DWORD count = 0;
    if (!ReadFile(handle_.get(), buffer.data(), oneCall(buffer.size()), &count, nullptr)) {
      return std::nullopt;
    }
    return count;
  }
  bool write(std::span<const std::byte> bytes) override { return writeAll(handle_.get(), bytes); }
  bool seek(std::uint64_t offset) override {
    LARGE_INTEGER to;
    to.QuadPart = static_cast<LONGLONG>(offset);
    return SetFilePointerEx(handle_.get(), to, nullptr, FILE_BEGIN);
  }
  std::optional<std::uint64_t> size() override {
    LARGE_INTEGER size;
    if (!GetFileSizeEx(handle_.get(), &size)) return std::nullopt;
    return static_cast<std::uint64_t>(size.QuadPart);
  }
  bool setEnd() override { return SetEndOfFile(handle_.get()); }
  std::optional<FileStatus> status() override {
    BY_HANDLE_FILE_INFORMATION info{};
    if (!GetFileInformationByHandle(handle_.get(), &info)) return std::nullopt;
    FileStatus status;
    status.size = std::uint64_t{info.nFileSizeHigh} << 32 | info.nFileSizeLow;
    status.creationTime = info.ftCreationTime;
    status.lastWriteTime = info.ftLastWriteTime;
    status.attributes = info.dwFileAttributes;
    status.number = std::uint64_t{info.nFileIndexHigh} << 32 | info.nFileIndexLow;
    return status;
  }
  std::intptr_t handle() const override { return reinterpret_cast<std::intptr_t>(handle_.get()); }

 private:
  Handle handle_;
};

// A name beside `path` that no other living process uses.
std::u16string nameBeside(const std::u16string& path) {
  static std::atomic<unsigned> counter;
  const std::string suffix =
      '.' + std::to_string(GetCurrentProcessId()) + '-' + std::to_string(counter++) + ".tmp";
  return path + std::u16string(suffix.begin(), suffix.end());
}

// Copies access list, attributes and creation time.
bool copyIdentity(const std::u16string& from, const std::u16string& to) {
  WIN32_FILE_ATTRIBUTE_DATA info{};
  DWORD size = 0;
  GetFileSecurityW(wide(from), DACL_SECURITY_INFORMATION, nullptr, 0, &size);
  std::vector<std::byte> access(size);
  if (!GetFileAttributesExW(wide(from), GetFileExInfoStandard, &info) ||
      !GetFileSecurityW(wide(from), DACL_SECURITY_INFORMATION, access.data(), size, &size) ||
      !SetFileSecurityW(wide(to), DACL_SECURITY_INFORMATION, access.data())) {
    return false;
  }
  const Handle file(
      CreateFileW(wide(to), FILE_WRITE_ATTRIBUTES, 0, nullptr, OPEN_EXISTING, 0, nullptr));
  return file && SetFileTime(file.get(), &info.ftCreationTime, nullptr, nullptr) &&
         SetFileAttributesW(wide(to), info.dwFileAttributes);
}

// Replaces a file atomically. Retries for a while: indexers, virus scanners and readers of a large
// collection hold files briefly.
bool renameOver(const std::u16string& from, const std::u16string& to) {
  constexpr int kTries = 200;
  constexpr DWORD kMilliseconds = 10;
  for (int i = 0; i < kTries; ++i) {
    if (i > 0) Sleep(kMilliseconds);
    if (MoveFileExW(wide(from), wide(to), MOVEFILE_REPLACE_EXISTING | MOVEFILE_WRITE_THROUGH)) {
      return true;
    }
    if (GetLastError() != ERROR_ACCESS_DENIED && GetLastError() != ERROR_SHARING_VIOLATION) break;
  }
  return false;
}

std::u16string fullPath(const std::u16string& path) {
  const DWORD length = GetFullPathNameW(wide(path), 0, nullptr, nullptr);
  std::u16string full(length, 0);
  full.resize(GetFullPathNameW(wide(path), length, wide(full.data()), nullptr));
  return full;
}

// Opens a regular file that is no link.
Handle openPlainFile(const std::u16string& path, DWORD access, DWORD share, DWORD disposition,
                     std::error_code& error) {
  error.clear();
  Handle handle(CreateFileW(wide(path), access, share, nullptr, disposition,
                            FILE_ATTRIBUTE_NORMAL | FILE_FLAG_OPEN_REPARSE_POINT, nullptr));
  BY_HANDLE_FILE_INFORMATION info{};
  if (!handle || GetFileType(handle.get()) != FILE_TYPE_DISK ||
      !GetFileInformationByHandle(handle.get(), &info)) {
    error = handle ? std::make_error_code(std::errc::no_such_device_or_address) : lastError();
  } else if ((info.dwFileAttributes & FILE_ATTRIBUTE_REPARSE_POINT) != 0) {
    error = std::make_error_code(std::errc::too_many_symbolic_link_levels);
  } else if (info.nNumberOfLinks > 1) {
    error = std::make_error_code(std::errc::too_many_links);
  }
  return handle;
}

}  // namespace

std::unique_ptr<File> openFile(std::u16string_view path, const OpenMode& mode,
                               std::error_code& error) {
  using Disposition = OpenMode::Disposition;
  error.clear();
  if (std::unique_ptr<File> lent = LentFile::open(path, mode)) return lent;
  DWORD access = 0, share = 0, disposition = OPEN_EXISTING, flags = FILE_ATTRIBUTE_NORMAL;
  if (mode.read) access |= GENERIC_READ;
  if (mode.write) access |= GENERIC_WRITE;
  if (mode.shareRead) share |= FILE_SHARE_READ;
  if (mode.shareWrite) share |= FILE_SHARE_WRITE;
  if (mode.shareDelete) share |= FILE_SHARE_DELETE;
  if (mode.disposition == Disposition::OpenAlways) disposition = OPEN_ALWAYS;
  if (mode.disposition == Disposition::CreateAlways) disposition = CREATE_ALWAYS;
  if (mode.disposition == Disposition::CreateNew) disposition = CREATE_NEW;
  if (mode.deleteOnClose) flags = FILE_ATTRIBUTE_HIDDEN | FILE_FLAG_DELETE_ON_CLOSE;
  if (mode.randomAccess) flags |= FILE_FLAG_RANDOM_ACCESS;
  Handle handle(
      CreateFileW(wide(std::u16string(path)), access, share, nullptr, disposition, flags, nullptr));
  if (!handle || GetFileType(handle.get()) != FILE_TYPE_DISK) {
    error = handle ? std::make_error_code(std::errc::no_such_device_or_address) : lastError();
    const DWORD attributes = GetFileAttributesW(wide(std::u16string(path)));
    if (attributes != INVALID_FILE_ATTRIBUTES && (attributes & FILE_ATTRIBUTE_DIRECTORY) != 0)
      error = std::make_error_code(std::errc::is_a_directory);
    return nullptr;
  }
  return std::make_unique<Win32File>(std::move(handle));
}

std::optional<FileStatus> fileStatus(std::u16string_view path) {
  std::error_code error;
  const std::unique_ptr<File> file = openFile(path, {}, error);
  return file ? file->status() : std::nullopt;
}

std::optional<std::uint32_t> encryptionStatus(std::u16string_view path) {
  DWORD status = 0;
  if (!FileEncryptionStatusW(wide(std::u16string(path)), &status)) return std::nullopt;
  return status;
}

struct FileReplacement::Parts {
  std::u16string target;
  DWORD attributes = INVALID_FILE_ATTRIBUTES;
  // Deleted by the destructor unless it was renamed over the target.
  struct Beside {
    std::u16string name;
    ~Beside() {
      if (!name.empty()) DeleteFileW(wide(name));
    }
  } beside;
  std::unique_ptr<Win32File> file;  // closed before the file beside goes
};

FileReplacement::FileReplacement(std::u16string_view path, std::error_code& error)
    : parts_(std::make_unique<Parts>()) {
  error.clear();
  Parts& parts = *parts_;
  parts.target = path;
  parts.attributes = GetFileAttributesW(wide(parts.target));
  if (parts.attributes != INVALID_FILE_ATTRIBUTES) {
    if (parts.attributes & FILE_ATTRIBUTE_DIRECTORY)
      error = std::make_error_code(std::errc::is_a_directory);
    else if (parts.attributes & FILE_ATTRIBUTE_READONLY)
      error = std::make_error_code(std::errc::permission_denied);
    if (error) return;
  }
  const std::u16string beside = nameBeside(parts.target);
  parts.file = std::make_unique<Win32File>(
      Handle(CreateFileW(wide(beside), GENERIC_READ | GENERIC_WRITE, 0, nullptr, CREATE_ALWAYS,
                         FILE_ATTRIBUTE_NORMAL, nullptr)));
  if (parts.file->isOpen()) {
    parts.beside.name = beside;
  } else {
    error = lastError();
  }
}

FileReplacement::~FileReplacement() = default;

File& FileReplacement::file() { return *parts_->file; }

std::error_code FileReplacement::run(const std::function<bool(File&)>& write) {
  SetLastError(ERROR_SUCCESS);
  if (write(*parts_->file)) return {};
  const std::error_code error = lastError();
  return error ? error : std::make_error_code(std::errc::io_error);
}

std::error_code FileReplacement::commit() {
  if (!parts_->file->flush()) return lastError();
  parts_->file.reset();
  const bool isNew = parts_->attributes == INVALID_FILE_ATTRIBUTES;
  const bool done = (isNew || copyIdentity(parts_->target, parts_->beside.name)) &&
                    renameOver(parts_->beside.name, parts_->target);
  return done ? std::error_code{} : lastError();
}

// Keeps the folder open, so that nobody can replace it: paths through it stay inside.
OutputFolder::OutputFolder(std::u16string_view parent, std::u16string_view name,
                           std::error_code& error)
    : path_(parent), handle_(-1) {
  error.clear();
  path_.append(u"\\").append(name);
  isNew_ = CreateDirectoryW(wide(path_), nullptr);
  if (!isNew_ && GetLastError() != ERROR_ALREADY_EXISTS) {
    error = lastError();
    return;
  }
  Handle folder(CreateFileW(wide(path_), FILE_LIST_DIRECTORY, FILE_SHARE_READ | FILE_SHARE_WRITE,
                            nullptr, OPEN_EXISTING,
                            FILE_FLAG_BACKUP_SEMANTICS | FILE_FLAG_OPEN_REPARSE_POINT, nullptr));
  BY_HANDLE_FILE_INFORMATION info{};
  if (!folder || !GetFileInformationByHandle(folder.get(), &info)) {
    error = lastError();
  } else if ((info.dwFileAttributes & FILE_ATTRIBUTE_REPARSE_POINT) != 0) {
    error = std::make_error_code(std::errc::too_many_symbolic_link_levels);
  } else if ((info.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY) == 0) {
    error = std::make_error_code(std::errc::not_a_directory);
  } else {
    handle_ = reinterpret_cast<std::intptr_t>(folder.release());
  }
}

OutputFolder::~OutputFolder() {
  if (handle_ != -1) CloseHandle(reinterpret_cast<HANDLE>(handle_));
  if (isNew_ && isDiscarded_) RemoveDirectoryW(wide(path_));
}

std::unique_ptr<File> OutputFolder::createFile(std::u16string_view name,
                                               std::error_code& error) const {
  Handle handle = openPlainFile(std::u16string(path_).append(u"\\").append(name), GENERIC_WRITE, 0,
                                OPEN_ALWAYS, error);
  if (!error && !SetEndOfFile(handle.get())) error = lastError();
  if (error) return nullptr;
  return std::make_unique<Win32File>(std::move(handle));
}

std::unique_ptr<File> OutputFolder::openFile(std::u16string_view name,
                                             std::error_code& error) const {
  Handle handle = openPlainFile(std::u16string(path_).append(u"\\").append(name), GENERIC_READ,
                                FILE_SHARE_READ, OPEN_EXISTING, error);
  if (error) return nullptr;
  return std::make_unique<Win32File>(std::move(handle));
}

std::error_code OutputFolder::replaceFile(std::u16string_view from, std::u16string_view to) const {
  const bool done = renameOver(std::u16string(path_).append(u"\\").append(from),
                               std::u16string(path_).append(u"\\").append(to));
  return done ? std::error_code() : lastError();
}

std::error_code OutputFolder::linkFile(std::u16string_view from, std::u16string_view to) const {
  const bool done =
      CreateHardLinkW(wide(std::u16string(path_).append(u"\\").append(to)),
                      wide(std::u16string(path_).append(u"\\").append(from)), nullptr);
  return done ? std::error_code() : lastError();
}

std::error_code OutputFolder::removeFile(std::u16string_view name) const {
  const bool done = DeleteFileW(wide(std::u16string(path_).append(u"\\").append(name)));
  return done || GetLastError() == ERROR_FILE_NOT_FOUND ? std::error_code() : lastError();
}

std::optional<std::uint64_t> OutputFolder::freeSpace() const {
  ULARGE_INTEGER free;
  if (!GetDiskFreeSpaceExW(wide(path_), &free, nullptr, nullptr)) return std::nullopt;
  return free.QuadPart;
}

FolderLock::FolderLock(std::u16string_view path, std::error_code& error) : handle_(0) {
  error.clear();
  // A mutex named after the folder: its path in one case, without the separators that a name
  // forbids.
  std::u16string folder = fullPath(std::u16string(path));
  folder.resize(std::min(folder.find_last_of(u"\\/"), folder.size()));
  CharLowerBuffW(wide(folder.data()), static_cast<DWORD>(folder.size()));
  std::uint64_t hash = 14695981039346656037u;  // FNV-1a
  for (const char16_t unit : folder) hash = (hash ^ unit) * 1099511628211u;
  const std::string digits = std::to_string(hash);
  const std::u16string name =
      u"Local\\TessaronBF-folder-" + std::u16string(digits.begin(), digits.end());
  const HANDLE mutex = CreateMutexW(nullptr, FALSE, wide(name));
  if (!mutex) {
    error = lastError();
    return;
  }
  WaitForSingleObject(mutex, INFINITE);  // the mutex of a process that died is ours as well
  handle_ = reinterpret_cast<std::intptr_t>(mutex);
}

FolderLock::~FolderLock() {
  const auto mutex = reinterpret_cast<HANDLE>(handle_);
  if (!mutex) return;
  ReleaseMutex(mutex);
  CloseHandle(mutex);
}

}  // namespace tessaron
