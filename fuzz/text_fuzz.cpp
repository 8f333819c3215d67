#include <cstring>

#include "fuzz.h"
#include "support/text.h"

namespace {

// A text, and the characters that it stands for.
void checkCharacters(const std::string& text, const std::string& wellFormed) {
  CHECK(tessaron::findIllFormed(wellFormed) == wellFormed.npos);
  std::size_t characters = 0;
  for (std::size_t at = 0; at < wellFormed.size(); ++characters) tessaron::nextUtf8(wellFormed, at);
  CHECK(tessaron::countCharacters(wellFormed) == characters);
  const std::size_t bad = tessaron::findIllFormed(text);
  CHECK((bad == text.npos) == (text == wellFormed));
  if (bad != text.npos) CHECK(text.compare(0, bad, wellFormed, 0, bad) == 0);
}

}  // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string text = asText(data, size);
  const std::u16string wide = utf82wchar(text);
  const std::string narrow = wchar2utf8(wide);
  CHECK(utf82wchar(narrow) == wide);
  CHECK(wchar2utf8(utf82wchar(narrow)) == narrow);
  checkCharacters(text, narrow);

  std::u16string units(size / 2, u'\0');
  if (!units.empty()) std::memcpy(units.data(), data, units.size() * 2);
  const std::u16string legal = utf82wchar(wchar2utf8(units));
  CHECK(legal.size() == units.size());
  CHECK(utf82wchar(wchar2utf8(legal)) == legal);
  CHECK(char2wchar(wchar2char(legal)).size() <= legal.size());
  char2wchar(text);

  for (std::u16string repaired : {wide, units}) {
    const std::u16string before = repaired;
    CHECK(fixunicode(repaired) == (repaired != before));
    CHECK(repaired.size() <= before.size());
    const std::u16string after = repaired;
    CHECK(!fixunicode(repaired) && repaired == after);
  }
  return 0;
}
