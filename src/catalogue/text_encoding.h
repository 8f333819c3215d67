#pragma once

#include <cstdint>
#include <memory>
#include <string_view>

#include "platform/file.h"
#include "tessaron_export.h"

namespace tessaron {

/// How the bytes of a text file are read.
enum class TextEncoding { Utf8, LittleUtf16, BigUtf16, Windows1252 };

/// "UTF-8", "UTF-16" or "Windows-1252".
TESSARON_API std::string_view encodingName(TextEncoding encoding);

/// A text as a seekable file in UTF-8, at its first character.
struct Utf8Text {
  std::unique_ptr<File> file;  ///< null when it cannot be read, or decoded
  std::uint64_t start = 0;     ///< where its first character is: behind a byte-order mark
  TextEncoding encoding = TextEncoding::Utf8;
};

/// What a text without a byte-order mark is taken for.
enum class Unmarked {
  Utf8,
  Guess,  ///< UTF-8 when all of it is, else Windows-1252
};

/// Recognizes the encoding of `text`, a seekable file, by its byte-order mark. Text in UTF-8 is
/// read where it is, other text from a scratch file.
TESSARON_API Utf8Text asUtf8(std::unique_ptr<File> text, Unmarked unmarked);

}  // namespace tessaron
