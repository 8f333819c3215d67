// What the typed reads and writes promise, on every system's own store.

#include "settings/reg_key.h"

#include <gtest/gtest.h>

#include <array>
#include <utility>

#include "settings/test_key.h"
#include "support/text.h"

using namespace std::string_literals;

namespace {

using Strings = std::vector<std::u16string>;

class CRegKeyExTest : public testing::Test {
 protected:
  // UTF-16 text, little-endian, without a terminator.
  static std::string wide(std::u16string_view text) {
    std::string bytes;
    for (const char16_t unit : text)
      bytes += {static_cast<char>(unit & 0xFF), static_cast<char>(unit >> 8)};
    return bytes;
  }
  void write(std::uint32_t type, const std::string& bytes, const char16_t* name = u"v") {
    ASSERT_EQ(key.SetValue(name, type, bytes.data(), static_cast<std::uint32_t>(bytes.size())), 0);
  }
  // A value's type and bytes, "none" when it is not there.
  std::pair<std::uint32_t, std::string> read(const char16_t* name = u"v") {
    std::uint32_t type = 0, bytes = 0;
    if (key.QueryValue(name, &type, nullptr, &bytes) != 0) return {0, "none"};
    std::string data(bytes, 'x');
    EXPECT_EQ(key.QueryValue(name, &type, data.data(), &bytes), 0);
    return {type, data};
  }
  Strings names() {
    Strings all;
    std::uint32_t count = 0;
    EXPECT_EQ(key.CountValues(count), 0);
    for (std::uint32_t i = 0; i < count; ++i) {
      std::array<char16_t, 16384> name;
      std::uint32_t units = name.size();
      EXPECT_EQ(key.EnumValue(i, name.data(), &units), 0);
      all.emplace_back(name.data(), units);
    }
    return all;
  }

  TestKey place;
  CRegKeyEx& key = place.key;
};

// Each reads a value over a known one. The code, and what is there then.
using Result = std::pair<std::int32_t, std::string>;
using Read = Result(CRegKeyEx&, const char16_t*);

Result number(CRegKeyEx& key, const char16_t* name) {
  int value = 42;
  unsigned long same = 42;
  bool off = false, on = true;
  const std::int32_t code = key.QueryIntValueEx(name, value);
  EXPECT_EQ(key.QueryDWORDValueEx(name, same), code);
  EXPECT_EQ(static_cast<std::uint32_t>(value), same);
  EXPECT_EQ(key.QueryBoolValueEx(name, off), code);
  EXPECT_EQ(key.QueryBoolValueEx(name, on), code);
  EXPECT_EQ(off, code == 0 && value != 0);
  EXPECT_EQ(on, code != 0 || value != 0);
  return {code, std::to_string(same)};
}

Result text(CRegKeyEx& key, const char16_t* name) {
  std::u16string value = u"old";
  const std::int32_t code = key.QueryStringValueEx(name, value);
  return {code, wchar2utf8(value)};
}

std::string joined(const auto& strings) {
  std::string all;
  for (const std::u16string& each : strings) all += wchar2utf8(each) + ';';
  return all;
}

Result list(CRegKeyEx& key, const char16_t* name) {
  Strings strings = {u"old"};
  StringSetMap map = {{u"other", {}}};
  const std::int32_t code = key.QueryVectorStringValueEx(name, strings);
  EXPECT_EQ(key.QueryMapStringValueEx(map, name), code);
  EXPECT_EQ(map.count(name), code == 0 ? 1u : 0u);
  return {code, joined(strings)};
}

Result flags(CRegKeyEx& key, const char16_t* name) {
  std::vector<bool> value = {true, true, false, true, true};
  const std::int32_t code = key.QueryVectorBoolValueEx(name, value);
  std::string digits;
  for (const bool flag : value) digits += flag ? '1' : '0';
  return {code, digits};
}

std::string sides(const CRect& of) {
  return testing::PrintToString(std::array{of.left, of.top, of.right, of.bottom});
}

Result rect(CRegKeyEx& key, const char16_t* name) {
  CRect value{1, 2, 3, 4};
  const std::int32_t code = key.QueryWTLCRectValueEx(name, value);
  return {code, sides(value)};
}

}  // namespace

TEST_F(CRegKeyExTest, WritesTheFrozenLayouts) {
  bool yes = true;
  int negative = -2;
  unsigned long large = 0x80000001;
  std::u16string cut = u"\u00C4\0cut"s;
  std::vector<bool> three = {true, false, true}, none;
  Strings strings = {u"", u"x", u"", u"yz"};
  CRect corners{-1, 2, 0x01020304, -0x80000000LL};
  const auto expect = [&](std::int32_t code, std::uint32_t type, const std::string& bytes) {
    EXPECT_EQ(code, 0);
    EXPECT_EQ(read(), std::pair(type, bytes));
  };
  expect(key.SetBoolValueEx(u"v", yes), REG_DWORD, "\1\0\0\0"s);
  expect(key.SetIntValueEx(u"v", negative), REG_DWORD, "\xFE\xFF\xFF\xFF"s);
  expect(key.SetDWORDValueEx(u"v", large), REG_DWORD, "\1\0\0\x80"s);
  expect(key.SetStringValueEx(u"v", cut), REG_SZ, "\xC4\0\0\0"s);
  expect(key.SetVectorBoolValueEx(u"v", three), REG_BINARY, "\1\0\1"s);
  expect(key.SetVectorStringValueEx(u"v", strings), REG_MULTI_SZ, wide(u"x\0yz\0\0"s));
  expect(key.SetWTLCRectValueEx(u"v", corners), REG_BINARY,
         "\xFF\xFF\xFF\xFF\2\0\0\0\4\3\2\1\0\0\0\x80"s);
  expect(key.SetVectorBoolValueEx(u"v", none), REG_BINARY, "");

  // What would be an empty list leaves the old one; a text that begins with a zero unit ends it.
  for (const auto& [given, stored] : {std::pair(Strings{}, u"old\0\0"s),
                                      {Strings{u"", u""}, u"old\0\0"s},
                                      {Strings{u"", u"x"}, u"x\0\0"s},
                                      {Strings{u"a\0b"s, u"c"}, u"a\0b\0c\0\0"s},
                                      {Strings{u"a", u"\0b"s, u"c"}, u"a\0\0"s},
                                      {Strings{u"\0b"s}, u"\0"s}}) {
    write(REG_MULTI_SZ, wide(u"old\0\0"s));
    strings = given;
    EXPECT_EQ(key.SetVectorStringValueEx(u"v", strings), 0);
    EXPECT_EQ(read().second, wide(stored));
    EXPECT_EQ(strings, given);
  }
}

TEST_F(CRegKeyExTest, ReadsWhatIsWellFormedAndOfItsType) {
  const struct {
    Read* read;
    std::uint32_t type;
    std::string bytes;
    Result expected;
  } rows[] = {
      // clang-format off
      {number, REG_DWORD, "\0\0\0\0"s, {0, "0"}}, {number, REG_DWORD, "\0\1\0\x80"s, {0, "2147483904"}},
      {number, REG_DWORD, "\7"s, {0, "7"}}, {number, REG_DWORD, "", {0, "0"}},
      {number, REG_DWORD, "\1\0\0\0\0\0\0\0"s, {ERROR_MORE_DATA, "42"}},
      {number, REG_SZ, wide(u"1\0"s), {13, "42"}}, {number, REG_BINARY, "\1\0\0\0"s, {13, "42"}},

      {text, REG_SZ, wide(u"\u00C4 x\0"s), {0, "\u00C4 x"}}, {text, REG_EXPAND_SZ, wide(u"%PATH%\0"s), {0, "%PATH%"}},
      {text, REG_SZ, wide(u"a\0b\0"s), {0, "a"}}, {text, REG_SZ, "", {0, ""}}, {text, REG_SZ, wide(u"\0"s), {0, ""}},
      {text, REG_SZ, wide(u"abc"), {13, "old"}}, {text, REG_SZ, wide(u"ab\0"s) + "\0"s, {13, "old"}},
      {text, REG_SZ, "\0"s, {13, "old"}}, {text, REG_MULTI_SZ, wide(u"a\0\0"s), {13, "old"}},
      {text, REG_BINARY, wide(u"a\0"s), {13, "old"}},

      {list, REG_MULTI_SZ, wide(u"b\0\u4E16c\0\0"s), {0, "old;b;\u4E16c;"}},
      {list, REG_MULTI_SZ, wide(u"\0\0b\0\0c\0\0\0"s), {0, "old;b;c;"}}, {list, REG_MULTI_SZ, wide(u"\0\0"s), {0, "old;"}},
      {list, REG_MULTI_SZ, "", {13, "old;"}}, {list, REG_MULTI_SZ, wide(u"\0"s), {13, "old;"}},
      {list, REG_MULTI_SZ, "\0\0\0"s, {13, "old;"}}, {list, REG_MULTI_SZ, wide(u"b\0"s), {13, "old;"}},
      {list, REG_MULTI_SZ, wide(u"b\0c"s), {13, "old;"}}, {list, REG_MULTI_SZ, wide(u"b\0\0"s) + "\0"s, {13, "old;"}},
      {list, REG_SZ, wide(u"b\0\0"s), {13, "old;"}},

      // Of another length than is asked for they are ignored.
      {flags, REG_BINARY, "\0\1\x80\0\xFF"s, {0, "01101"}}, {flags, REG_BINARY, "\0\0\0\0"s, {0, "11011"}},
      {flags, REG_BINARY, "", {0, "11011"}}, {flags, REG_SZ, "\0\0\0\0\0"s, {13, "11011"}},
      {rect, REG_BINARY, "\7\0\0\0\xFF\xFF\xFF\xFF\0\0\1\0\0\1\0\0"s, {0, sides({7, -1, 65536, 256})}},
      {rect, REG_BINARY, "\7\0\0\0\0\0\0\0"s, {0, sides({1, 2, 3, 4})}},
      {rect, REG_DWORD, "\0\0\0\0"s, {13, sides({1, 2, 3, 4})}},
      // clang-format on
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(&row - rows);
    write(row.type, row.bytes);
    EXPECT_EQ(row.read(key, u"v"), row.expected);
    EXPECT_EQ(read(), std::pair(row.type, row.bytes));
  }
  write(REG_SZ, wide(u"\xD800\0"s));
  std::u16string lone;
  EXPECT_EQ(key.QueryStringValueEx(u"v", lone), 0);
  EXPECT_EQ(lone, u"\xD800"s);
  write(REG_MULTI_SZ, wide(u"b\0\0"s));
  char16_t unit = u'x';
  std::uint32_t units = 1;
  EXPECT_EQ(key.QueryMultiStringValue(u"v", &unit, &units), ERROR_INSUFFICIENT_BUFFER);
}

TEST_F(CRegKeyExTest, TellsMissingValuesAndClosedKeys) {
  CRegKeyEx closed;
  for (const auto& [target, code] : {std::pair(&key, 2), {&closed, 6}}) {
    for (const auto& [read, old] : {std::pair<Read*, std::string>(number, "42"),
                                    {text, "old"},
                                    {list, "old;"},
                                    {flags, "11011"},
                                    {rect, sides({1, 2, 3, 4})}})
      EXPECT_EQ(read(*target, u"none"), Result(code, old));
    EXPECT_EQ(target->DeleteValue(u"none"), code);
  }
  int one = 1;
  EXPECT_EQ(closed.SetIntValueEx(u"v", one), 6);
  EXPECT_EQ(closed.RemoveAllValues(), 6);
  StringSetMap map;
  EXPECT_EQ(key.QueryMapStringValueEx(map), 0);
  EXPECT_EQ(key.RemoveAllValues(), 0);
}

TEST_F(CRegKeyExTest, ReadsAndWritesMaps) {
  StringSetMap map = {{u"A", {u"z", u"y"}}, {u"B", {u""}}, {u"D", {u"w"}}};
  write(REG_MULTI_SZ, wide(u"kept\0\0"s), u"B");
  write(REG_MULTI_SZ, wide(u"untouched\0\0"s), u"C");
  EXPECT_EQ(key.SetMapStringValueEx(map), 0);
  EXPECT_EQ(read(u"A").second, wide(u"y\0z\0\0"s));
  EXPECT_EQ(read(u"B").second, wide(u"kept\0\0"s));
  write(REG_SZ, wide(u"no list\0"s), u"E");

  StringSetMap got = {{u"D", {u"v"}}};
  EXPECT_EQ(key.QueryMapStringValueEx(got, u"a"), 0);
  EXPECT_EQ(got, (StringSetMap{{u"D", {u"v"}}, {u"a", {u"y", u"z"}}}));
  got.erase(u"a");
  EXPECT_EQ(key.QueryMapStringValueEx(got), 0);
  got.erase(u"A");
  EXPECT_EQ(got, (StringSetMap{{u"B", {u"kept"}}, {u"C", {u"untouched"}}, {u"D", {u"v", u"w"}}}));
}

TEST_F(CRegKeyExTest, RemovesEverySecondValue) {
  for (const auto& [before, after, code] :
       {std::tuple(Strings{u"A"}, Strings{}, 0),
        {Strings{u"A", u"B"}, Strings{u"B"}, 259},
        {Strings{u"A", u"B", u"C"}, Strings{u"B"}, 259},
        {Strings{u"A", u"B", u"C", u"D"}, Strings{u"B", u"D"}, 259}}) {
    for (const std::u16string& name : names()) EXPECT_EQ(key.DeleteValue(name.c_str()), 0);
    for (const std::u16string& name : before) write(REG_BINARY, "", name.c_str());
    EXPECT_EQ(key.RemoveAllValues(), code);
    EXPECT_EQ(names(), after);
  }
}

TEST_F(CRegKeyExTest, ComparesNamesWithoutCaseAndKeepsTheirPlace) {
  for (const char16_t* name : {u"\u00E4", u"a", u"b", u"", u"C"}) write(REG_BINARY, "1", name);
  const Strings before = names();
  write(REG_BINARY, "2", u"A");
  write(REG_BINARY, "3", u"\u00C4");
  write(REG_BINARY, "4", nullptr);
  EXPECT_EQ(names(), before);
  EXPECT_EQ(read(u"a").second, "2");
  EXPECT_EQ(read(u"\u00E4").second, "3");
  EXPECT_EQ(read(u"").second, "4");
  EXPECT_EQ(key.DeleteValue(u"B"), 0);
  EXPECT_EQ(names().size(), 4u);
}

TEST_F(CRegKeyExTest, PassesOverTheLongestNames) {
  const std::u16string longest(16382, u'n'), tooLong(16384, u'n');
  write(REG_MULTI_SZ, wide(u"x\0\0"s), longest.c_str());
  EXPECT_EQ(key.SetValue(tooLong.c_str(), REG_BINARY, "", 0), ERROR_INVALID_PARAMETER);
  StringSetMap map;
  key.QueryMapStringValueEx(map);
  EXPECT_EQ(map, (StringSetMap{{longest, {u"x"}}}));
  // One more unit leaves no room for the terminator.
  key.DeleteValue(longest.c_str());
  write(REG_MULTI_SZ, wide(u"x\0\0"s), (longest + u"n").c_str());
  map.clear();
  EXPECT_EQ(key.QueryMapStringValueEx(map), ERROR_MORE_DATA);
  EXPECT_TRUE(map.empty());
}

TEST_F(CRegKeyExTest, TellsWhatDoesNotFit) {
  write(REG_BINARY, "12345", u"name");
  std::string small(4, 'x');
  std::uint32_t type = 0, bytes = 4;
  EXPECT_EQ(key.QueryValue(u"name", &type, small.data(), &bytes), ERROR_MORE_DATA);
  EXPECT_EQ(std::pair(type, bytes), std::pair(REG_BINARY + 0u, 5u));
  char16_t name[] = u"xxxx";
  std::uint32_t units = 4;
  EXPECT_EQ(key.EnumValue(0, name, &units), ERROR_MORE_DATA);
  EXPECT_EQ(units, 4u);
  EXPECT_EQ(key.EnumValue(1, name, &units), ERROR_NO_MORE_ITEMS);
  units = 5;
  EXPECT_EQ(key.EnumValue(0, name, &units), 0);
  EXPECT_EQ(units, 4u);
  EXPECT_EQ(std::u16string_view(name), u"name");
}

TEST_F(CRegKeyExTest, OpensKeysBelowKeys) {
  CRegKeyEx inner, other;
  EXPECT_EQ(inner.Open(key.m_hKey, u"One\\Two"), 2);
  EXPECT_EQ(inner.m_hKey, nullptr);
  EXPECT_EQ(inner.Create(key.m_hKey, u"One\\Two"), 0);
  int number = 5;
  EXPECT_EQ(inner.SetIntValueEx(u"v", number), 0);
  const std::u16string whole = u"software\\" + place.name + u"\\ONE\\two";
  EXPECT_EQ(other.Open(HKEY_CURRENT_USER, whole.c_str(), KEY_READ), 0);
  number = 0;
  EXPECT_EQ(other.QueryIntValueEx(u"V", number), 0);
  EXPECT_EQ(number, 5);
  EXPECT_EQ(other.SetIntValueEx(u"v", number), ERROR_ACCESS_DENIED);
  EXPECT_EQ(other.Open(key.m_hKey, u"none"), 2);
  EXPECT_EQ(other.QueryIntValueEx(u"V", number), 0) << "a failed opening closes nothing";
  EXPECT_EQ(other.Open(key.m_hKey, u"One\\Two", KEY_SET_VALUE), 0);
  EXPECT_EQ(other.QueryIntValueEx(u"V", number), ERROR_ACCESS_DENIED);

  EXPECT_TRUE(names().empty());
  inner.Close();
  other.Close();
  EXPECT_EQ(key.DeleteSubKey(u"One"), ERROR_ACCESS_DENIED);
  EXPECT_EQ(key.DeleteSubKey(u"One\\Two"), 0);
  EXPECT_EQ(key.DeleteSubKey(u"One\\Two"), 2);
  EXPECT_EQ(key.DeleteSubKey(u"One"), 0);
}

TEST_F(CRegKeyExTest, HandsItsKeyToItsCopy) {
  CRegKeyEx first, third;
  ASSERT_EQ(first.Open(place.software.m_hKey, place.name.c_str()), 0);
  ASSERT_EQ(third.Open(place.software.m_hKey, place.name.c_str()), 0);
  const HKEY handle = first.m_hKey;
  CRegKeyEx second(first);
  EXPECT_EQ(std::pair(first.m_hKey, second.m_hKey), std::pair(HKEY(), handle));
  third = second;
  const CRegKeyEx& same = third;
  third = same;
  EXPECT_EQ(std::pair(second.m_hKey, third.m_hKey), std::pair(HKEY(), handle));
  std::uint32_t count = 7;
  EXPECT_EQ(third.CountValues(count), 0);
  EXPECT_EQ(count, 0u);
}
