// Preloaded into a program: makes its n-th call of a kind fail, kills it there, or records what it
// writes. FAILURE holds "KIND N MODE ERROR DESCRIPTOR": a kind of those below or "any"; once,
// always, kill or record; an error number, or 0 for a transfer of half the bytes; where to write a
// byte when the call is reached, or the record. Calls before main are not counted. Child programs
// do the same unless FAILURE_ALONE is set.

#include <dlfcn.h>
#include <linux/fcntl.h>
#include <linux/limits.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <mutex>
#include <string>

namespace {

char kind[16], mode[16];
long at = 0;
int error = 0, told = -1;
std::atomic<long> calls{0};
bool isArmed = false, isRecording = false;

// Whether this call is to fail, with errno set.
bool fails(const char* of, bool isTransfer = false) {
  const bool isMeant = std::strcmp(kind, of) == 0 ||
                       (std::strcmp(kind, "any") == 0 && std::strcmp(of, "malloc") != 0);
  if (!isArmed || !isMeant || (error == 0 && !isTransfer)) return false;
  const long number = ++calls;
  if (number < at || (number > at && std::strcmp(mode, "always") != 0)) return false;
  if (number == at) syscall(SYS_write, told, "x", 1);
  if (std::strcmp(mode, "kill") == 0) kill(getpid(), SIGKILL);
  errno = error;
  return true;
}

std::string linkOf(int file) {
  char name[PATH_MAX];
  const auto link = "/proc/self/fd/" + std::to_string(file);
  const long size = syscall(SYS_readlinkat, AT_FDCWD, link.c_str(), name, sizeof name);
  return std::string(name, size < 0 ? 0 : static_cast<std::size_t>(size));
}

std::string pathOf(int folder, const char* path) {
  if (path[0] == '/') return path;
  char here[PATH_MAX];
  return (folder == AT_FDCWD ? std::string(getcwd(here, sizeof here)) : linkOf(folder)) + '/' +
         path;
}

// Appends to the record: a line "OPERATION\tINODE\tOFFSET\tSIZE\tPATH\tPATH", then SIZE bytes.
void record(const char* operation, int file, off_t offset, const void* data = "", ssize_t size = 0,
            const std::string& path = {}, const std::string& other = {}) {
  static std::mutex mutex;
  struct stat info {};
  if (!isRecording || size < 0 || (file >= 0 && fstat(file, &info) != 0)) return;
  if (file >= 0 && !S_ISREG(info.st_mode) && !S_ISDIR(info.st_mode)) return;
  const std::lock_guard lock(mutex);
  const std::string folder = S_ISDIR(info.st_mode) ? linkOf(file) : path;
  std::string text = operation;
  for (const long number :
       {static_cast<long>(info.st_ino), static_cast<long>(offset), static_cast<long>(size)})
    text += '\t' + std::to_string(number);
  text += '\t' + folder + '\t' + other + '\n';
  text.append(static_cast<const char*>(data), static_cast<std::size_t>(size));
  syscall(SYS_write, told, text.data(), text.size());
}

void recordOpen(int file, int flags, bool existed, const std::string& path) {
  if (file < 0) return;
  if ((flags & O_TMPFILE) == O_TMPFILE) return record("create", file, 0);
  if ((flags & O_CREAT) != 0 && !existed) record("create", file, 0, "", 0, path);
  if ((flags & O_TRUNC) != 0) record("truncate", file, 0);
}

template <typename Function>
Function* next(Function*, const char* name) {
  return reinterpret_cast<Function*>(dlsym(RTLD_NEXT, name));
}

using Main = int(int, char**, char**);
using Start = int(Main*, int, char**, void (*)(), void (*)(), void (*)(), void*);
Main* realMain;

int armedMain(int count, char** arguments, char** environment) {
  const char* const wanted = std::getenv("FAILURE");
  const bool isMeant =
      wanted && std::sscanf(wanted, "%15s %ld %15s %d %d", kind, &at, mode, &error, &told) == 5;
  if (std::getenv("FAILURE_ALONE")) unsetenv("FAILURE");
  isRecording = isMeant && std::strcmp(mode, "record") == 0;
  isArmed = isMeant && !isRecording;
  return realMain(count, arguments, environment);
}

}  // namespace

#define CALL(kind, type, failed, name, parameters, ...) \
  type name parameters {                                \
    static const auto real = next(&name, #name);        \
    return fails(kind) ? failed : real(__VA_ARGS__);    \
  }
#define CHANGE(kind, name, parameters, noted, ...) \
  int name parameters {                            \
    static const auto real = next(&name, #name);   \
    if (fails(kind)) return -1;                    \
    const int result = real(__VA_ARGS__);          \
    if (isRecording && result == 0) noted;         \
    return result;                                 \
  }
#define OPEN(name, parameters, folder, ...)                                                        \
  int name parameters {                                                                            \
    static const auto real = next(&name, #name);                                                   \
    if (fails("open")) return -1;                                                                  \
    const std::string full = isRecording ? pathOf(folder, path) : std::string();                   \
    const bool existed = isRecording && syscall(SYS_faccessat, AT_FDCWD, full.c_str(), F_OK) == 0; \
    const int file = real(__VA_ARGS__);                                                            \
    if (isRecording) recordOpen(file, flags, existed, full);                                       \
    return file;                                                                                   \
  }
#define TRANSFER(kind, name, parameters, place, ...)                              \
  ssize_t name parameters {                                                       \
    static const auto real = next(&name, #name);                                  \
    if (fails(kind, true)) {                                                      \
      if (error != 0) return -1;                                                  \
      if (size > 1) size /= 2;                                                    \
    }                                                                             \
    [[maybe_unused]] const off_t position = isRecording ? (place) : 0;            \
    const ssize_t count = real(__VA_ARGS__);                                      \
    if (std::strstr(kind, "write")) record("write", file, position, data, count); \
    return count;                                                                 \
  }

// clang-format off
extern "C" {

int __libc_start_main(Main main, int count, char** arguments, void (*begin)(), void (*end)(), void (*linkerEnd)(),
                      void* stack) {
  realMain = main;
  const auto start = reinterpret_cast<Start*>(dlsym(RTLD_NEXT, "__libc_start_main"));
  return start(armedMain, count, arguments, begin, end, linkerEnd, stack);
}

// Those with optional arguments get them all, as registers are passed on.
OPEN(open, (const char* path, int flags, unsigned bits), AT_FDCWD, path, flags, bits)
OPEN(open64, (const char* path, int flags, unsigned bits), AT_FDCWD, path, flags, bits)
OPEN(openat, (int folder, const char* path, int flags, unsigned bits), folder, folder, path, flags, bits)
OPEN(openat64, (int folder, const char* path, int flags, unsigned bits), folder, folder, path, flags, bits)
CALL("stream", FILE*, nullptr, fopen, (const char* path, const char* how), path, how)
CALL("stream", FILE*, nullptr, fopen64, (const char* path, const char* how), path, how)
CALL("stream", std::size_t, 0, fwrite, (const void* data, std::size_t size, std::size_t n, FILE* file), data, size, n, file)
CALL("stream", ssize_t, -1, writev, (int file, const void* parts, int count), file, parts, count)
TRANSFER("read", read, (int file, void* data, std::size_t size), 0, file, data, size)
TRANSFER("write", write, (int file, const void* data, std::size_t size), lseek(file, 0, SEEK_CUR), file, data, size)
TRANSFER("pread", pread, (int file, void* data, std::size_t size, off_t offset), 0, file, data, size, offset)
TRANSFER("pread", pread64, (int file, void* data, std::size_t size, off64_t offset), 0, file, data, size, offset)
TRANSFER("pwrite", pwrite, (int file, const void* data, std::size_t size, off_t offset), offset, file, data, size, offset)
TRANSFER("pwrite", pwrite64, (int file, const void* data, std::size_t size, off64_t offset), offset, file, data, size, offset)
CHANGE("fsync", fsync, (int file), record("sync", file, 0), file)
CHANGE("fsync", fdatasync, (int file), record("sync", file, 0), file)
CHANGE("rename", rename, (const char* from, const char* to),
       record("rename", -1, 0, "", 0, pathOf(AT_FDCWD, from), pathOf(AT_FDCWD, to)), from, to)
CHANGE("rename", renameat, (int a, const char* from, int b, const char* to),
       record("rename", -1, 0, "", 0, pathOf(a, from), pathOf(b, to)), a, from, b, to)
int linkat(int a, const char* from, int b, const char* to, int flags) {
  static const auto real = next(&linkat, "linkat");
  if (fails("rename")) return -1;
  const int result = real(a, from, b, to, flags);
  if (isRecording && result == 0) {
    const int file = static_cast<int>(syscall(SYS_openat, b, to, O_RDONLY | O_CLOEXEC));
    record("link", file, 0, "", 0, pathOf(b, to));
    close(file);
  }
  return result;
}
CHANGE("change", ftruncate, (int file, off_t size), record("truncate", file, size), file, size)
CHANGE("change", ftruncate64, (int file, off64_t size), record("truncate", file, size), file, size)
CHANGE("change", unlink, (const char* path), record("remove", -1, 0, "", 0, pathOf(AT_FDCWD, path)), path)
CHANGE("change", unlinkat, (int folder, const char* path, int flags), record("remove", -1, 0, "", 0, pathOf(folder, path)), folder, path, flags)
CHANGE("change", rmdir, (const char* path), record("remove", -1, 0, "", 0, pathOf(AT_FDCWD, path)), path)
CHANGE("change", fchmod, (int file, mode_t bits), (void)0, file, bits)
CHANGE("change", mkdir, (const char* path, mode_t bits), record("folder", -1, 0, "", 0, pathOf(AT_FDCWD, path)), path, bits)
CHANGE("change", mkdirat, (int folder, const char* path, mode_t bits), record("folder", -1, 0, "", 0, pathOf(folder, path)), folder, path, bits)
#pragma GCC diagnostic ignored "-Wshadow"  // there is a structure of that name
CALL("flock", int, -1, flock, (int file, int operation), file, operation)
CALL(command >= F_GETLK && command <= F_SETLKW ? "setlk" : "", int, -1, fcntl, (int file, int command, void* argument), file, command, argument)
CALL(command >= F_GETLK && command <= F_SETLKW ? "setlk" : "", int, -1, fcntl64, (int file, int command, void* argument), file, command, argument)
CALL("mmap", void*, MAP_FAILED, mmap, (void* at, std::size_t size, int protection, int flags, int file, off_t from), at, size, protection, flags, file, from)

void* __libc_malloc(std::size_t);
void* __libc_calloc(std::size_t, std::size_t);
void* __libc_realloc(void*, std::size_t);
void* malloc(std::size_t size) { return fails("malloc") ? nullptr : __libc_malloc(size); }
void* calloc(std::size_t n, std::size_t size) { return fails("malloc") ? nullptr : __libc_calloc(n, size); }
void* realloc(void* old, std::size_t size) { return fails("malloc") ? nullptr : __libc_realloc(old, size); }

}  // extern "C"
