#include "support/text.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

#include "support/fold.h"
#include "support/spelling.h"

namespace {

using namespace std::string_literals;

TEST(Utf8, CarriesEveryCharacterBothWays) {
  std::u16string all;
  for (char32_t c = 0; c <= 0x10FFFF; ++c) {
    if (c >= 0xD800 && c < 0xE000) continue;
    if (c < 0x10000) {
      all += static_cast<char16_t>(c);
    } else {
      all += static_cast<char16_t>(0xD800 + ((c - 0x10000) >> 10));
      all += static_cast<char16_t>(0xDC00 + ((c - 0x10000) & 0x3FF));
    }
  }
  const std::string utf8 = wchar2utf8(all);
  EXPECT_EQ(utf8.size(), 0x80 + 0x780 * 2 + (0xF800 - 0x800) * 3 + 0x100000 * 4u);
  EXPECT_TRUE(utf82wchar(utf8) == all);
}

TEST(Utf8, TakesStrayBytesAsWindows1252) {
  const struct {
    std::string bytes;
    std::u16string expected;
  } rows[] = {
      {"caf\xE9", u"café"},                               // cut lead byte at the end
      {"\x80 12", u"€ 12"},                               // stray continuation
      {"\xC0\x80", u"\u00C0\u20AC"},                      // overlong NUL
      {"\xE0\x9F\xBF", u"\u00E0\u0178\u00BF"},            // overlong in three
      {"\xED\xA0\x80", u"\u00ED\u00A0\u20AC"},            // an encoded surrogate
      {"\xF4\x90\x80\x80", u"\u00F4\u0090\u20AC\u20AC"},  // above U+10FFFF
      {"\xF0\x9F\x98", u"\u00F0\u0178\u02DC"},            // cut emoji
      {"\x81\x8D\x8F\x90\x9D", u"\u0081\u008D\u008F\u0090\u009D"},
      {"\xE2\x82\xAC\xE9"s, u"€é"},  // good and stray side by side
      {"a\0b"s, u"a\0b"s},
  };
  for (const auto& [bytes, expected] : rows) EXPECT_EQ(utf82wchar(bytes), expected) << bytes;
}

TEST(Utf8, ReplacesLoneSurrogates) {
  const std::u16string high(1, 0xD83D), low(1, 0xDE00);
  EXPECT_EQ(wchar2utf8(high), "\uFFFD");
  EXPECT_EQ(wchar2utf8(u"a" + low + u"b"), "a\uFFFDb");
  EXPECT_EQ(wchar2utf8(high + high + low), "\uFFFD\U0001F600");
  EXPECT_EQ(wchar2utf8(low + high), "\uFFFD\uFFFD");
}

TEST(Spelling, FindsTheNearestWord) {
  const std::vector<std::string> words = {"actor", "author", "list", "sort"};
  const std::pair<std::string_view, std::string_view> rows[] = {
      {"autor", "author"}, {"LSIT", "list"}, {"sor", "sort"},
      {"lost", "list"},    {"xyz", ""},      {"", ""}};
  for (const auto& [word, nearest] : rows)
    EXPECT_EQ(tessaron::nearestWord(word, words), nearest) << word;
}

TEST(Fold, LeavesOutCaseAccentsAndForms) {
  const std::pair<std::u16string, std::u16string> rows[] = {
      {u"ABC xyz 1", u"abc xyz 1"},
      {u"Łódź", u"lodz"},
      {u"Straße", u"strasse"},
      {u"E\u0301mile ÉMILE", u"emile emile"},
      {u"ŒUVRES Ærø", u"oeuvres aero"},
      {u"ＡＢＣ１", u"abc1"},
      {u"Ἀθῆναι", u"αθηναι"},
      {u"ЁЛКА", u"елка"},
      {u"ﬁn", u"fin"},
      {u"がハ 한글", u"がハ 한글"},
      {u"東京 \U0001F600", u"東京 \U0001F600"},
  };
  for (const auto& [text, folded] : rows) {
    EXPECT_EQ(tessaron::foldText(text), folded);
    EXPECT_EQ(tessaron::foldText(folded), folded);
  }
  // An accent behind a text, which is left out, makes the system fold all of it.
  for (char16_t unit = 0x80; unit < 0xD800; ++unit) {
    const std::u16string text{u'a', unit, u'i'};
    ASSERT_EQ(tessaron::foldText(text), tessaron::foldText(text + u'\u0301'))
        << static_cast<unsigned>(unit);
  }
}

TEST(CodePage, CarriesAsciiBothWays) {
  EXPECT_EQ(char2wchar("Abc 123~"), u"Abc 123~");
  EXPECT_EQ(wchar2char(u"Abc 123~"), "Abc 123~");
  EXPECT_EQ(char2wchar(wchar2char(u"é")).size(), 1u);  // itself, or the one substitute
}

// Decodes the UTF-8 form of `text` as Latin-1 or Windows-1252: the mistake that fixunicode undoes.
std::u16string misread(const std::u16string& text, bool latin1) {
  std::u16string wrong;
  for (const char c : wchar2utf8(text)) {
    const auto byte = static_cast<unsigned char>(c);
    // A single stray byte is read as Windows-1252 by our own decoder.
    wrong += latin1 ? static_cast<char16_t>(byte) : utf82wchar(std::string(1, c))[0];
  }
  return wrong;
}

// Words of some forty languages; many end in a letter that could begin a UTF-8 sequence.
constexpr std::u16string_view kWords[] = {
    u"à là voilà Ô Où déjà café CAFÉ MÊME Œuvres garçon Spaß SPAß Größe Ö Österreich MÜNCHEN",
    u"olé está habló SEÑOR ÉL Ñandú così perché è PERCHÉ È irmã IRMÃ AMANHÃ avô LÁ à maçã",
    u"på två å Å MALMÖ GÅ tänä ÄLÄ ÅR så blå ÆRØ Øl også orð tré ÞAÐ það sjá één geïnd ZEEËN",
    u"náš též stráž Úžas blíž příliš ŽIVOT ČESKÉ są książka ŁÓDŹ żółw KSIĄŻKA kézműves Ő jó ÉLŐ",
    u"România și ȘTIINȚĂ hotărî ağaç İSTANBUL KILIÇ dünyâ ışık iâ tŷ LLŴN â việt Nguyễn số ĐÃ",
    u"Анна їх ВЖЗ и Война Ελλάδα ΑΘΗΝΑ π ἀρχή שלום גב ספר كتاب و العربية Հայերեն ქართული አማርኛ",
    u"日本 本 テレビ 中文 书 紅樓夢 한국어 책 사랑 ไทย หนังสือ हिन्दी किताब தமிழ்",
};

TEST(FixUnicode, TellsWordsBeforeClosingMarksFromWrongDecodings) {
  constexpr std::u16string_view kMarks = u"…”“’‘»«›‹–—™®©°ªº¹²³†‡•·´\u00A0";
  constexpr std::u16string_view kQuotes = u"…”“’»›–—";
  std::vector<std::u16string> endings;
  for (const char16_t mark : kMarks) endings.emplace_back(1, mark);
  const std::size_t singles = endings.size();
  for (const char16_t mark : kMarks) endings.push_back({u'\u00A0', mark});
  for (const char16_t first : kQuotes)
    for (const char16_t second : kQuotes) endings.push_back({first, second});

  for (std::u16string_view row : kWords) {
    while (!row.empty()) {
      const std::u16string word(row.substr(0, row.find(u' ')));
      row.remove_prefix(std::min(row.size(), word.size() + 1));
      for (std::size_t i = 0; i < endings.size(); ++i) {
        const std::u16string text = word + endings[i];
        for (const std::u16string& whole : {text, u"Lettre " + text, text + u" et"}) {
          std::u16string copy = whole;
          EXPECT_FALSE(fixunicode(copy)) << wchar2utf8(whole) << " became " << wchar2utf8(copy);
        }
        if (i >= singles) continue;
        for (const bool latin1 : {false, true}) {
          std::u16string wrong = misread(text, latin1);
          EXPECT_TRUE(fixunicode(wrong) && wrong == text) << wchar2utf8(text);
        }
      }
    }
  }
}

TEST(FixUnicode, UndoesOneAndMoreWrongDecodings) {
  // clang-format off
  const std::u16string originals[] = {
      u"Größe", u"Où Sé", u"Ça va à l’été", u"“Ünïcödé” – l’été…", u"ÖSTERREICH", u"MÜNCHEN GRÖSSE", u"Österreich",
      u"日本語の本", u"Анна Каренина", u"Ελλάδα", u"😀 smile", u"100\u00A0km", u"© 2020", u"£5 ½ price", u"Dvořák: Žižka",
      u"Té Là", u"voilà", u"It’s", u"5 €", u"™", u"Œuvres", u"CŒUR", u"STAR WARS®", u"α-Synuclein", u"3 × 4",
      u"A → B", u"Nguyễn", u"書", u"𠮷野家", u"a🫠b"};
  // clang-format on
  for (const std::u16string& original : originals) {
    for (const bool latin1 : {false, true}) {
      std::u16string once = misread(original, latin1);
      std::u16string thrice = misread(misread(once, false), latin1);
      EXPECT_TRUE(fixunicode(once)) << wchar2utf8(original);
      EXPECT_EQ(once, original) << wchar2utf8(once);
      EXPECT_TRUE(fixunicode(thrice));
      EXPECT_EQ(thrice, original) << wchar2utf8(thrice);
      EXPECT_FALSE(fixunicode(once)) << "idempotent";
    }
  }
}

TEST(FixUnicode, LeavesAloneWhatItCannotProve) {
  // clang-format off
  const std::u16string rightAlready[] = {
      u"", u"plain ASCII", u"Größe", u"CAFÉ’S GREATEST", u"TÖ – SCHÖ…", u"IRMÃ’S", u"«CAFÉ»", u"Spaß”, sagte er",
      u"café…”", u"3×”", u"Ã¼ and 日本", u"Ã", u"ÃB", u"Ä", u"À – É – Ô", u"ÉTÉ – HIVER", u"\u0080\u0081",
      std::u16string(1, 0xD800), u"Â\u0085", u"100 € – 5 %", u"“É”", u"SEÑOR’S", u"Lettre à\u00A0…", u"Ô…toi",
      u"Ö…sterreich", u"LULEÅ–BODEN", u"KILIÇ’IN", u"CAFÉ\u0085", u"100 Å³", u"Ø½", u"2×½"};
  // clang-format on
  for (const std::u16string& text : rightAlready) {
    std::u16string copy = text;
    EXPECT_FALSE(fixunicode(copy)) << wchar2utf8(text) << " became " << wchar2utf8(copy);
    EXPECT_EQ(copy, text);
  }
}

}  // namespace
