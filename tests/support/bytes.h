#pragma once
// Bytes of binary formats, to be put together by the tests.

#include <cstdint>
#include <initializer_list>
#include <string>

inline std::string bytes(std::initializer_list<int> values) {
  std::string text;
  for (const int value : values) text += static_cast<char>(value);
  return text;
}

inline std::string le16(std::uint32_t value) {
  return bytes({static_cast<int>(value & 0xFF), static_cast<int>(value >> 8 & 0xFF)});
}
inline std::string le32(std::uint32_t value) { return le16(value) + le16(value >> 16); }
inline std::string be16(std::uint32_t value) {
  return bytes({static_cast<int>(value >> 8 & 0xFF), static_cast<int>(value & 0xFF)});
}
inline std::string be32(std::uint32_t value) { return be16(value >> 16) + be16(value); }
