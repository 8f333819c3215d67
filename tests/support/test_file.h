#pragma once

#include <cstdint>
#include <string>

#include "platform/file.h"

/// A file that counts what is read. Its first reads may fail, and it may be longer than its
/// content: the rest is the same byte over and over.
class TestFile : public tessaron::File {
 public:
  explicit TestFile(std::string content, int failures = 0)
      : content_(std::move(content)), size_(content_.size()), failures_(failures) {}
  TestFile(std::string content, std::uint64_t size) : content_(std::move(content)), size_(size) {}

  std::optional<std::size_t> read(std::span<std::byte> buffer) override {
    ++reads;
    if (failures_-- > 0) return std::nullopt;
    std::size_t count = 0;
    for (; count < buffer.size() && at_ < size_; ++count, ++at_) {
      buffer[count] = static_cast<std::byte>(at_ < content_.size() ? content_[at_] : 'i');
    }
    total += count;
    return count;
  }
  bool seek(std::uint64_t offset) override {
    at_ = offset;
    return true;
  }
  std::optional<std::uint64_t> size() override { return size_; }
  bool write(std::span<const std::byte>) override { return false; }
  bool setEnd() override { return false; }
  std::optional<tessaron::FileStatus> status() override { return std::nullopt; }

  int reads = 0;
  std::uint64_t total = 0;  ///< bytes

 private:
  std::string content_;
  std::uint64_t size_;
  std::uint64_t at_ = 0;
  int failures_ = 0;
};
