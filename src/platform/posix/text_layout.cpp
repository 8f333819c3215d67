#include "platform/text_layout.h"

#include <unicode/ubrk.h>
#include <unicode/uchar.h>
#include <unicode/utext.h>

#include <cstdint>
#include <memory>

namespace tessaron {
namespace {

struct Close {
  void operator()(UBreakIterator* iterator) const { ubrk_close(iterator); }
};
using Iterator = std::unique_ptr<UBreakIterator, Close>;

/// This thread's iterator; null without ICU's data.
UBreakIterator* iteratorOf(TextBreak kind) {
  static const auto open = [](UBreakIteratorType type) {
    UErrorCode error = U_ZERO_ERROR;
    return Iterator(ubrk_open(type, "", nullptr, 0, &error));
  };
  thread_local const Iterator lines = open(UBRK_LINE);
  thread_local const Iterator characters = open(UBRK_CHARACTER);
  return (kind == TextBreak::Line ? lines : characters).get();
}

}  // namespace

int columnsOf(char32_t character) {
  const auto c = static_cast<UChar32>(character);
  const auto type = U_MASK(u_charType(c));
  constexpr auto kSoftHyphen = UChar32{0xAD};  // a format character, but terminals show it
  if ((type & (U_GC_MN_MASK | U_GC_ME_MASK | U_GC_CF_MASK)) != 0 && c != kSoftHyphen) return 0;
  if (c >= 0x1160 && c <= 0x11FF) return 0;  // the vowels and finals that join a Hangul syllable
  const int width = u_getIntPropertyValue(c, UCHAR_EAST_ASIAN_WIDTH);
  return width == U_EA_WIDE || width == U_EA_FULLWIDTH ? 2 : 1;
}

std::vector<std::size_t> textBreaks(TextBreak kind, std::string_view text) {
  UBreakIterator* const iterator = iteratorOf(kind);
  std::vector<std::size_t> ends;
  UErrorCode error = U_ZERO_ERROR;
  UText source = UTEXT_INITIALIZER;
  utext_openUTF8(&source, text.data(), static_cast<std::int64_t>(text.size()), &error);
  if (iterator) ubrk_setUText(iterator, &source, &error);
  if (iterator && U_SUCCESS(error)) {
    while (true) {
      const std::int32_t end = ubrk_next(iterator);
      if (end == UBRK_DONE) break;
      ends.push_back(static_cast<std::size_t>(end));
    }
  } else {
    for (std::size_t at = 0; at < text.size(); ends.push_back(at)) {
      UChar32 c = 0;
      U8_NEXT(text.data(), at, text.size(), c);
    }
  }
  utext_close(&source);
  return ends;
}

}  // namespace tessaron
