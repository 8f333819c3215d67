#pragma once
// What the verbs read: files, pipes, standard input.

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <string>

#include "platform/file.h"
#include "platform/input_stream.h"
#include "support/xml/error.h"

namespace tessaron::tool {

/// The bytes of a file, or of standard input for "-" (which can be read only once). Fails with
/// kNoInput, also for more than 1 GiB of a pipe or 16 MiB of a device.
std::string readInput(const std::string& path);

/// An input that is read as it comes: a file, a pipe, or standard input for "-". Fails as
/// `readInput` does, but a regular file may have any size.
class Input : public File {
 public:
  explicit Input(const std::string& path);
  ~Input() override;

  /// Whether it can be read more than once.
  bool isRegular() const;
  /// Fails when a read has failed.
  void requireRead() const;

  std::optional<std::size_t> read(std::span<std::byte> buffer) override;
  bool write(std::span<const std::byte>) override { return false; }
  bool seek(std::uint64_t offset) override;
  /// Of a regular file; nothing for others.
  std::optional<std::uint64_t> size() override;
  bool setEnd() override { return false; }
  std::optional<FileStatus> status() override { return std::nullopt; }

 private:
  std::string path_;
  std::unique_ptr<InputStream> stream_;
  std::uint64_t count_ = 0;
  std::string reason_;
};

/// Fails with kBadData and the position of `error`, unless there is none.
void requireSound(const std::string& path, const XmlError& error);

}  // namespace tessaron::tool
