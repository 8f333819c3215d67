#include "platform/input_stream.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>

#include "platform/posix/retry.h"

namespace tessaron {
namespace {

class PosixInput : public InputStream {
 public:
  explicit PosixInput(int descriptor) : descriptor_(descriptor) {}
  ~PosixInput() override {
    if (descriptor_ > STDERR_FILENO) ::close(descriptor_);
  }

  std::optional<Kind> kind() const override {
    struct stat status;
    if (::fstat(descriptor_, &status) != 0) return std::nullopt;
    if (S_ISREG(status.st_mode)) return Kind::Regular;
    return S_ISCHR(status.st_mode) ? Kind::Device : Kind::Pipe;
  }
  std::optional<std::size_t> read(std::span<std::byte> buffer, std::error_code& error) override {
    const ssize_t got = retry([&] { return ::read(descriptor_, buffer.data(), buffer.size()); });
    if (got >= 0) return static_cast<std::size_t>(got);
    error = {errno, std::generic_category()};
    return std::nullopt;
  }
  bool seek(std::uint64_t offset) override {
    return ::lseek(descriptor_, static_cast<off_t>(offset), SEEK_SET) >= 0;
  }
  std::optional<std::uint64_t> size() const override {
    struct stat status;
    if (::fstat(descriptor_, &status) != 0 || !S_ISREG(status.st_mode)) return std::nullopt;
    return static_cast<std::uint64_t>(status.st_size);
  }

 private:
  int descriptor_;
};

}  // namespace

std::unique_ptr<InputStream> InputStream::open(const std::string& path, std::error_code& error) {
  const int descriptor =
      retry([&] { return ::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NOCTTY); });
  if (descriptor >= 0) return std::make_unique<PosixInput>(descriptor);
  error = {errno, std::generic_category()};
  return nullptr;
}

std::unique_ptr<InputStream> InputStream::standardInput() {
  return std::make_unique<PosixInput>(STDIN_FILENO);
}

}  // namespace tessaron
