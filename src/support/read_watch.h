#pragma once

#include "platform/file.h"

namespace tessaron {

/// Passes reads on to another file and remembers whether one has failed, for readers that take a
/// failed read for damage. For one thread at a time.
class ReadWatch : public File {
 public:
  /// `file` must outlive this object.
  explicit ReadWatch(File& file) : file_(file) {}

  bool hasFailed() const { return hasFailed_; }

  std::optional<std::size_t> read(std::span<std::byte> buffer) override {
    return watched(file_.read(buffer));
  }
  std::optional<std::size_t> readAt(std::uint64_t offset, std::span<std::byte> buffer) override {
    return watched(file_.readAt(offset, buffer));
  }
  bool seek(std::uint64_t offset) override { return file_.seek(offset); }
  std::optional<std::uint64_t> size() override { return watched(file_.size()); }
  std::optional<FileStatus> status() override { return file_.status(); }
  bool write(std::span<const std::byte>) override { return false; }
  bool setEnd() override { return false; }

 private:
  template <typename Result>
  std::optional<Result> watched(std::optional<Result> result) {
    hasFailed_ = hasFailed_ || !result;
    return result;
  }

  File& file_;
  bool hasFailed_ = false;
};

}  // namespace tessaron
