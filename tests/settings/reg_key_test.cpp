// What the typed reads and writes promise, on every system's own store.

#include "settings/reg_key.h"

#include <gmock/gmock.h>

#include <array>
#include <utility>

#include "settings/test_key.h"

using namespace std::string_literals;
using testing::ElementsAre;

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

}  // namespace

TEST_F(CRegKeyExTest, WritesTheFrozenLayouts) {
  bool yes = true;
  int number = -2;
  unsigned long dword = 0x80000001;
  std::u16string text = u"\u00C4\0cut"s;
  std::vector<bool> flags = {true, false, true};
  Strings strings = {u"", u"x", u"", u"yz"};
  CRect rect{-1, 2, 0x01020304, -0x80000000LL};
  EXPECT_EQ(key.SetBoolValueEx(u"v", yes), 0);
  EXPECT_EQ(read(), std::pair(REG_DWORD + 0u, "\1\0\0\0"s));
  EXPECT_EQ(key.SetIntValueEx(u"v", number), 0);
  EXPECT_EQ(read(), std::pair(REG_DWORD + 0u, "\xFE\xFF\xFF\xFF"s));
  EXPECT_EQ(key.SetDWORDValueEx(u"v", dword), 0);
  EXPECT_EQ(read(), std::pair(REG_DWORD + 0u, "\1\0\0\x80"s));
  EXPECT_EQ(key.SetStringValueEx(u"v", text), 0);
  EXPECT_EQ(read(), std::pair(REG_SZ + 0u, "\xC4\0\0\0"s));
  EXPECT_EQ(key.SetVectorBoolValueEx(u"v", flags), 0);
  EXPECT_EQ(read(), std::pair(REG_BINARY + 0u, "\1\0\1"s));
  EXPECT_EQ(key.SetVectorStringValueEx(u"v", strings), 0);
  EXPECT_EQ(read(), std::pair(REG_MULTI_SZ + 0u, wide(u"x\0yz\0\0"s)));
  EXPECT_EQ(key.SetWTLCRectValueEx(u"v", rect), 0);
  EXPECT_EQ(read(), std::pair(REG_BINARY + 0u, "\xFF\xFF\xFF\xFF\2\0\0\0\4\3\2\1\0\0\0\x80"s));
  flags.clear();
  EXPECT_EQ(key.SetVectorBoolValueEx(u"v", flags), 0);
  EXPECT_EQ(read(), std::pair(REG_BINARY + 0u, ""s));

  // What would be an empty list leaves the old one; a text that begins with a zero unit ends it.
  for (const auto& [list, stored] : {std::pair(Strings{}, u"old\0\0"s),
                                     {Strings{u"", u""}, u"old\0\0"s},
                                     {Strings{u"", u"x"}, u"x\0\0"s},
                                     {Strings{u"a\0b"s, u"c"}, u"a\0b\0c\0\0"s},
                                     {Strings{u"a", u"\0b"s, u"c"}, u"a\0\0"s},
                                     {Strings{u"\0b"s}, u"\0"s}}) {
    write(REG_MULTI_SZ, wide(u"old\0\0"s));
    strings = list;
    EXPECT_EQ(key.SetVectorStringValueEx(u"v", strings), 0);
    EXPECT_EQ(read().second, wide(stored));
    EXPECT_EQ(strings, list);
  }
}

TEST_F(CRegKeyExTest, ReadsNumbers) {
  struct Row {
    std::uint32_t type;
    std::string bytes;
    std::int32_t code;
    std::uint32_t number;
  };
  const Row rows[] = {
      {REG_DWORD, "\0\0\0\0"s, 0, 0},
      {REG_DWORD, "\0\1\0\x80"s, 0, 0x80000100},
      {REG_DWORD, "\7"s, 0, 7},
      {REG_DWORD, ""s, 0, 0},
      {REG_DWORD, "\1\0\0\0\0\0\0\0"s, ERROR_MORE_DATA, 42},
      {REG_SZ, wide(u"1\0"s), 13, 42},
      {REG_SZ, wide(u"true\0"s), 13, 42},
      {REG_BINARY, "\1\0\0\0"s, 13, 42},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(&row - rows);
    write(row.type, row.bytes);
    int number = 42;
    unsigned long dword = 42;
    EXPECT_EQ(key.QueryIntValueEx(u"v", number), row.code);
    EXPECT_EQ(static_cast<std::uint32_t>(number), row.number);
    EXPECT_EQ(key.QueryDWORDValueEx(u"v", dword), row.code);
    EXPECT_EQ(dword, row.number);
    for (const bool before : {false, true}) {
      bool flag = before;
      EXPECT_EQ(key.QueryBoolValueEx(u"v", flag), row.code);
      EXPECT_EQ(flag, row.code == 0 ? row.number != 0 : before);
    }
  }
}

TEST_F(CRegKeyExTest, ReadsStrings) {
  struct Row {
    std::uint32_t type;
    std::string bytes;
    std::int32_t code;
    std::u16string text;
  };
  const Row rows[] = {
      {REG_SZ, wide(u"\u00C4 \xD800\0"s), 0, u"\u00C4 \xD800"s},
      {REG_EXPAND_SZ, wide(u"%PATH%\0"s), 0, u"%PATH%"},
      {REG_SZ, wide(u"a\0b\0"s), 0, u"a"},
      {REG_SZ, "", 0, u""},
      {REG_SZ, wide(u"\0"s), 0, u""},
      {REG_SZ, wide(u"abc"), 13, u"old"},
      {REG_SZ, wide(u"ab\0"s) + "\0"s, 13, u"old"},
      {REG_SZ, "\0"s, 13, u"old"},
      {REG_MULTI_SZ, wide(u"a\0\0"s), 13, u"old"},
      {REG_BINARY, wide(u"a\0"s), 13, u"old"},
      {REG_DWORD, "\0\0\0\0"s, 13, u"old"},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(&row - rows);
    write(row.type, row.bytes);
    std::u16string text = u"old";
    EXPECT_EQ(key.QueryStringValueEx(u"v", text), row.code);
    EXPECT_EQ(text, row.text);
    EXPECT_EQ(read(), std::pair(row.type, row.bytes));
  }
}

TEST_F(CRegKeyExTest, AppendsListsOfStrings) {
  struct Row {
    std::uint32_t type;
    std::string bytes;
    std::int32_t code;
    Strings strings;
  };
  const Row rows[] = {
      {REG_MULTI_SZ, wide(u"b\0\u4E16c\0\0"s), 0, {u"old", u"b", u"\u4E16c"}},
      {REG_MULTI_SZ, wide(u"\0\0b\0\0c\0\0\0"s), 0, {u"old", u"b", u"c"}},
      {REG_MULTI_SZ, wide(u"\0\0"s), 0, {u"old"}},
      {REG_MULTI_SZ, "", 13, {u"old"}},
      {REG_MULTI_SZ, wide(u"\0"s), 13, {u"old"}},
      {REG_MULTI_SZ, "\0\0\0"s, 13, {u"old"}},
      {REG_MULTI_SZ, wide(u"b\0"s), 13, {u"old"}},
      {REG_MULTI_SZ, wide(u"b\0c"s), 13, {u"old"}},
      {REG_MULTI_SZ, wide(u"b\0\0"s) + "\0"s, 13, {u"old"}},
      {REG_SZ, wide(u"b\0\0"s), 13, {u"old"}},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(&row - rows);
    write(row.type, row.bytes);
    Strings strings = {u"old"};
    EXPECT_EQ(key.QueryVectorStringValueEx(u"v", strings), row.code);
    EXPECT_EQ(strings, row.strings);
  }
  char16_t unit = u'x';
  std::uint32_t units = 1;
  EXPECT_EQ(key.QueryMultiStringValue(u"v", &unit, &units), ERROR_INSUFFICIENT_BUFFER);
}

TEST_F(CRegKeyExTest, IgnoresFlagsAndRectanglesOfOtherLengths) {
  struct Row {
    std::uint32_t type;
    std::string bytes;
    std::int32_t code;
    std::vector<bool> flags;
    CRect rect;
  };
  const std::vector<bool> old = {true, true, false, true, true};
  const CRect oldRect{1, 2, 3, 4};
  const Row rows[] = {
      {REG_BINARY, "\0\1\x80\0\xFF"s, 0, {false, true, true, false, true}, oldRect},
      {REG_BINARY, "\0\0\0\0"s, 0, old, oldRect},
      {REG_BINARY, "", 0, old, oldRect},
      {REG_BINARY, "\7\0\0\0\0\0\0\0"s, 0, old, oldRect},
      {REG_BINARY, "\7\0\0\0\xFF\xFF\xFF\xFF\0\0\1\0\0\1\0\0"s, 0, old, {7, -1, 65536, 256}},
      {REG_DWORD, "\0\0\0\0"s, 13, old, oldRect},
      {REG_SZ, "\0\0\0\0\0"s, 13, old, oldRect},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(&row - rows);
    write(row.type, row.bytes);
    std::vector<bool> flags = old;
    CRect rect = oldRect;
    EXPECT_EQ(key.QueryVectorBoolValueEx(u"v", flags), row.code);
    EXPECT_EQ(flags, row.flags);
    EXPECT_EQ(key.QueryWTLCRectValueEx(u"v", rect), row.code);
    EXPECT_EQ(rect, row.rect);
  }
}

TEST_F(CRegKeyExTest, TellsMissingValuesAndClosedKeys) {
  CRegKeyEx closed;
  for (const auto& [target, code] : {std::pair(&key, 2), {&closed, 6}}) {
    bool flag = true;
    int number = 42;
    std::u16string text = u"old";
    std::vector<bool> flags = {true};
    Strings strings = {u"old"};
    StringSetMap map;
    CRect rect{1, 2, 3, 4};
    EXPECT_EQ(target->QueryBoolValueEx(u"none", flag), code);
    EXPECT_EQ(target->QueryIntValueEx(u"none", number), code);
    EXPECT_EQ(target->QueryStringValueEx(u"none", text), code);
    EXPECT_EQ(target->QueryVectorBoolValueEx(u"none", flags), code);
    EXPECT_EQ(target->QueryVectorStringValueEx(u"none", strings), code);
    EXPECT_EQ(target->QueryMapStringValueEx(map, u"none"), code);
    EXPECT_EQ(target->QueryWTLCRectValueEx(u"none", rect), code);
    EXPECT_EQ(target->DeleteValue(u"none"), code);
    EXPECT_TRUE(flag && flags[0] && map.empty());
    EXPECT_EQ(number, 42);
    EXPECT_EQ(text, u"old");
    EXPECT_THAT(strings, ElementsAre(u"old"));
    EXPECT_EQ(rect, (CRect{1, 2, 3, 4}));
  }
  int number = 1;
  EXPECT_EQ(closed.SetIntValueEx(u"v", number), 6);
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
  EXPECT_EQ(
      got,
      (StringSetMap{
          {u"A", {u"y", u"z"}}, {u"B", {u"kept"}}, {u"C", {u"untouched"}}, {u"D", {u"v", u"w"}}}));
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
  EXPECT_EQ(
      other.Open(HKEY_CURRENT_USER, (u"software\\" + place.name + u"\\ONE\\two").c_str(), KEY_READ),
      0);
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
  CRegKeyEx first;
  ASSERT_EQ(first.Open(place.software.m_hKey, place.name.c_str()), 0);
  const HKEY handle = first.m_hKey;
  CRegKeyEx second(first);
  EXPECT_EQ(first.m_hKey, nullptr);
  EXPECT_EQ(second.m_hKey, handle);
  CRegKeyEx third;
  ASSERT_EQ(third.Open(place.software.m_hKey, place.name.c_str()), 0);
  third = second;
  EXPECT_EQ(second.m_hKey, nullptr);
  EXPECT_EQ(third.m_hKey, handle);
  const CRegKeyEx& same = third;
  third = same;
  EXPECT_EQ(third.m_hKey, handle);
  std::uint32_t count = 7;
  EXPECT_EQ(third.CountValues(count), 0);
  EXPECT_EQ(count, 0u);
}
