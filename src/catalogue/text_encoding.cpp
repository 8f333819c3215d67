#include "catalogue/text_encoding.h"

#include <array>
#include <cstddef>
#include <optional>
#include <string>
#include <utility>

#include "catalogue/utf8_copy_internal.h"
#include "platform/text.h"
#include "support/text.h"

namespace tessaron {
namespace {

constexpr std::size_t kMaxSequence = 4;  // bytes of a character in UTF-8

// Whether the rest of the file is UTF-8. Nothing when it cannot be read.
std::optional<bool> isUtf8(File& file) {
  bool wellFormed = true;
  std::string text;  // with the start of a character that the last block cut
  const bool done = forEachBlock(file, [&](std::string_view block, bool isLast) {
    text += block;
    const std::size_t bad = findIllFormed(text);
    wellFormed = bad == text.npos || (!isLast && text.size() - bad < kMaxSequence);
    text.erase(0, bad == text.npos ? text.size() : bad);
    return wellFormed;
  });
  if (!done && wellFormed) return std::nullopt;
  return wellFormed;
}

// Decodes UTF-16 block by block.
class Utf16Decoder : public CharsetDecoder {
 public:
  explicit Utf16Decoder(bool isBig) : isBig_(isBig) {}
  void decode(std::string_view bytes, bool isLast, std::u16string& out) override {
    for (const char c : bytes) {
      const auto byte = static_cast<unsigned char>(c);
      if (!half_) {
        half_ = byte;
        continue;
      }
      out += static_cast<char16_t>(isBig_ ? *half_ << 8 | byte : byte << 8 | *half_);
      half_.reset();
    }
    if (isLast && half_) out += u'\uFFFD';
  }

 private:
  bool isBig_;
  std::optional<unsigned char> half_;
};

// Copies the rest of the file, decoded. Null when it cannot be read or written.
std::unique_ptr<File> decoded(File& file, CharsetDecoder& decoder) {
  ScratchFile copy;
  std::u16string wide;
  const bool done = forEachBlock(file, [&](std::string_view block, bool isLast) {
    decoder.decode(block, isLast, wide);
    // The second half of a pair comes with the next block.
    const bool isCut = !isLast && !wide.empty() && (wide.back() & 0xFC00) == 0xD800;
    const std::size_t size = wide.size() - (isCut ? 1 : 0);
    const bool written = copy.write(toUtf8(std::u16string_view(wide).substr(0, size)));
    wide.erase(0, size);
    return written;
  });
  std::unique_ptr<File> text = done ? copy.take() : nullptr;
  return text && text->seek(0) ? std::move(text) : nullptr;
}

}  // namespace

std::string_view encodingName(TextEncoding encoding) {
  if (encoding == TextEncoding::Utf8) return "UTF-8";
  return encoding == TextEncoding::Windows1252 ? "Windows-1252" : "UTF-16";
}

Utf8Text asUtf8(std::unique_ptr<File> text, Unmarked unmarked) {
  Utf8Text result;
  std::array<std::byte, 3> head{};
  const std::optional<std::size_t> got = readFully(*text, 0, head);
  if (!got) return result;
  const auto begins = [&](std::initializer_list<int> mark) {
    std::size_t at = 0;
    for (const int byte : mark)
      if (at >= *got || std::to_integer<int>(head[at++]) != byte) return false;
    return true;
  };
  std::size_t mark = 0;
  if (begins({0xEF, 0xBB, 0xBF})) mark = 3;
  if (begins({0xFF, 0xFE})) mark = 2, result.encoding = TextEncoding::LittleUtf16;
  if (begins({0xFE, 0xFF})) mark = 2, result.encoding = TextEncoding::BigUtf16;
  if (!text->seek(mark)) return result;
  if (mark == 0 && unmarked == Unmarked::Guess) {
    const std::optional<bool> wellFormed = isUtf8(*text);
    if (!wellFormed || !text->seek(0)) return result;
    if (!*wellFormed) result.encoding = TextEncoding::Windows1252;
  }
  if (result.encoding == TextEncoding::Utf8) {
    result.start = mark;
    result.file = std::move(text);
    return result;
  }
  std::unique_ptr<CharsetDecoder> decoder;
  if (result.encoding == TextEncoding::Windows1252)
    decoder = CharsetDecoder::open("windows-1252");
  else
    decoder = std::make_unique<Utf16Decoder>(result.encoding == TextEncoding::BigUtf16);
  if (decoder) result.file = decoded(*text, *decoder);
  return result;
}

}  // namespace tessaron
