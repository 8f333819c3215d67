#include "catalogue/item_addition.h"

#include <algorithm>
#include <random>
#include <utility>

#include "catalogue/item_key.h"
#include "catalogue/item_merge.h"
#include "records/product_number.h"

namespace tessaron {
namespace {

std::vector<std::u16string> productNumbersOf(const CRecord& record) {
  std::vector<std::u16string> numbers;
  for (const auto member : kNumbersAndKey)
    if (auto number = productNumber(record.*member)) numbers.push_back(*std::move(number));
  return numbers;
}

std::u16string randomKey() {
  std::random_device random;
  CRecord seed;
  for (int i = 0; i < 8; ++i) seed.Title += static_cast<char16_t>(u'a' + random() % 26);
  return madeKey(seed);
}

}  // namespace

ItemAddition::ItemAddition(CRecord record, Copies copies,
                           const std::function<void(CRecord&)>& finish)
    : record_(std::move(record)) {
  if (copies == Copies::Refused) numbers_ = productNumbersOf(record_);
  if (record_.ASIN.empty())
    record_.ASIN = copies == Copies::Refused ? madeKey(record_) : randomKey();
  if (finish) finish(record_);
}

bool ItemAddition::hasNumberOf(const CRecord& other) const {
  return std::ranges::any_of(productNumbersOf(other), [&](const std::u16string& number) {
    return std::ranges::find(numbers_, number) != numbers_.end();
  });
}

ItemChange ItemAddition::change(const ItemStream& items) {
  const bool hasSameKey = items.asin() == record_.ASIN;
  if (known_ || (!hasSameKey && numbers_.empty())) return {};
  CRecord other;
  other.fullDetail = false;
  items.read(other);
  if (hasSameKey || hasNumberOf(other)) known_ = Known{other.ASIN, other.Title, hasSameKey};
  return {};
}

std::string ItemAddition::addition() {
  if (known_ || std::exchange(isAdded_, true)) return {};
  return itemText(record_);
}

}  // namespace tessaron
