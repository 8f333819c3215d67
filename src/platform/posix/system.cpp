#include "platform/system.h"

#include <fcntl.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstdint>
#include <cstdio>
#include <ctime>
#include <string>

#include "platform/posix/environment.h"
#include "platform/posix/native_path.h"

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

// Whether the page at `address` can be read. Passes it to the kernel as a signal set for an invalid
// operation: the kernel copies the set before it rejects the operation.
bool isPageReadable(std::uintptr_t address) {
  constexpr std::uintptr_t kSetSize = 8;  // in bytes
  // A null pointer means no set.
  const std::uintptr_t set = std::max(address / kSetSize, std::uintptr_t{1}) * kSetSize;
  return syscall(SYS_rt_sigprocmask, ~0, set, nullptr, kSetSize) == 0 || errno != EFAULT;
}

std::string hexadecimal(std::uint32_t number) {
  char digits[9];
  std::snprintf(digits, sizeof digits, "%X", number);
  return digits;
}

}  // namespace

SYSTEMTIME utcNow() { return now(gmtime_r); }
SYSTEMTIME localNow() { return now(localtime_r); }

std::vector<std::string> commandLine(int count, char** words) { return {words, words + count}; }

std::u16string withSystemSeparators(std::u16string path) { return path; }

bool replacesOpenFiles() { return true; }

std::string environmentVariable(const char* name) { return environment(name); }

bool isWriteError(const std::error_code& error) {
  return error == std::errc::io_error || error == std::errc::no_space_on_device ||
         error == std::errc::file_too_large || error.value() == EDQUOT;
}

std::FILE* openTemporaryFile() { return std::tmpfile(); }

bool seekFile(std::FILE* file, std::uint64_t offset) {
  return fseeko(file, static_cast<off_t>(offset), SEEK_SET) == 0;
}

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

std::u16string programFolder() {
  std::string folder = environment("TESSARON_HOME");
  if (folder.empty()) folder = baseFolder("XDG_DATA_HOME", ".local/share") + "/tessaron";
  while (folder.size() > 1 && folder.ends_with('/')) folder.pop_back();
  return fromNativePath(folder);
}

std::u16string stateFolder() {
  return fromNativePath(baseFolder("XDG_STATE_HOME", ".local/state") + "/tessaron");
}

std::u16string temporaryFolder() {
  std::string folder = environment("TMPDIR");
  if (folder.empty()) folder = "/tmp";
  if (!folder.ends_with('/')) folder += '/';
  return fromNativePath(folder);
}

std::u16string temporaryFileName(std::u16string_view folder, std::u16string_view prefix,
                                 std::uint32_t number) {
  std::string start = nativePath(folder);
  if (!start.ends_with('/')) start += '/';
  start += nativePath(prefix.substr(0, 3));
  const auto name = [&](std::uint32_t unique) { return start + hexadecimal(unique) + ".tmp"; };
  if ((number & 0xFFFF) != 0) return fromNativePath(name(number & 0xFFFF));

  const auto first = static_cast<std::uint32_t>(
      std::chrono::steady_clock::now().time_since_epoch() / std::chrono::microseconds(1));
  for (std::uint32_t i = 0; i < 0xFFFF; ++i) {
    const std::string path = name((first + i) % 0xFFFF + 1);
    const int file = open(path.c_str(), O_CREAT | O_EXCL | O_WRONLY | O_CLOEXEC, 0600);
    if (file != -1) {
      close(file);
      return fromNativePath(path);
    }
    if (errno != EEXIST && errno != EINTR) break;
  }
  return {};
}

COLORREF systemColor(SystemColor part) {
  constexpr COLORREF kBlack = 0, kWhite = 0xFFFFFF, kBlue = 0xD77800, kLight = 0xF0F0F0,
                     kGray = 0xA0A0A0;
  switch (part) {
    case SystemColor::Window:
    case SystemColor::HighlightText:
    case SystemColor::ButtonHighlight:
      return kWhite;
    case SystemColor::Highlight:
    case SystemColor::MenuHighlight:
      return kBlue;
    case SystemColor::ButtonFace:
      return kLight;
    case SystemColor::ButtonShadow:
      return kGray;
    case SystemColor::WindowText:
    case SystemColor::MenuText:
      break;
  }
  return kBlack;
}

int verticalScrollBarWidth() { return 16; }
int screenBitsPerPixel() { return 32; }
bool isThemeApplied() { return false; }

}  // namespace tessaron
