#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <system_error>

#include "tessaron_export.h"

namespace tessaron {

/// A file, a pipe or a device, read as it comes. For one thread at a time.
class InputStream {
 public:
  enum class Kind { Regular, Device, Pipe };

  virtual ~InputStream() = default;
  InputStream() = default;
  InputStream(const InputStream&) = delete;
  InputStream& operator=(const InputStream&) = delete;

  /// Opens what stands at `path`: UTF-8, on Linux any bytes. Waits for the writer of a pipe. On
  /// failure returns null and sets `error`.
  TESSARON_API static std::unique_ptr<InputStream> open(const std::string& path,
                                                        std::error_code& error);
  /// Standard input, which stays open after this object. A console of Windows gives UTF-8.
  TESSARON_API static std::unique_ptr<InputStream> standardInput();

  /// What it is; nothing when that cannot be told, and then it cannot be read either.
  virtual std::optional<Kind> kind() const = 0;
  /// Reads up to `buffer.size()` bytes. Returns how many, 0 at the end, nothing when that failed,
  /// and then sets `error`.
  virtual std::optional<std::size_t> read(std::span<std::byte> buffer, std::error_code& error) = 0;
  /// Moves to an offset from the start. False when it is no regular file.
  virtual bool seek(std::uint64_t offset) = 0;
  /// Bytes of a regular file; nothing for others.
  virtual std::optional<std::uint64_t> size() const = 0;
};

}  // namespace tessaron
