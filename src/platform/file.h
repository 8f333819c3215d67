#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <system_error>

#include "platform/types.h"
#include "tessaron_export.h"

namespace tessaron {

/// Size, times and attributes of an open file.
struct FileStatus {
  std::uint64_t size = 0;   ///< bytes
  FILETIME creationTime{};  ///< on Linux the change time where the file system keeps no birth time
  FILETIME lastWriteTime{};
  std::uint32_t attributes = 0;  ///< attribute bits as Windows numbers them
  /// Another one for every file of a volume that exists or is open; 0 for one that is not the
  /// system's.
  std::uint64_t number = 0;
};

/// An open file with its own position; closed by the destructor. For one thread at a time.
class File {
 public:
  virtual ~File() = default;
  File() = default;
  File(const File&) = delete;
  File& operator=(const File&) = delete;

  /// Reads up to `buffer.size()` bytes at the position and moves it. Returns how many were read,
  /// 0 at the end, nothing when the read failed.
  virtual std::optional<std::size_t> read(std::span<std::byte> buffer) = 0;
  /// As `read`, from `offset` on. The position may be anywhere afterwards.
  virtual std::optional<std::size_t> readAt(std::uint64_t offset, std::span<std::byte> buffer) {
    return seek(offset) ? read(buffer) : std::nullopt;
  }
  /// Writes `bytes` at the position and moves it. False when not all of them were written.
  virtual bool write(std::span<const std::byte> bytes) = 0;
  /// Moves the position to `offset` bytes from the start. False, and unmoved, on failure.
  virtual bool seek(std::uint64_t offset) = 0;
  /// The size in bytes; nothing when it cannot be told.
  virtual std::optional<std::uint64_t> size() = 0;
  /// Cuts or extends the file so that it ends at the position.
  virtual bool setEnd() = 0;
  /// Size, times and attributes; nothing when they cannot be told.
  virtual std::optional<FileStatus> status() = 0;
  /// The system's handle, to be handed to another process; it stays this object's. -1 for a file
  /// that is not the system's.
  virtual std::intptr_t handle() const { return -1; }
};

/// Access, sharing and disposition for openFile.
struct OpenMode {
  bool read = true;
  bool write = false;
  /// Others may read (or write, or delete) the file meanwhile. On Linux a file opened without
  /// `shareRead`, or for writing without `shareWrite`, is held with an exclusive lock (`flock`): it
  /// refuses others who open it in one of these two ways, and hinders nobody else.
  bool shareRead = true;
  bool shareWrite = false;
  bool shareDelete = false;
  enum class Disposition { OpenExisting, OpenAlways, CreateAlways, CreateNew };
  Disposition disposition = Disposition::OpenExisting;
  /// Deletes the file when it is closed or the process dies, and hides it until then (on Linux by
  /// unlinking it at once; a symbolic link is refused there).
  bool deleteOnClose = false;
  /// Hints to Windows that access is random.
  bool randomAccess = false;
  /// Lets nobody but the user read or write a file that is created. Windows gives files the rights
  /// of their folder in any case.
  bool isPrivate = false;
};

/// Opens a file. A folder is refused; opening never waits (a pipe without a writer is refused,
/// too). On failure returns null and sets `error`.
TESSARON_API std::unique_ptr<File> openFile(std::u16string_view path, const OpenMode& mode,
                                            std::error_code& error);

/// Size, times and attributes of the regular file at `path`, as `openFile` and `File::status` tell
/// them, without opening it where the system can do so. Nothing for what is no such file or may not
/// be read.
TESSARON_API std::optional<FileStatus> fileStatus(std::u16string_view path);

/// Lends an open file to the readers that open it by its path: while this object lives, `openFile`
/// of that path, for reading and on the same thread, gives files that read from `file`, each with a
/// position of its own. For processes that may not open files. A thread has one at most.
class TESSARON_API LentFile {
 public:
  /// `file` must outlive this object and what was opened.
  LentFile(std::u16string_view path, File& file);
  ~LentFile();
  LentFile(const LentFile&) = delete;
  LentFile& operator=(const LentFile&) = delete;

  /// The lent file, if `path` is its path and `mode` only reads; otherwise null.
  static std::unique_ptr<File> open(std::u16string_view path, const OpenMode& mode);

 private:
  std::u16string path_;
  File& file_;
};

/// Whether the file at `path` is encrypted by the file system, numbered as Windows does: 0 it could
/// be, 1 it is, 2 and above it cannot be. Linux gives 0 or 1. Nothing when it cannot be told.
TESSARON_API std::optional<std::uint32_t> encryptionStatus(std::u16string_view path);

/// A file in memory, for tests and for parsing what is already there.
TESSARON_API std::unique_ptr<File> memoryFile(std::string content);

/// A new file in the folder for temporary files, to read and to write, which is gone when it is
/// closed. Null when it cannot be made.
TESSARON_API std::unique_ptr<File> temporaryFile();

/// Appends to `out` the rest of `file` from its position on. Memory grows with what is read, not
/// with the claimed size. False when a read failed; `out` then holds what came before.
TESSARON_API bool readToEnd(File& file, std::string& out);

/// Reads from `offset` on until `buffer` is full or the file ends. Returns how many bytes were
/// read, nothing when a read failed. The position may be anywhere afterwards.
TESSARON_API std::optional<std::size_t> readFully(File& file, std::uint64_t offset,
                                                  std::span<std::byte> buffer);

/// Copies up to `count` bytes at `source` of `from` to `target` of `to` through a buffer of fixed
/// size. Returns how many were copied, fewer where `from` ends or cannot be read; nothing when `to`
/// did not take them. The positions may be anywhere afterwards.
TESSARON_API std::optional<std::uint64_t> copyBytes(File& from, std::uint64_t source, File& to,
                                                    std::uint64_t target, std::uint64_t count);

/// Replaces the file at `path`, or creates it: the content is written beside it, flushed to the
/// disk and put in its place in one step, with the permissions of the file that was there. A
/// symbolic link is followed. On failure returns the reason; the old file is then as it was and
/// nothing else stays.
TESSARON_API std::error_code replaceFile(std::u16string_view path, std::string_view content);

/// As above, with what `write` writes to the new file, which it may read as well. When it returns
/// false, the reason is that of the last system call that failed. What it throws is passed on.
TESSARON_API std::error_code replaceFile(std::u16string_view path,
                                         const std::function<bool(File&)>& write);

/// `replaceFile` in steps, for content that comes piece by piece. Without `commit` the old file
/// stays unchanged and no temporary file remains. For one thread at a time.
class TESSARON_API FileReplacement {
 public:
  /// `error` tells why the file cannot be replaced; nothing else may be called then.
  FileReplacement(std::u16string_view path, std::error_code& error);
  ~FileReplacement();
  FileReplacement(const FileReplacement&) = delete;
  FileReplacement& operator=(const FileReplacement&) = delete;

  /// The new file, to be written, and read as well.
  File& file();
  /// Appends to the new file. The error tells why that failed.
  std::error_code write(std::string_view content);
  /// Puts the new file in its place, once.
  std::error_code commit();
  /// Calls `write` with the new file. When that returns false, the error is that of the last system
  /// call that failed.
  std::error_code run(const std::function<bool(File&)>& write);

 private:
  struct Parts;
  std::unique_ptr<Parts> parts_;
};

/// A folder for writing files by their names alone. Refuses symbolic links, for the folder itself
/// and for the files in it, also those that others create meanwhile. Several threads may use one
/// object for different files; `discard` is for one thread at a time.
class TESSARON_API OutputFolder {
 public:
  /// Creates the folder `name` in the folder `parent`, which must be there, or takes the one that
  /// stands there already. `error` tells why that cannot be: too_many_symbolic_link_levels for a
  /// link. `parent` may be reached through links; `name` must be a name, not a path.
  OutputFolder(std::u16string_view parent, std::u16string_view name, std::error_code& error);
  ~OutputFolder();
  OutputFolder(const OutputFolder&) = delete;
  OutputFolder& operator=(const OutputFolder&) = delete;

  /// Creates the file `name`, or empties the one that is there, for writing and for nobody else
  /// meanwhile. On failure returns null and sets `error`: too_many_symbolic_link_levels for a link,
  /// too_many_links for a file that has other names besides. `name` must be a name, not a path.
  std::unique_ptr<File> createFile(std::u16string_view name, std::error_code& error) const;
  /// Opens the file `name` for reading. Fails as `createFile` does, and when it is not there.
  std::unique_ptr<File> openFile(std::u16string_view name, std::error_code& error) const;
  /// Puts the closed file `from` in the place of `to`, in one step. On failure both stay.
  std::error_code replaceFile(std::u16string_view from, std::u16string_view to) const;
  /// Gives the file `from` the second name `to`, which must be free. On failure only `from` exists;
  /// file systems without hard links always fail.
  std::error_code linkFile(std::u16string_view from, std::u16string_view to) const;
  /// Deletes the closed file `name`. No error when it is not there.
  std::error_code removeFile(std::u16string_view name) const;
  /// Bytes that the user may still write to the folder's disk; nothing when that cannot be told.
  std::optional<std::uint64_t> freeSpace() const;
  /// Deletes the folder at the end of this object's life if this object created it and it is empty.
  void discard() { isDiscarded_ = true; }

 private:
  std::u16string path_;
  std::intptr_t handle_;
  bool isNew_ = false;
  bool isDiscarded_ = false;
};

/// Excludes every other FolderLock on the same folder, in other threads and processes too, until it
/// is destroyed or the process dies. Advisory: it serializes those who read, change and replace a
/// file. To be destroyed by the thread that made it.
class TESSARON_API FolderLock {
 public:
  /// Waits for the folder in which `path` stands. `error` tells why it could not be locked.
  FolderLock(std::u16string_view path, std::error_code& error);
  ~FolderLock();
  FolderLock(const FolderLock&) = delete;
  FolderLock& operator=(const FolderLock&) = delete;

 private:
  std::intptr_t handle_;
};

}  // namespace tessaron
