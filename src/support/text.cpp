#include "support/text.h"

#include <cstdint>
#include <cstring>

#include "platform/text.h"
#include "support/text_internal.h"

namespace tessaron {
namespace {

constexpr char16_t kReplacement = u'\uFFFD';

constexpr bool isHighSurrogate(char16_t unit) { return (unit & 0xFC00) == 0xD800; }
constexpr bool isLowSurrogate(char16_t unit) { return (unit & 0xFC00) == 0xDC00; }

// Widens the ASCII characters that `text` begins with to `to`, and returns how many these are.
std::size_t widenAscii(std::string_view text, char16_t* to) {
  constexpr std::size_t kBlock = 16;
  std::size_t at = 0;
  for (; at + kBlock <= text.size(); at += kBlock) {  // compilers make vectors of a block
    unsigned char all = 0;
    for (std::size_t i = 0; i < kBlock; ++i) {
      const auto byte = static_cast<unsigned char>(text[at + i]);
      all |= byte;
      to[at + i] = byte;
    }
    if (all >= 0x80) break;
  }
  for (; at < text.size() && static_cast<unsigned char>(text[at]) < 0x80; ++at)
    to[at] = static_cast<unsigned char>(text[at]);
  return at;
}

// Narrows the ASCII characters that `text` begins with to `to`, and returns how many these are.
std::size_t narrowAscii(std::u16string_view text, char* to) {
  constexpr std::size_t kBlock = 16;
  std::size_t at = 0;
  for (; at + kBlock <= text.size(); at += kBlock) {  // compilers make vectors of a block
    char16_t all = 0;
    for (std::size_t i = 0; i < kBlock; ++i) {
      all |= text[at + i];
      to[at + i] = static_cast<char>(text[at + i]);
    }
    if (all >= 0x80) break;
  }
  for (; at < text.size() && text[at] < 0x80; ++at) to[at] = static_cast<char>(text[at]);
  return at;
}

}  // namespace

char32_t nextUtf8(std::string_view text, std::size_t& at, bool* wellFormed) {
  const auto byte = [&](std::size_t i) { return static_cast<unsigned char>(text[at + i]); };
  const unsigned char lead = byte(0);
  const std::size_t length = sequenceLength(lead);
  bool good = lead < 0x80;
  char32_t codePoint = lead;
  if (length > 1 && length <= text.size() - at) {
    codePoint = lead & (0x7Fu >> length);
    good = true;
    for (std::size_t i = 1; i < length; ++i) {
      good = good && (byte(i) & 0xC0) == 0x80;
      codePoint = codePoint << 6 | (byte(i) & 0x3F);
    }
    constexpr char32_t kSmallest[] = {0, 0, 0x80, 0x800, 0x10000};
    good = good && codePoint >= kSmallest[length] && codePoint <= 0x10FFFF &&
           (codePoint & 0x1FF800) != 0xD800;
  }
  if (wellFormed) *wellFormed = good;
  if (!good) {
    ++at;
    return lead < 0xA0 ? kWindows1252[lead - 0x80] : lead;
  }
  at += length;
  return codePoint;
}

std::size_t findIllFormed(std::string_view text) {
  constexpr std::uint64_t kHighs = 0x8080808080808080;
  for (std::size_t at = 0;;) {
    std::uint64_t bytes = 0;
    for (; at + 8 <= text.size(); at += 8) {
      std::memcpy(&bytes, text.data() + at, 8);
      if ((bytes & kHighs) != 0) break;
    }
    while (at < text.size() && static_cast<unsigned char>(text[at]) < 0x80) ++at;
    if (at == text.size()) return text.npos;
    const std::size_t begin = at;
    bool wellFormed = false;
    nextUtf8(text, at, &wellFormed);
    if (!wellFormed) return begin;
  }
}

std::size_t countCharacters(std::string_view text) {
  const auto continues = [&](std::size_t i) {
    return static_cast<unsigned char>((static_cast<unsigned char>(text[i]) & 0xC0) == 0x80);
  };
  std::size_t continuations = 0;
  std::size_t at = 0;
  constexpr std::size_t kBlock = 128;
  for (; at + kBlock <= text.size(); at += kBlock) {  // compilers make vectors of a block
    unsigned char sum = 0;
    for (std::size_t i = 0; i < kBlock; ++i) sum += continues(at + i);
    continuations += sum;
  }
  for (; at < text.size(); ++at) continuations += continues(at);
  return text.size() - continuations;
}

void appendUtf8(std::string& out, char32_t codePoint) {
  if (codePoint > 0x10FFFF || (codePoint & 0x1FF800) == 0xD800) codePoint = kReplacement;
  const auto byteAt = [&](int shift) {
    return static_cast<char>(0x80 | (codePoint >> shift & 0x3F));
  };
  if (codePoint < 0x80) {
    out += static_cast<char>(codePoint);
  } else if (codePoint < 0x800) {
    const char bytes[] = {static_cast<char>(0xC0 | codePoint >> 6), byteAt(0)};
    out.append(bytes, sizeof bytes);
  } else if (codePoint < 0x10000) {
    const char bytes[] = {static_cast<char>(0xE0 | codePoint >> 12), byteAt(6), byteAt(0)};
    out.append(bytes, sizeof bytes);
  } else {
    const char bytes[] = {static_cast<char>(0xF0 | codePoint >> 18), byteAt(12), byteAt(6),
                          byteAt(0)};
    out.append(bytes, sizeof bytes);
  }
}

char16_t* writeUtf16(char16_t* to, char32_t codePoint) {
  if (codePoint < 0x10000) {
    *to++ = static_cast<char16_t>(codePoint);
  } else {
    *to++ = static_cast<char16_t>(0xD7C0 + (codePoint >> 10));
    *to++ = static_cast<char16_t>(0xDC00 | (codePoint & 0x3FF));
  }
  return to;
}

char16_t* writeUtf16(char16_t* to, std::string_view text) {
  for (std::size_t at = 0; at < text.size();) {
    const std::size_t plain = widenAscii(text.substr(at), to);
    at += plain;
    to += plain;
    if (at < text.size()) to = writeUtf16(to, nextUtf8(text, at));
  }
  return to;
}

std::u16string fromUtf8(std::string_view text) {
  std::u16string out(text.size(), u'\0');
  out.resize(static_cast<std::size_t>(writeUtf16(out.data(), text) - out.data()));
  return out;
}

std::string toUtf8(std::u16string_view text) {
  std::string out(text.size(), '\0');
  out.resize(narrowAscii(text, out.data()));
  for (std::size_t i = out.size(); i < text.size(); ++i) {
    const char16_t unit = text[i];
    if (isHighSurrogate(unit) && i + 1 < text.size() && isLowSurrogate(text[i + 1])) {
      appendUtf8(out, 0x10000u + ((unit & 0x3FFu) << 10) + (text[++i] & 0x3FFu));
    } else {
      appendUtf8(out, unit);
    }
  }
  return out;
}

}  // namespace tessaron

std::u16string char2wchar(std::string text) { return tessaron::fromCodePage(text); }
std::string wchar2char(std::u16string text) { return tessaron::toCodePage(text); }
std::string wchar2utf8(std::u16string text) { return tessaron::toUtf8(text); }
std::u16string utf82wchar(std::string text) { return tessaron::fromUtf8(text); }
