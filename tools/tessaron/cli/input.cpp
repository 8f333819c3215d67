#include "cli/input.h"

#include <fcntl.h>
#include <fmt/format.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>

#include "cli/failures.h"
#include "cli/paths.h"

namespace tessaron::tool {
namespace {

/// Limit of what is read, so that endless inputs do not fill the memory.
struct InputLimit {
  std::uint64_t bytes;
  const char* text;
};

InputLimit limitOf(const struct stat& status) {
  if (S_ISREG(status.st_mode)) return {UINT64_MAX, ""};
  if (S_ISCHR(status.st_mode)) return {std::uint64_t{16} << 20, "16 MiB, the most of a device"};
  return {std::uint64_t{1} << 30, "1 GiB, the most of a pipe"};
}

}  // namespace

Input::Input(const std::string& path) : path_(path) {
  static bool standardInputTaken = false;
  const bool standard = path == "-";
  if (path.empty()) throw Failure{kNoInput, {}, "the file's name is empty"};
  if (standard && standardInputTaken)
    throw Failure{kNoInput, displayName(path), "it can be read only once"};
  standardInputTaken = standardInputTaken || standard;
  do {
    descriptor_ = standard ? STDIN_FILENO : ::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NOCTTY);
  } while (descriptor_ < 0 && errno == EINTR);
  if (descriptor_ < 0 && errno == ENOENT && !isUtf8(path))
    throw Failure{kNoInput, path, "the file's name is not UTF-8, and no file has it"};
  if (descriptor_ < 0) throw Failure{kNoInput, displayName(path), reasonOf(errno)};
}

Input::~Input() {
  if (descriptor_ > STDERR_FILENO) ::close(descriptor_);
}

bool Input::isRegular() const {
  struct stat status;
  return ::fstat(descriptor_, &status) == 0 && S_ISREG(status.st_mode);
}

std::optional<std::size_t> Input::read(std::span<std::byte> buffer) {
  struct stat status;
  ssize_t got = ::fstat(descriptor_, &status);
  if (got == 0) {
    do {
      got = ::read(descriptor_, buffer.data(), buffer.size());
    } while (got < 0 && errno == EINTR);
  }
  if (got < 0) {
    reason_ = reasonOf(errno);
    return std::nullopt;
  }
  const InputLimit limit = limitOf(status);
  count_ += static_cast<std::uint64_t>(got);
  if (count_ <= limit.bytes) return static_cast<std::size_t>(got);
  reason_ = fmt::format("it has more than {} that is read", limit.text);
  return std::nullopt;
}

bool Input::seek(std::uint64_t offset) {
  return ::lseek(descriptor_, static_cast<off_t>(offset), SEEK_SET) >= 0;
}

std::optional<std::uint64_t> Input::size() {
  struct stat status;
  if (::fstat(descriptor_, &status) != 0 || !S_ISREG(status.st_mode)) return std::nullopt;
  return static_cast<std::uint64_t>(status.st_size);
}

void Input::requireRead() const {
  if (!reason_.empty()) throw Failure{kNoInput, displayName(path_), reason_};
}

std::string readInput(const std::string& path) {
  Input input(path);
  std::string content;
  readToEnd(input, content);
  input.requireRead();
  return content;
}

void requireSound(const std::string& path, const XmlError& error) {
  if (!error) return;
  throw Failure{kBadData, fmt::format("{}:{}:{}", displayName(path), error.line, error.column),
                error.message};
}

}  // namespace tessaron::tool
