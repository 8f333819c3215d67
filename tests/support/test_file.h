#pragma once

#include "support/unreliable_file.h"

/// A file that counts what is read. Its first reads may fail, and it may be longer than its
/// content: the rest is the same byte over and over.
struct TestFile : UnreliableFile {
  explicit TestFile(const std::string& content, int failures = 0)
      : UnreliableFile(content), size_(content.size()) {
    fails = [=](int read) { return read < failures; };
  }
  TestFile(const std::string& content, std::uint64_t size) : UnreliableFile(content), size_(size) {}

  std::optional<std::size_t> read(std::span<std::byte> buffer) override {
    if (!UnreliableFile::seek(at_)) return std::nullopt;
    std::optional<std::size_t> count = UnreliableFile::read(buffer);
    if (!count) return count;
    const auto held = static_cast<std::size_t>(std::min<std::uint64_t>(buffer.size(), size_ - at_));
    std::ranges::fill(buffer.first(held).subspan(*count), std::byte{'i'});
    at_ += held, total += held;
    return held;
  }
  bool seek(std::uint64_t offset) override { return at_ = std::min(offset, size_), true; }
  std::optional<std::uint64_t> size() override { return size_; }

  std::uint64_t total = 0;  ///< bytes

 private:
  std::uint64_t size_, at_ = 0;
};
