#pragma once
// UTF-16 to UTF-8 with some characters replaced, in one pass.

#include <array>
#include <cstddef>
#include <string>
#include <string_view>

#include "support/text.h"

namespace tessaron {

/// Appends `text` in UTF-8 to `out`. `escape(unit)` is asked about the characters `kSpecial`, the
/// control characters, U+007F and everything above, and tells by what the unit is replaced; empty:
/// by itself. A surrogate pair is one character that stays; a surrogate alone becomes U+FFFD.
template <char... kSpecial, typename Escape>
void appendEscaped(std::string& out, std::u16string_view text, Escape escape) {
  static constexpr std::array<bool, 128> kPlain = [] {
    std::array<bool, 128> plain{};
    for (std::size_t unit = 0x20; unit < 0x7F; ++unit) plain[unit] = true;
    ((plain[static_cast<unsigned char>(kSpecial)] = false), ...);
    return plain;
  }();
  std::array<char, 256> run;
  for (std::size_t at = 0; at < text.size();) {
    const std::u16string_view rest = text.substr(at, run.size());
    std::size_t count = 0;
    for (; count < rest.size() && rest[count] < 128 && kPlain[rest[count]]; ++count)
      run[count] = static_cast<char>(rest[count]);
    out.append(run.data(), count);
    at += count;
    if (count == rest.size()) continue;
    const char16_t unit = text[at++];
    if ((unit & 0xFC00) == 0xD800 && at < text.size() && (text[at] & 0xFC00) == 0xDC00) {
      appendUtf8(out, 0x10000u + ((unit & 0x3FFu) << 10) + (text[at++] & 0x3FFu));
    } else if (const std::string_view replacement = escape(unit); !replacement.empty()) {
      out += replacement;
    } else {
      appendUtf8(out, unit);
    }
  }
}

}  // namespace tessaron
