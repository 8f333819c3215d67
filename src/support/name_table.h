#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <string_view>

namespace tessaron {

/// A fixed list of names with a hash over it, both made at compile time. `find` compares with one
/// name in the common case, however long the list is.
template <std::size_t N>
class NameTable {
 public:
  constexpr explicit NameTable(const std::array<std::string_view, N>& names) : names_(names) {
    for (std::size_t i = 0; i < N; ++i) {
      std::size_t slot = hash(names[i]) % kSlots;
      while (slots_[slot] != 0) {
        if (names_[slots_[slot] - 1] == names[i]) throw "a name stands twice in the table";
        slot = (slot + 1) % kSlots;
      }
      slots_[slot] = static_cast<std::uint8_t>(i + 1);
    }
  }

  /// The position of `name` in the list, or N when it is not there.
  constexpr std::size_t find(std::string_view name) const {
    for (std::size_t slot = hash(name) % kSlots; slots_[slot] != 0; slot = (slot + 1) % kSlots) {
      const std::size_t index = slots_[slot] - 1u;
      if (names_[index] == name) return index;
    }
    return N;
  }

  constexpr std::string_view operator[](std::size_t index) const { return names_[index]; }
  static constexpr std::size_t size() { return N; }

 private:
  static_assert(N < 255);
  static constexpr std::size_t kSlots = N * 3 + 1;  // sparse, and never full

  // Of the length and three characters: names that share them are compared one after another.
  static constexpr std::size_t hash(std::string_view name) {
    if (name.empty()) return 0;
    const auto byte = [&](std::size_t at) { return static_cast<unsigned char>(name[at]); };
    return name.size() * 7 + byte(0) * 31u + byte(name.size() / 2) * 131u +
           byte(name.size() - 1) * 1031u;
  }

  std::array<std::string_view, N> names_;
  std::array<std::uint8_t, kSlots> slots_{};
};

}  // namespace tessaron
