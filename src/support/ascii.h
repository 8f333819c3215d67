#pragma once
// Letters of ASCII, whatever the language.

#include <algorithm>
#include <string>
#include <string_view>

namespace tessaron {

constexpr char lowerLetter(char c) {
  return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
}

inline std::string lowerLetters(std::string_view text) {
  std::string lower(text);
  std::ranges::transform(lower, lower.begin(), lowerLetter);
  return lower;
}

/// Whether the texts are the same but for the case of ASCII letters.
constexpr bool equalIgnoringCase(std::string_view left, std::string_view right) {
  return std::ranges::equal(left, right, {}, lowerLetter, lowerLetter);
}

}  // namespace tessaron
