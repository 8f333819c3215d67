#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string_view>

namespace tessaron {

/// 64 bits of a text: equal for equal texts, and as good as never for others unless someone makes
/// them so. The same in every run on machines of one byte order.
inline std::uint64_t fingerprint(std::string_view text) {
  constexpr std::uint64_t kFactor = 0x9E3779B97F4A7C15;
  std::uint64_t hash = kFactor ^ text.size();
  const auto mix = [&](std::uint64_t word) {
    hash = (hash ^ word) * kFactor;
    hash ^= hash >> 32;
  };
  std::uint64_t word = 0;
  std::size_t at = 0;
  for (; text.size() - at >= sizeof word; at += sizeof word) {
    std::memcpy(&word, text.data() + at, sizeof word);
    mix(word);
  }
  word = 0;
  if (at < text.size()) std::memcpy(&word, text.data() + at, text.size() - at);
  mix(word);
  mix(0);
  return hash;
}

}  // namespace tessaron
