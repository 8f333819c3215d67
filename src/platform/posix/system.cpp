#include "platform/system.h"

#include <sys/syscall.h>
#include <unistd.h>

#include <algorithm>
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

// Whether the page at `address` can be read. Asks the kernel to take a set of signals from there
// for an operation that does not exist: it copies the set first, and then refuses.
bool isPageReadable(std::uintptr_t address) {
  constexpr std::uintptr_t kSetSize = 8;  // in bytes
  // A null pointer would stand for no set at all.
  const std::uintptr_t set = std::max(address / kSetSize, std::uintptr_t{1}) * kSetSize;
  return syscall(SYS_rt_sigprocmask, ~0, set, nullptr, kSetSize) == 0 || errno != EFAULT;
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

  for (std::uintptr_t at = first; at <= last; at = (at / page + 1) * page) {
    if (!isPageReadable(at)) return false;
  }
  return true;
}

}  // namespace tessaron
