#include <unicode/locid.h>
#include <unicode/ucol.h>
#include <unicode/uset.h>

#include <algorithm>
#include <array>
#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include "platform/text.h"

namespace tessaron {
namespace {

constexpr std::size_t kMaxDigits = 254;  // digits that ICU takes for one number

bool isAsciiDigit(char16_t unit) { return unit >= u'0' && unit <= u'9'; }

bool isAscii(std::u16string_view text) {
  return std::all_of(text.begin(), text.end(), [](char16_t unit) { return unit < 0x80; });
}

// The collation of the user's language, with ranks of those ASCII characters that compare without
// ICU.
class Order {
 public:
  explicit Order(const char* locale) {
    UErrorCode error = U_ZERO_ERROR;
    collator_.reset(ucol_open(locale, &error));
    if (U_FAILURE(error)) collator_.reset();
    if (!collator_) return;
    ucol_setAttribute(collator_.get(), UCOL_NUMERIC_COLLATION, UCOL_ON, &error);
    if (!hasAsciiContractions()) rankAscii();
  }

  int compare(std::u16string_view left, std::u16string_view right) const {
    if (!collator_) return left.compare(right);
    return ucol_strcoll(collator_.get(), left.data(), static_cast<std::int32_t>(left.size()),
                        right.data(), static_cast<std::int32_t>(right.size()));
  }

  // The rank of an ASCII character that sorts independently of its neighbors; 0 for NUL and all
  // other units. All digits share one rank.
  int rank(char16_t unit) const { return unit < ranks_.size() ? ranks_[unit] : 0; }

 private:
  struct Closer {
    void operator()(UCollator* collator) const { ucol_close(collator); }
    void operator()(USet* set) const { uset_close(set); }
  };

  // Whether an ASCII sequence contracts to a weight of its own, or an ASCII character expands.
  bool hasAsciiContractions() const {
    UErrorCode error = U_ZERO_ERROR;
    const std::unique_ptr<USet, Closer> set(uset_openEmpty());
    ucol_getContractionsAndExpansions(collator_.get(), set.get(), set.get(), true, &error);
    for (std::int32_t i = 0; i < uset_getItemCount(set.get()); ++i) {
      std::array<char16_t, 64> text{};
      std::int32_t first = 0;
      std::int32_t last = 0;
      const std::int32_t length = uset_getItem(set.get(), i, &first, &last, text.data(),
                                               static_cast<std::int32_t>(text.size()), &error);
      const bool ascii =
          length == 0 ? first < 0x80 : isAscii({text.data(), static_cast<std::size_t>(length)});
      if (ascii) return true;
    }
    return U_FAILURE(error);
  }

  void rankAscii() {
    std::vector<char16_t> units;
    ucol_setStrength(collator_.get(), UCOL_PRIMARY);
    for (char16_t unit = u' '; unit <= u'~'; ++unit)
      if (compare({&unit, 1}, {}) != 0 && (unit == u'0' || !isAsciiDigit(unit)))
        units.push_back(unit);
    const auto less = [&](char16_t a, char16_t b) { return compare({&a, 1}, {&b, 1}) < 0; };
    std::stable_sort(units.begin(), units.end(), less);
    std::uint8_t rank = 0;
    for (std::size_t i = 0; i < units.size(); ++i) {
      if (i == 0 || less(units[i - 1], units[i])) ++rank;
      ranks_[units[i]] = rank;
    }
    // Characters that differ only at the secondary level get no rank: later primary differences
    // take precedence over theirs.
    ucol_setStrength(collator_.get(), UCOL_SECONDARY);
    std::vector<char16_t> close;
    for (std::size_t i = 1; i < units.size(); ++i)
      if (ranks_[units[i - 1]] == ranks_[units[i]] && less(units[i - 1], units[i]))
        close.insert(close.end(), {units[i - 1], units[i]});
    for (const char16_t unit : close) ranks_[unit] = 0;
    for (char16_t unit = u'1'; unit <= u'9'; ++unit) ranks_[unit] = ranks_[u'0'];
  }

  std::unique_ptr<UCollator, Closer> collator_;
  std::array<std::uint8_t, 0x80> ranks_{};
};

// Without a language in the environment the default orders by character code.
const char* userLocale() {
  const char* locale = icu::Locale::getDefault().getName();
  return std::strcmp(locale, "en_US_POSIX") == 0 ? "" : locale;
}

std::unique_ptr<const Order>& chosenOrder() {
  static std::unique_ptr<const Order> chosen;
  return chosen;
}

const Order& order() {
  if (chosenOrder()) return *chosenOrder();
  static const Order instance(userLocale());
  return instance;
}

// Whether ICU has the order that the locale names, or it names none. ICU takes the standard order
// for what it does not know.
bool hasNamedOrder(const icu::Locale& locale) {
  UErrorCode error = U_ZERO_ERROR;
  std::array<char, 64> name{};
  const std::int32_t length = uloc_getKeywordValue(locale.getName(), "collation", name.data(),
                                                   static_cast<std::int32_t>(name.size()), &error);
  if (U_FAILURE(error)) return false;
  if (length == 0) return true;
  const std::unique_ptr<UEnumeration, decltype(&uenum_close)> names(
      ucol_getKeywordValuesForLocale("collation", locale.getBaseName(), false, &error),
      uenum_close);
  while (U_SUCCESS(error)) {
    const char* known = uenum_next(names.get(), nullptr, &error);
    if (!known) return false;
    if (std::strcmp(known, name.data()) == 0) return true;
  }
  return false;
}

// Returns the end of the run of digits at `at`.
std::size_t endOfDigits(std::u16string_view text, std::size_t at) {
  while (at < text.size() && isAsciiDigit(text[at])) ++at;
  return at;
}

std::u16string_view significant(std::u16string_view digits) {
  return digits.substr(std::min(digits.find_first_not_of(u'0'), digits.size()));
}

// Compares two numbers by value and advances both pointers past them.
int compareNumbers(const char16_t*& left, const char16_t*& right) {
  while (*left == u'0') ++left;
  while (*right == u'0') ++right;
  int difference = 0;
  for (; isAsciiDigit(*left) && isAsciiDigit(*right); ++left, ++right)
    if (difference == 0) difference = *left - *right;
  if (!isAsciiDigit(*left) && !isAsciiDigit(*right)) return difference;
  difference = isAsciiDigit(*left) ? 1 : -1;  // the longer one is greater
  while (isAsciiDigit(*left)) ++left;
  while (isAsciiDigit(*right)) ++right;
  return difference;
}

// Compares by ranks. False where a character without a rank requires ICU.
bool compareRanks(const Order& ranked, const char16_t* left, const char16_t* right, int& result) {
  for (;;) {
    int difference = 0;
    if (isAsciiDigit(*left) && isAsciiDigit(*right)) {
      difference = compareNumbers(left, right);
    } else {
      const int leftRank = ranked.rank(*left);
      const int rightRank = ranked.rank(*right);
      if ((leftRank == 0 && *left != 0) || (rightRank == 0 && *right != 0)) return false;
      if (*left == 0 && *right == 0) return result = 0, true;
      difference = leftRank - rightRank;
      if (*left != 0) ++left;
      if (*right != 0) ++right;
    }
    if (difference == 0) continue;
    result = difference;
    return (*left == 0 || ranked.rank(*left) != 0) && (*right == 0 || ranked.rank(*right) != 0);
  }
}

// ICU takes at most 254 digits for one number. Rewrites a longer run as a character that sorts
// after all numbers, the count of its digits, and the digits in groups of that size.
std::u16string withoutLongNumbers(std::u16string_view text) {
  constexpr char16_t kBehindNumbers = u'\u0BF2';
  std::u16string out;
  for (std::size_t i = 0; i < text.size();) {
    const std::size_t end = endOfDigits(text, i);
    const std::u16string_view digits = significant(text.substr(i, end - i));
    if (digits.size() > kMaxDigits) {
      out += kBehindNumbers;
      for (const char digit : std::to_string(digits.size())) out += static_cast<char16_t>(digit);
      for (std::size_t at = 0; at < digits.size(); at += kMaxDigits)
        (out += kBehindNumbers) += digits.substr(at, kMaxDigits);
      i = end;
    } else {
      const std::size_t stop = std::max(end, i + 1);
      out += text.substr(i, stop - i);
      i = stop;
    }
  }
  return out;
}

}  // namespace

bool compareIn(std::string_view language) {
  UErrorCode error = U_ZERO_ERROR;
  const icu::Locale locale = icu::Locale::forLanguageTag(
      icu::StringPiece(language.data(), static_cast<std::int32_t>(language.size())), error);
  // Every language that there is has a code of three letters.
  const bool isKnown = U_SUCCESS(error) && !locale.isBogus() && *locale.getISO3Language() != 0;
  if (!isKnown || !hasNamedOrder(locale)) return false;
  chosenOrder() = std::make_unique<const Order>(locale.getName());
  return true;
}

int compareLogically(const char16_t* left, const char16_t* right) {
  if (!left) left = u"";
  if (!right) right = u"";
  const Order& rules = order();
  int result = 0;
  if (compareRanks(rules, left, right, result)) return result;
  const std::u16string_view a(left);
  const std::u16string_view b(right);
  if (a.size() <= kMaxDigits && b.size() <= kMaxDigits) return rules.compare(a, b);
  return rules.compare(withoutLongNumbers(a), withoutLongNumbers(b));
}

}  // namespace tessaron
