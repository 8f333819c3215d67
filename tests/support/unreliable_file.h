#pragma once

#include <algorithm>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <utility>

#include "platform/file.h"

/// A file in memory whose calls fail on demand; each call is given its number, from 0.
struct UnreliableFile : tessaron::File {
  explicit UnreliableFile(std::string content) : inner(tessaron::memoryFile(std::move(content))) {}
  std::optional<std::size_t> read(std::span<std::byte> buffer) override {
    if (fails && fails(reads++)) return std::nullopt;
    return inner->read(buffer.first(std::min(buffer.size(), maxRead)));
  }
  bool write(std::span<const std::byte> bytes) override {
    return !(failsWriting && failsWriting(writes++)) && inner->write(bytes);
  }
  bool seek(std::uint64_t offset) override { return inner->seek(offset); }
  std::optional<std::uint64_t> size() override { return inner->size(); }
  bool setEnd() override { return inner->setEnd(); }
  std::optional<tessaron::FileStatus> status() override { return inner->status(); }

  std::unique_ptr<File> inner;
  std::size_t maxRead = SIZE_MAX;  ///< bytes that one read gives
  std::function<bool(int)> fails, failsWriting;
  int reads = 0, writes = 0;
};
