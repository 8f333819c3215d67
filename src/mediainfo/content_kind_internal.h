#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string_view>

#include "mediainfo/category.h"

namespace tessaron {

/// What a file is, by its first bytes.
struct ContentKind {
  /// Who reads a file of the kind further. The signatures of weak kinds are so short that other
  /// files begin with them, too: such a file is of the kind only if its reader says so.
  enum class Reader : std::uint8_t {
    None,
    Picture,
    WeakPicture,
    Media,
    WeakMedia,
    Pdf,
    Book,
    Zip,
    Svg
  };
  std::string_view name;
  MediaCategory category = kOtherCategory;
  Reader reader = Reader::None;

  bool isWeak() const { return reader == Reader::WeakPicture || reader == Reader::WeakMedia; }
};

/// Bytes from the start of a file that `findContentKind` wants; a file may have fewer.
constexpr std::size_t kContentHead = std::size_t{36} << 10;

/// Finds the kind of the file that begins with `head`. Nothing for text and for unknown kinds.
std::optional<ContentKind> findContentKind(std::span<const std::byte> head);

/// The kind of a text without a signature, such as mail and drawings in letters, by the extension
/// of its name, in any case. Nothing for others.
std::optional<ContentKind> kindOfText(std::u16string_view extension);

}  // namespace tessaron
