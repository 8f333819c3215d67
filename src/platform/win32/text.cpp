#include "platform/text.h"

#include <shlwapi.h>

#include <algorithm>
#include <iterator>
#include <utility>

#include "platform/win32/wide.h"

namespace tessaron {
namespace {

struct Charset {
  std::string_view name;  // in small letters
  UINT codePage;
};
constexpr Charset kCharsets[] = {
    {"big5", 950},          {"cp1250", 1250},       {"cp1251", 1251},
    {"cp1252", 1252},       {"cp437", 437},         {"cp850", 850},
    {"cp866", 866},         {"cp932", 932},         {"euc-jp", 20932},
    {"euc-kr", 949},        {"gb18030", 54936},     {"gb2312", 936},
    {"gbk", 936},           {"ibm437", 437},        {"ibm850", 850},
    {"ibm852", 852},        {"ibm866", 866},        {"iso-8859-10", 28600},
    {"iso-8859-13", 28603}, {"iso-8859-14", 28604}, {"iso-8859-15", 28605},
    {"iso-8859-16", 28606}, {"iso-8859-2", 28592},  {"iso-8859-3", 28593},
    {"iso-8859-4", 28594},  {"iso-8859-5", 28595},  {"iso-8859-6", 28596},
    {"iso-8859-7", 28597},  {"iso-8859-8", 28598},  {"iso-8859-9", 28599},
    {"koi8-r", 20866},      {"koi8-u", 21866},      {"ks_c_5601-1987", 949},
    {"latin-9", 28605},     {"latin2", 28592},      {"macintosh", 10000},
    {"shift-jis", 932},     {"shift_jis", 932},     {"sjis", 932},
    {"tis-620", 874},       {"windows-1250", 1250}, {"windows-1251", 1251},
    {"windows-1252", 1252}, {"windows-1253", 1253}, {"windows-1254", 1254},
    {"windows-1255", 1255}, {"windows-1256", 1256}, {"windows-1257", 1257},
    {"windows-1258", 1258}, {"windows-31j", 932},   {"windows-874", 874},
    {"windows-949", 949},   {"x-sjis", 932},
};

// Appends what `bytes` are in a code page. False, and nothing appended, when some are nothing.
bool appendDecoded(UINT codePage, std::string_view bytes, std::u16string& out) {
  if (bytes.empty()) return true;
  const int size = static_cast<int>(bytes.size());
  const int length =
      MultiByteToWideChar(codePage, MB_ERR_INVALID_CHARS, bytes.data(), size, nullptr, 0);
  if (length <= 0) return false;
  const std::size_t done = out.size();
  out.resize(done + static_cast<std::size_t>(length));
  MultiByteToWideChar(codePage, 0, bytes.data(), size, wide(out.data() + done), length);
  return true;
}

// Whether a byte is a character in all of these sets, and part of no longer one.
bool standsAlone(char c) { return (c >= 0 && c < 0x30) || (c >= 0x3A && c < 0x40); }

class CodePageDecoder : public CharsetDecoder {
 public:
  explicit CodePageDecoder(UINT codePage) : codePage_(codePage) {}

  void decode(std::string_view bytes, bool isLast, std::u16string& out) override {
    held_ += bytes;
    const auto end =
        isLast ? held_.rbegin() : std::find_if(held_.rbegin(), held_.rend(), standsAlone);
    const auto size = static_cast<std::size_t>(held_.rend() - end);
    decodeLines(std::string_view(held_).substr(0, size), out);
    held_.erase(0, size);
  }

 private:
  // One line at a time: sizes are 32 bits wide, and only a faulty line is decoded piece by piece.
  // No character of these sets has a line feed among its bytes.
  void decodeLines(std::string_view bytes, std::u16string& out) const {
    while (!bytes.empty()) {
      constexpr std::size_t kMaxCall = std::size_t{1} << 30;
      const std::string_view line = bytes.substr(0, bytes.find('\n') + 1);  // npos + 1 is 0
      std::string_view part = (line.empty() ? bytes : line).substr(0, kMaxCall);
      bytes.remove_prefix(part.size());
      if (appendDecoded(codePage_, part, out)) continue;
      while (!part.empty()) {
        std::size_t size = IsDBCSLeadByteEx(codePage_, static_cast<BYTE>(part[0])) ? 2 : 1;
        size = std::min(size, part.size());
        if (!appendDecoded(codePage_, part.substr(0, size), out)) {
          out += u'\uFFFD';
          size = 1;
        }
        part.remove_prefix(size);
      }
    }
  }

  UINT codePage_;
  std::string held_;  // behind the last byte that stands alone
};

// The locale that `compareIn` has chosen; empty for the user's.
std::u16string& chosenLocale() {
  static std::u16string locale;
  return locale;
}

std::u16string mapped(DWORD flags, std::u16string_view text) {
  if (text.empty()) return {};
  const int size = static_cast<int>(text.size());
  std::u16string result(
      static_cast<std::size_t>(FoldStringW(flags, wide(text.data()), size, nullptr, 0)), 0);
  FoldStringW(flags, wide(text.data()), size, wide(result.data()), static_cast<int>(result.size()));
  return result;
}

}  // namespace

std::unique_ptr<CharsetDecoder> CharsetDecoder::open(std::string_view name) {
  std::string lower(name);
  for (char& c : lower) {
    if (c >= 'A' && c <= 'Z') c = static_cast<char>(c + 32);
  }
  const auto found = std::find_if(std::begin(kCharsets), std::end(kCharsets),
                                  [&](const Charset& known) { return known.name == lower; });
  if (found == std::end(kCharsets) || !IsValidCodePage(found->codePage)) return nullptr;
  return std::make_unique<CodePageDecoder>(found->codePage);
}

std::u16string fromCodePage(std::string_view bytes) {
  if (bytes.empty()) return {};
  const int size = static_cast<int>(bytes.size());
  std::u16string text(
      static_cast<std::size_t>(MultiByteToWideChar(CP_ACP, 0, bytes.data(), size, nullptr, 0)), 0);
  MultiByteToWideChar(CP_ACP, 0, bytes.data(), size, wide(text.data()),
                      static_cast<int>(text.size()));
  return text;
}

std::string toCodePage(std::u16string_view text) {
  if (text.empty()) return {};
  const int size = static_cast<int>(text.size());
  const int length =
      WideCharToMultiByte(CP_ACP, 0, wide(text.data()), size, nullptr, 0, nullptr, nullptr);
  std::string bytes(static_cast<std::size_t>(length), '\0');
  WideCharToMultiByte(CP_ACP, 0, wide(text.data()), size, bytes.data(), length, nullptr, nullptr);
  return bytes;
}

bool equalIgnoringCase(std::u16string_view left, std::u16string_view right) {
  return CompareStringOrdinal(wide(left.data()), static_cast<int>(left.size()), wide(right.data()),
                              static_cast<int>(right.size()), TRUE) == CSTR_EQUAL;
}

char16_t systemUpperCase(char16_t unit) {
  CharUpperBuffW(wide(&unit), 1);
  return unit;
}

char16_t systemLowerCase(char16_t unit) {
  CharLowerBuffW(wide(&unit), 1);
  return unit;
}

std::u16string decomposed(std::u16string_view text) {
  std::u16string apart = mapped(MAP_FOLDCZONE | MAP_COMPOSITE, text);
  std::ranges::transform(apart, apart.begin(), lowerCase);
  return apart;
}

std::u16string composed(std::u16string_view text) { return mapped(MAP_PRECOMPOSED, text); }

bool compareIn(std::string_view language) {
  // Names of orders, and what the system calls them behind the name of a locale.
  static constexpr std::pair<std::string_view, std::u16string_view> kOrders[] = {
      {"-u-co-phonebk", u"_phoneb"},
      {"-u-co-trad", u"_tradnl"},
      {"-u-co-stroke", u"_stroke"},
      {"-u-co-pinyin", u""},
  };
  std::u16string_view order;
  for (const auto& [tag, name] : kOrders) {
    if (!language.ends_with(tag)) continue;
    language.remove_suffix(tag.size());
    order = name;
  }
  // The system would leave out an extension that it does not know.
  if (language.find("-u-") != language.npos) return false;
  const std::u16string tag(language.begin(), language.end());
  std::u16string name(LOCALE_NAME_MAX_LENGTH, 0);
  const int size = ResolveLocaleName(wide(tag), wide(name.data()), LOCALE_NAME_MAX_LENGTH);
  if (tag.empty() || size <= 1) return false;
  name.resize(static_cast<std::size_t>(size) - 1);
  name += order;
  if (!IsValidLocaleName(wide(name))) return false;
  chosenLocale() = name;
  return true;
}

int compareLogically(const char16_t* left, const char16_t* right) {
  if (!left) left = u"";
  if (!right) right = u"";
  const std::u16string& locale = chosenLocale();
  if (locale.empty()) return StrCmpLogicalW(wide(left), wide(right));
  const int result = CompareStringEx(wide(locale), LINGUISTIC_IGNORECASE | SORT_DIGITSASNUMBERS,
                                     wide(left), -1, wide(right), -1, nullptr, nullptr, 0);
  return result == 0 ? 0 : result - CSTR_EQUAL;
}

std::u16string shortDate(const SYSTEMTIME& date) {
  const int length =
      GetDateFormatW(LOCALE_USER_DEFAULT, DATE_SHORTDATE, &date, nullptr, nullptr, 0);
  if (length <= 0) return {};
  std::u16string text(static_cast<std::size_t>(length), 0);
  GetDateFormatW(LOCALE_USER_DEFAULT, DATE_SHORTDATE, &date, nullptr, wide(text.data()), length);
  text.pop_back();  // its NUL
  return text;
}

}  // namespace tessaron
