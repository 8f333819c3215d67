#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <string>

#include "mediainfo/labels.h"
#include "support/string_table.h"

namespace tessaron {

/// How to show a picture: first mirrored left to right, then turned.
struct Orientation {
  bool isMirrored;
  enum class Turn : std::uint8_t { None, Half, Left, Right } turn;
};

/// By their Exif number, less 1.
constexpr std::array<Orientation, 8> kOrientations = {{{false, Orientation::Turn::None},
                                                       {true, Orientation::Turn::None},
                                                       {false, Orientation::Turn::Half},
                                                       {true, Orientation::Turn::Half},
                                                       {true, Orientation::Turn::Left},
                                                       {false, Orientation::Turn::Right},
                                                       {true, Orientation::Turn::Right},
                                                       {false, Orientation::Turn::Left}}};

/// Returns the text of an orientation in property maps.
inline std::u16string orientationText(const Orientation& orientation) {
  constexpr std::array<std::uint32_t, 4> kTurns = {label::kNormal, label::kRotated180,
                                                   label::kRotated90Counterclockwise,
                                                   label::kRotated90Clockwise};
  std::u16string turn(stringAt(kTurns[static_cast<std::size_t>(orientation.turn)]));
  if (!orientation.isMirrored) return turn;
  const bool isTurned = orientation.turn != Orientation::Turn::None;
  return std::u16string(stringAt(label::kMirrored)) + (isTurned ? u", " + turn : u"");
}

}  // namespace tessaron
