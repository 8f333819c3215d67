#pragma once

#include <cstddef>
#include <cstdint>
#include <span>

namespace tessaron {

/// Reads numbers from a view of bytes. A read that would leave the view yields zero, does not move,
/// and makes every later read fail: read a fixed header straight down, then check `ok()` once. For
/// one thread at a time; does not own the bytes.
class ByteReader {
 public:
  explicit ByteReader(std::span<const std::byte> bytes) : bytes_(bytes) {}

  std::uint8_t u8() { return static_cast<std::uint8_t>(number<1, false>()); }
  std::uint16_t u16le() { return static_cast<std::uint16_t>(number<2, false>()); }
  std::uint16_t u16be() { return static_cast<std::uint16_t>(number<2, true>()); }
  std::uint32_t u32le() { return static_cast<std::uint32_t>(number<4, false>()); }
  std::uint32_t u32be() { return static_cast<std::uint32_t>(number<4, true>()); }
  std::uint64_t u64le() { return number<8, false>(); }
  std::uint64_t u64be() { return number<8, true>(); }

  /// The next `count` bytes, or an empty view.
  std::span<const std::byte> bytes(std::size_t count) {
    if (!take(count)) return {};
    return bytes_.subspan(at_ - count, count);
  }

  void skip(std::size_t count) { take(count); }
  std::size_t position() const { return at_; }
  /// How many bytes can be read; 0 once a read has failed, so that loops end.
  std::size_t remaining() const { return ok_ ? bytes_.size() - at_ : 0; }
  bool ok() const { return ok_; }

 private:
  bool take(std::size_t count) {
    if (!ok_ || count > remaining()) {
      ok_ = false;
      return false;
    }
    at_ += count;
    return true;
  }

  template <std::size_t Size, bool BigEndian>
  std::uint64_t number() {
    if (!take(Size)) return 0;
    std::uint64_t value = 0;
    for (std::size_t i = 0; i < Size; ++i) {
      const std::size_t from = BigEndian ? i : Size - 1 - i;
      value = value << 8 | std::to_integer<std::uint64_t>(bytes_[at_ - Size + from]);
    }
    return value;
  }

  std::span<const std::byte> bytes_;
  std::size_t at_ = 0;
  bool ok_ = true;
};

}  // namespace tessaron
