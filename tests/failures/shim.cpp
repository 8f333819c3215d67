// Preloaded into a program: makes its n-th call of a kind fail, or kills it there. FAILURE holds
// "KIND N MODE ERROR DESCRIPTOR": a kind of the table below; once, always or kill; an error number,
// or 0 for a transfer of half the bytes; where to write a byte when the call is reached. Calls
// before main are not counted.

#include <dlfcn.h>
#include <fcntl.h>
#include <sys/file.h>
#include <sys/mman.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <csignal>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>

namespace {

char kind[16], mode[16];
long at = 0;
int error = 0, told = -1;
std::atomic<long> calls{0};
bool isArmed = false;

// Whether this call is to fail, with errno set.
bool fails(const char* of) {
  if (!isArmed || std::strcmp(kind, of) != 0) return false;
  const long number = ++calls;
  if (number < at || (number > at && std::strcmp(mode, "always") != 0)) return false;
  if (number == at) syscall(SYS_write, told, "x", 1);
  if (std::strcmp(mode, "kill") == 0) kill(getpid(), SIGKILL);
  errno = error;
  return true;
}

template <typename Function>
Function* next(Function*, const char* name) {
  return reinterpret_cast<Function*>(dlsym(RTLD_NEXT, name));
}

template <typename Call>
auto transfer(const char* of, std::size_t size, Call call) -> decltype(call(size)) {
  if (!fails(of)) return call(size);
  return error == 0 ? call(size > 1 ? size / 2 : size) : -1;
}

using Main = int (*)(int, char**, char**);
Main realMain;

int armedMain(int count, char** arguments, char** environment) {
  const char* const wanted = std::getenv("FAILURE");
  isArmed =
      wanted && std::sscanf(wanted, "%15s %ld %15s %d %d", kind, &at, mode, &error, &told) == 5;
  return realMain(count, arguments, environment);
}

}  // namespace

#define NEXT(name) static const auto real = next(&name, #name)

extern "C" {

int __libc_start_main(Main main, int count, char** arguments, void (*begin)(), void (*end)(),
                      void (*linkerEnd)(), void* stack) {
  using Start = int (*)(Main, int, char**, void (*)(), void (*)(), void (*)(), void*);
  realMain = main;
  const auto start = reinterpret_cast<Start>(dlsym(RTLD_NEXT, "__libc_start_main"));
  return start(armedMain, count, arguments, begin, end, linkerEnd, stack);
}

#define OPEN(name)                                                \
  int name(const char* path, int flags, ...) {                    \
    va_list rest;                                                 \
    va_start(rest, flags);                                        \
    const mode_t bits = va_arg(rest, mode_t);                     \
    va_end(rest);                                                 \
    return fails("open") ? -1 : openat(-1000, path, flags, bits); \
  }
#define OPENAT(name)                                                                              \
  int name(int folder, const char* path, int flags, ...) {                                        \
    va_list rest;                                                                                 \
    va_start(rest, flags);                                                                        \
    const mode_t bits = va_arg(rest, mode_t);                                                     \
    va_end(rest);                                                                                 \
    const bool counted = folder != -1000; /* the functions above have counted theirs */           \
    if (counted && fails("open")) return -1;                                                      \
    return static_cast<int>(syscall(SYS_openat, counted ? folder : AT_FDCWD, path, flags, bits)); \
  }
OPENAT(openat)
OPENAT(openat64)
OPEN(open)
OPEN(open64)

#define FOPEN(name)                                   \
  FILE* name(const char* path, const char* how) {     \
    NEXT(name);                                       \
    return fails("open") ? nullptr : real(path, how); \
  }
FOPEN(fopen)
FOPEN(fopen64)

ssize_t read(int file, void* data, std::size_t size) {
  return transfer("read", size, [&](std::size_t n) { return syscall(SYS_read, file, data, n); });
}
ssize_t write(int file, const void* data, std::size_t size) {
  return transfer("write", size, [&](std::size_t n) { return syscall(SYS_write, file, data, n); });
}
ssize_t writev(int file, const iovec* parts, int count) {
  if (fails("write")) return error == 0 ? syscall(SYS_writev, file, parts, 1) : -1;
  return syscall(SYS_writev, file, parts, count);
}
#define PREAD(name, kind, type, number)                                                     \
  ssize_t name(int file, type* data, std::size_t size, off_t offset) {                      \
    return transfer(kind, size,                                                             \
                    [&](std::size_t n) { return syscall(number, file, data, n, offset); }); \
  }
PREAD(pread, "pread", void, SYS_pread64)
PREAD(pread64, "pread", void, SYS_pread64)
PREAD(pwrite, "pwrite", const void, SYS_pwrite64)
PREAD(pwrite64, "pwrite", const void, SYS_pwrite64)

std::size_t fwrite(const void* data, std::size_t size, std::size_t count, FILE* file) {
  NEXT(fwrite);
  const bool isFinal = error != 0 && error != EINTR;  // of a stream only these are failures
  return isFinal && fails("write") ? 0 : real(data, size, count, file);
}

#define CALL(kind, name, parameters, ...)        \
  int name parameters {                          \
    NEXT(name);                                  \
    return fails(kind) ? -1 : real(__VA_ARGS__); \
  }
CALL("fsync", fsync, (int file), file)
CALL("fsync", fdatasync, (int file), file)
CALL("change", ftruncate, (int file, off_t size), file, size)
CALL("change", ftruncate64, (int file, off_t size), file, size)
CALL("change", unlink, (const char* path), path)
CALL("change", fchmod, (int file, mode_t bits), file, bits)
CALL("change", mkdir, (const char* path, mode_t bits), path, bits)
CALL("rename", rename, (const char* from, const char* to), from, to)
CALL("rename", renameat, (int a, const char* from, int b, const char* to), a, from, b, to)
CALL("rename", linkat, (int a, const char* from, int b, const char* to, int flags), a, from, b, to,
     flags)
CALL("flock", flock, (int file, int operation), file, operation)

#define FCNTL(name)                                                                     \
  int name(int file, int command, ...) {                                                \
    va_list rest;                                                                       \
    va_start(rest, command);                                                            \
    void* const argument = va_arg(rest, void*);                                         \
    va_end(rest);                                                                       \
    const bool locks = command == F_SETLK || command == F_SETLKW || command == F_GETLK; \
    if (locks && fails("setlk")) return -1;                                              \
    return static_cast<int>(syscall(SYS_fcntl, file, command, argument));               \
  }
FCNTL(fcntl)
FCNTL(fcntl64)

void* mmap(void* address, std::size_t size, int protection, int flags, int file, off_t offset) {
  if (fails("mmap")) return MAP_FAILED;
  return reinterpret_cast<void*>(syscall(SYS_mmap, address, size, protection, flags, file, offset));
}

void* __libc_malloc(std::size_t);
void* __libc_calloc(std::size_t, std::size_t);
void* __libc_realloc(void*, std::size_t);
void* malloc(std::size_t size) { return fails("malloc") ? nullptr : __libc_malloc(size); }
void* calloc(std::size_t count, std::size_t size) {
  return fails("malloc") ? nullptr : __libc_calloc(count, size);
}
void* realloc(void* memory, std::size_t size) {
  return fails("malloc") ? nullptr : __libc_realloc(memory, size);
}

}  // extern "C"
