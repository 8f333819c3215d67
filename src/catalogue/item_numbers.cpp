#include <algorithm>

#include "catalogue/item_numbers_internal.h"
#include "records/product_number.h"

namespace tessaron {

ProductNumbers productNumbers(const CRecord& record) {
  ProductNumbers numbers{};
  std::size_t count = 0;
  for (const auto member : kNumberMembers) {
    const auto digits = productNumber(record.*member);
    if (!digits) continue;
    std::uint64_t number = 0;
    for (const char16_t digit : *digits) number = number * 10 + (digit - u'0');
    if (std::find(numbers.begin(), numbers.end(), number) == numbers.end())
      numbers[count++] = number;
  }
  return numbers;
}

bool isContrary(const ProductNumbers& a, const ProductNumbers& b) {
  if (a.front() == 0 || b.front() == 0) return false;
  return std::none_of(a.begin(), a.end(), [&](std::uint64_t number) {
    return number != 0 && std::find(b.begin(), b.end(), number) != b.end();
  });
}

std::u16string digitsOf(std::uint64_t number) {
  constexpr std::size_t kDigits = 13;
  std::u16string digits(kDigits, u'0');
  for (std::size_t i = kDigits; i-- > 0; number /= 10)
    digits[i] = static_cast<char16_t>(u'0' + number % 10);
  return digits;
}

}  // namespace tessaron
