#include <gtest/gtest.h>

#include <array>
#include <string>
#include <tuple>
#include <vector>

#include "platform/system.h"
#include "platform/text.h"
#include "support/byte_reader.h"
#include "support/deflated.h"
#include "support/dos_date.h"
#include "support/formulas.h"
#include "support/json_reader.h"
#include "support/string_table.h"
#include "support/text.h"
#include "support/unreliable_file.h"
#include "support/zlib.h"

namespace {

TEST(DosDate, ExistsOrDoesNot) {
  const struct {
    std::uint16_t date;
    int year, month, day, weekday;
  } rows[] = {
      // clang-format off
      {13089, 2005, 9, 1, 4}, {tessaron::toDosDate(1980, 1, 1), 1980, 1, 1, 2},
      {tessaron::toDosDate(2107, 12, 31), 2107, 12, 31, 6}, {tessaron::toDosDate(2024, 2, 29), 2024, 2, 29, 4},
      // clang-format on
  };
  for (const auto& row : rows) {
    SYSTEMTIME time{};
    ASSERT_TRUE(DosDateTimeToSystemTime(row.date, &time)) << row.date;
    EXPECT_EQ(std::tuple(time.wYear, time.wMonth, time.wDay, time.wDayOfWeek),
              std::tuple(row.year, row.month, row.day, row.weekday));
    EXPECT_EQ(tessaron::toDosDate(row.year, row.month, row.day), row.date);
    const std::u16string text = DosDateTimeToString(row.date);
    EXPECT_NE(text.find(tessaron::fromUtf8(std::to_string(row.year))), text.npos) << row.date;
  }
  using tessaron::toDosDate;
  for (const int wrong :
       {0, 1, 1 << 5, 13 << 5 | 1, 2 << 5 | 30, 0xFFFF, 0 + toDosDate(2023, 2, 29),
        0 + toDosDate(1979, 1, 1), 0 + toDosDate(2000, -1, 1), 0 + toDosDate(2108, 1, 1)}) {
    const auto date = static_cast<std::uint16_t>(wrong);
    SYSTEMTIME time{};
    time.wYear = 7;
    EXPECT_FALSE(DosDateTimeToSystemTime(date, &time)) << date;
    EXPECT_EQ(time.wYear, 7);
    EXPECT_EQ(DosDateTimeToString(date), u"");
  }
  EXPECT_FALSE(DosDateTimeToSystemTime(13089, nullptr));
}

TEST(DosDate, CountsDaysWithTheirParts) {
  EXPECT_EQ(tessaron::dayCount({1970, 1, 4, 1, 0, 0, 0, 0}), 0.0);
  EXPECT_EQ(tessaron::dayCount({2000, 3, 3, 1, 18, 0, 0, 0}), 11017.75);
}

TEST(StringTable, FindsWhatItHas) {
  EXPECT_EQ(tessaron::stringAt(3000), u"Lent");
  EXPECT_EQ(tessaron::stringAt(8510), u"This item is %s.");
  for (const std::uint32_t number : {0u, 3008u, 3050u, 3059u, 0xFFFFFFFFu})
    EXPECT_EQ(tessaron::stringAt(number), u"") << number;
}

TEST(ByteReader, ReadsBothOrdersAndStopsAtTheEnd) {
  const std::array<unsigned char, 10> data = {1, 2, 3, 4, 5, 6, 7, 8, 9, 10};
  const auto bytes = std::as_bytes(std::span(data));
  tessaron::ByteReader reader(bytes);
  EXPECT_EQ(reader.u16le(), 0x0201);
  EXPECT_EQ(reader.u16be(), 0x0304);
  EXPECT_EQ(reader.u32be(), 0x05060708u);
  EXPECT_EQ(reader.u32le(), 0u);  // two bytes short: nothing moves, everything fails from here on
  EXPECT_EQ(reader.position(), 8u);
  EXPECT_EQ(reader.u8(), 0);
  EXPECT_EQ(reader.remaining(), 0u);
  EXPECT_FALSE(reader.ok());
  tessaron::ByteReader whole(bytes);
  EXPECT_EQ(whole.u64le(), 0x0807060504030201u);
  EXPECT_TRUE(whole.bytes(static_cast<std::size_t>(-1)).empty());
  EXPECT_FALSE(whole.ok());
}

std::vector<unsigned char> packedZeros(std::size_t mebibytes) {
  const std::string packed = deflated(std::string(mebibytes << 20, '\0'), Z_BEST_SPEED);
  return {packed.begin(), packed.end()};
}

TEST(CZDLLPlus, InflatesWholeStreamsUpToItsLimit) {
  CZDLLPlus zlib;
  std::string text;
  std::vector<unsigned char> bytes, packed = packedZeros(3);
  EXPECT_TRUE(zlib.uncompress(packed, text));
  EXPECT_EQ(text, std::string(3 << 20, '\0'));
  EXPECT_TRUE(zlib.uncompress(packed, bytes));
  EXPECT_EQ(bytes, std::vector<unsigned char>(3 << 20));
  text = "before";
  packed.back() ^= 1;  // the check sum
  EXPECT_FALSE(zlib.uncompress(packed, text));
  packed.pop_back();
  EXPECT_FALSE(zlib.uncompress(packed, text));
  EXPECT_FALSE(zlib.uncompress({}, text));
  EXPECT_FALSE(zlib.uncompress(packedZeros(300), text)) << "a bomb";
  EXPECT_EQ(text, "before");
}

// The tokens of a document; for an error, its place.
std::string tokensOf(tessaron::File& file) {
  using Token = tessaron::JsonReader::Token;
  tessaron::JsonReader reader(file);
  std::string all;
  for (;;) {
    const Token token = reader.next();
    const tessaron::TextPlace place = reader.place();
    if (token == Token::End) return all;
    if (token == Token::Error)
      return all + (reader.isUnreadable()
                        ? "unreadable"
                        : '!' + std::to_string(place.line) + ':' + std::to_string(place.column));
    all += "{}[]k\"#tfn"[static_cast<std::size_t>(token)];
    if (token == Token::Key || token == Token::Text || token == Token::Number)
      all += reader.text() + ' ';
  }
}

TEST(JsonReader, TakesWhatIsJsonAndNothingElse) {
  const std::pair<std::string, std::string> rows[] = {
      // clang-format off
      {"\xEF\xBB\xBF {\"a\" : [1, -0.5e+3 ,\"x\"],\n\"b\":{}}\n", "{ka [#1 #-0.5e+3 \"x ]kb {}}"},
      {"[true,false,null]", "[tfn]"}, {"0", "#0 "}, {"[]", "[]"}, {"-12.25E-7", "#-12.25e-7 "},
      {R"("\" \\ \/ \b\f\n\r\t \u00e9 \ud83d\ude00")", "\"\" \\ / \b\f\n\r\t \u00E9 \U0001F600 "},
      {R"("\ud83d x \ude00")", "\"\uFFFD x \uFFFD "},
      {"", "!1:1"}, {"[1 2]", "[#1 !1:4"}, {"[1,]", "[#1 !1:4"}, {"[,1]", "[!1:2"}, {"{\"a\":1,}", "{ka #1 !1:8"},
      {"{\"a\" 1}", "{ka !1:6"}, {"{\"a\":1 \"b\":2}", "{ka #1 !1:8"}, {"{a:1}", "{!1:2"}, {"{\"a\"}", "{ka !1:5"}, {"[1}", "[#1 !1:3"}, {"{]", "{!1:2"},
      {"01", "!1:1"}, {"-", "!1:1"}, {"1.", "!1:1"}, {".5", "!1:1"}, {"1e", "!1:1"}, {"+1", "!1:1"}, {"truE", "!1:1"},
      {"1 2", "#1 !1:3"}, {"[1\n\u00E9]", "[#1 !2:1"}, {"\"a\nb\"", "!1:1"}, {R"("\x")", "!1:3"}, {R"("\u12g4")", "!1:6"},
      {"\"a", "!1:1"}, {"[", "[!1:2"}, {"[]]", "[]!1:3"}, {"'a'", "!1:1"},
      {std::string(64, '[') + std::string(64, ']'), std::string(64, '[') + std::string(64, ']')},
      {std::string(65, '['), std::string(64, '[') + "!1:65"}};
  // clang-format on
  for (const auto& [text, tokens] : rows) {
    UnreliableFile file(text), slow(text), broken(text);
    slow.maxRead = 1;
    broken.maxRead = 1;
    broken.fails = [](int) { return true; };
    EXPECT_EQ(tokensOf(file), tokens) << text;
    EXPECT_EQ(tokensOf(slow), tokens) << text;
    EXPECT_EQ(tokensOf(broken), "unreadable");
  }
}

TEST(Formulas, AreGuardedAndComeBack) {
  const std::pair<std::string, std::string> rows[] = {
      {"plain", "plain"},      {"=1", "'=1"},     {"-1.5", "-1.5"},   {"+.5", "+.5"},
      {"-1.5.2", "'-1.5.2"},   {"-", "'-"},       {"-a", "'-a"},      {"+", "'+"},
      {"@x", "'@x"},           {"x;=1", "x;'=1"}, {"x; -2", "x; -2"}, {"x, \"@y\"", "x, '\"@y\""},
      {"\uFF1D1", "'\uFF1D1"}, {"'=1", "'=1"},    {"it's", "it's"},   {"", ""}};
  for (const auto& [text, guarded] : rows) {
    EXPECT_EQ(tessaron::guardFormulas(text, ",;"), guarded) << text;
    if (text != "'=1") {
      EXPECT_EQ(tessaron::unguardFormulas(guarded, ",;"), text);
    }
  }
}

TEST(IsReadable, ProbesInsteadOfTrusting) {
  const std::vector<char> large(1 << 20);
  EXPECT_TRUE(tessaron::isReadable(large.data(), large.size()));
  EXPECT_FALSE(tessaron::isReadable(nullptr, 0));
  for (const std::uintptr_t address :
       {std::uintptr_t{0}, std::uintptr_t{64}, ~std::uintptr_t{0}, ~std::uintptr_t{4095}})
    EXPECT_FALSE(tessaron::isReadable(reinterpret_cast<const void*>(address), 16)) << address;
  EXPECT_FALSE(tessaron::isReadable(large.data(), ~std::size_t{0}));
}

}  // namespace
