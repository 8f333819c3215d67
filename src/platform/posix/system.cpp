#include "platform/system.h"

#include <sys/uio.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <chrono>
#include <cstdint>
#include <ctime>

namespace tessaron {
namespace {

SYSTEMTIME now(std::tm* (*split)(const std::time_t*, std::tm*)) {
  const auto time = std::chrono::system_clock::now();
  const std::time_t seconds = std::chrono::system_clock::to_time_t(time);
  const auto milliseconds = std::chrono::duration_cast<std::chrono::milliseconds>(
                                time - std::chrono::system_clock::from_time_t(seconds))
                                .count();
  std::tm parts{};
  split(&seconds, &parts);
  const auto word = [](auto value) { return static_cast<std::uint16_t>(value); };
  return {word(parts.tm_year + 1900), word(parts.tm_mon + 1),
          word(parts.tm_wday),        word(parts.tm_mday),
          word(parts.tm_hour),        word(parts.tm_min),
          word(parts.tm_sec),         word(std::max<std::int64_t>(milliseconds, 0))};
}

// Where a process may not look into itself, the kernel tells by a write that fails.
bool isReadableByPipe(const std::byte* address) {
  int ends[2];
  if (pipe(ends) != 0) return false;
  const bool readable = write(ends[1], address, 1) == 1;
  close(ends[0]);
  close(ends[1]);
  return readable;
}

}  // namespace

SYSTEMTIME utcNow() { return now(gmtime_r); }
SYSTEMTIME localNow() { return now(localtime_r); }

bool isReadable(const void* address, std::size_t size) {
  if (!address) return false;
  static const std::size_t page = static_cast<std::size_t>(sysconf(_SC_PAGESIZE));
  const auto first = reinterpret_cast<std::uintptr_t>(address);
  const std::uintptr_t last = first + std::max<std::size_t>(size, 1) - 1;
  if (last < first) return false;

  // One byte of each page that the object touches.
  std::array<iovec, 64> probes;
  std::array<std::byte, probes.size()> bytes;
  for (std::uintptr_t at = first; at <= last;) {
    std::size_t count = 0;
    for (; count < probes.size() && at <= last; at = (at / page + 1) * page) {
      probes[count++] = {reinterpret_cast<void*>(at), 1};
    }
    const iovec local{bytes.data(), count};
    const ssize_t got = process_vm_readv(getpid(), &local, 1, probes.data(), count, 0);
    if (got == static_cast<ssize_t>(count)) continue;
    if (got >= 0 || errno == EFAULT) return false;
    for (std::size_t i = 0; i < count; ++i) {
      if (!isReadableByPipe(static_cast<const std::byte*>(probes[i].iov_base))) return false;
    }
  }
  return true;
}

}  // namespace tessaron
