#include "platform/input_stream.h"

#include <algorithm>

#include "platform/types.h"
#include "platform/win32/error.h"
#include "platform/win32/utf8.h"

namespace tessaron {
namespace {

class Win32Input : public InputStream {
 public:
  Win32Input(HANDLE handle, bool isOwn) : handle_(handle), isOwn_(isOwn) {
    DWORD mode = 0;
    isConsole_ = GetConsoleMode(handle, &mode);
  }
  ~Win32Input() override {
    if (isOwn_) CloseHandle(handle_);
  }

  std::optional<Kind> kind() const override {
    switch (GetFileType(handle_)) {
      case FILE_TYPE_DISK:
        return Kind::Regular;
      case FILE_TYPE_CHAR:
        return Kind::Device;
      case FILE_TYPE_PIPE:
        return Kind::Pipe;
      default:
        return std::nullopt;
    }
  }
  std::optional<std::size_t> read(std::span<std::byte> buffer, std::error_code& error) override {
    if (isConsole_) return readConsole(buffer, error);
    DWORD count = 0;
    const auto size = static_cast<DWORD>(std::min<std::size_t>(buffer.size(), 1 << 30));
    // A pipe ends with an error.
    if (ReadFile(handle_, buffer.data(), size, &count, nullptr) ||
        GetLastError() == ERROR_BROKEN_PIPE)
      return count;
    error = lastError();
    return std::nullopt;
  }
  bool seek(std::uint64_t offset) override {
    LARGE_INTEGER to;
    to.QuadPart = static_cast<LONGLONG>(offset);
    return kind() == Kind::Regular && SetFilePointerEx(handle_, to, nullptr, FILE_BEGIN);
  }
  std::optional<std::uint64_t> size() const override {
    LARGE_INTEGER size;
    if (kind() != Kind::Regular || !GetFileSizeEx(handle_, &size)) return std::nullopt;
    return static_cast<std::uint64_t>(size.QuadPart);
  }

 private:
  std::optional<std::size_t> readConsole(std::span<std::byte> buffer, std::error_code& error) {
    constexpr char16_t kEnd = 0x1A;  // Ctrl+Z at the beginning of a line
    char16_t line[1 << 10];
    DWORD count = 0;
    if (typed_.empty() && !isEnded_) {
      if (!ReadConsoleW(handle_, line, sizeof line / sizeof *line, &count, nullptr)) {
        error = lastError();
        return std::nullopt;
      }
      isEnded_ = count == 0 || line[0] == kEnd;
      if (!isEnded_) units_.append(line, count);
      // Half of a pair of surrogates waits for the other half.
      const bool isCut = !units_.empty() && (units_.back() & 0xFC00) == 0xD800;
      const std::u16string whole = units_.substr(0, units_.size() - (isCut ? 1 : 0));
      units_.erase(0, whole.size());
      typed_ = narrowed(whole);
    }
    const std::size_t given = std::min(buffer.size(), typed_.size());
    std::ranges::copy(std::as_bytes(std::span(typed_).first(given)), buffer.begin());
    typed_.erase(0, given);
    return given;
  }

  HANDLE handle_;
  bool isOwn_;
  bool isConsole_ = false;
  bool isEnded_ = false;
  std::u16string units_;  // typed, not yet converted
  std::string typed_;     // not yet read
};

}  // namespace

std::unique_ptr<InputStream> InputStream::open(const std::string& path, std::error_code& error) {
  const std::u16string name = widened(path);
  const DWORD attributes = GetFileAttributesW(wide(name));
  if (attributes != INVALID_FILE_ATTRIBUTES && (attributes & FILE_ATTRIBUTE_DIRECTORY) != 0) {
    error = std::make_error_code(std::errc::is_a_directory);
    return nullptr;
  }
  const HANDLE handle =
      CreateFileW(wide(name), GENERIC_READ, FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE,
                  nullptr, OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr);
  if (handle != INVALID_HANDLE_VALUE) return std::make_unique<Win32Input>(handle, true);
  error = lastError();
  return nullptr;
}

std::unique_ptr<InputStream> InputStream::standardInput() {
  return std::make_unique<Win32Input>(GetStdHandle(STD_INPUT_HANDLE), false);
}

}  // namespace tessaron
