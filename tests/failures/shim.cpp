// Preloaded into a program: makes its n-th call of a kind fail, or kills it there. FAILURE holds
// "KIND N MODE ERROR DESCRIPTOR": a kind of those below; once, always or kill; an error number, or
// 0 for a transfer of half the bytes; where to write a byte when the call is reached. Calls before
// main are not counted.

#include <dlfcn.h>
#include <linux/fcntl.h>
#include <sys/mman.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <csignal>
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
bool fails(const char* of, bool isTransfer = false) {
  if (!isArmed || std::strcmp(kind, of) != 0 || (error == 0 && !isTransfer)) return false;
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

using Main = int(int, char**, char**);
using Start = int(Main*, int, char**, void (*)(), void (*)(), void (*)(), void*);
Main* realMain;

int armedMain(int count, char** arguments, char** environment) {
  const char* const wanted = std::getenv("FAILURE");
  isArmed =
      wanted && std::sscanf(wanted, "%15s %ld %15s %d %d", kind, &at, mode, &error, &told) == 5;
  return realMain(count, arguments, environment);
}

}  // namespace

#define CALL(kind, type, failed, name, parameters, ...) \
  type name parameters {                                \
    static const auto real = next(&name, #name);        \
    return fails(kind) ? failed : real(__VA_ARGS__);    \
  }
#define TRANSFER(kind, name, parameters, ...)    \
  ssize_t name parameters {                      \
    static const auto real = next(&name, #name); \
    if (fails(kind, true)) {                     \
      if (error != 0) return -1;                 \
      if (size > 1) size /= 2;                   \
    }                                            \
    return real(__VA_ARGS__);                    \
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
CALL("open", int, -1, open, (const char* path, int flags, unsigned bits), path, flags, bits)
CALL("open", int, -1, open64, (const char* path, int flags, unsigned bits), path, flags, bits)
CALL("open", int, -1, openat, (int folder, const char* path, int flags, unsigned bits), folder, path, flags, bits)
CALL("open", int, -1, openat64, (int folder, const char* path, int flags, unsigned bits), folder, path, flags, bits)
CALL("stream", FILE*, nullptr, fopen, (const char* path, const char* how), path, how)
CALL("stream", FILE*, nullptr, fopen64, (const char* path, const char* how), path, how)
CALL("stream", std::size_t, 0, fwrite, (const void* data, std::size_t size, std::size_t n, FILE* file), data, size, n, file)
CALL("stream", ssize_t, -1, writev, (int file, const void* parts, int count), file, parts, count)
TRANSFER("read", read, (int file, void* data, std::size_t size), file, data, size)
TRANSFER("write", write, (int file, const void* data, std::size_t size), file, data, size)
TRANSFER("pread", pread, (int file, void* data, std::size_t size, off_t offset), file, data, size, offset)
TRANSFER("pread", pread64, (int file, void* data, std::size_t size, off64_t offset), file, data, size, offset)
TRANSFER("pwrite", pwrite, (int file, const void* data, std::size_t size, off_t offset), file, data, size, offset)
TRANSFER("pwrite", pwrite64, (int file, const void* data, std::size_t size, off64_t offset), file, data, size, offset)
CALL("fsync", int, -1, fsync, (int file), file)
CALL("fsync", int, -1, fdatasync, (int file), file)
CALL("rename", int, -1, rename, (const char* from, const char* to), from, to)
CALL("rename", int, -1, renameat, (int a, const char* from, int b, const char* to), a, from, b, to)
CALL("rename", int, -1, linkat, (int a, const char* from, int b, const char* to, int flags), a, from, b, to, flags)
CALL("change", int, -1, ftruncate, (int file, off_t size), file, size)
CALL("change", int, -1, ftruncate64, (int file, off64_t size), file, size)
CALL("change", int, -1, unlink, (const char* path), path)
CALL("change", int, -1, fchmod, (int file, mode_t bits), file, bits)
CALL("change", int, -1, mkdir, (const char* path, mode_t bits), path, bits)
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
