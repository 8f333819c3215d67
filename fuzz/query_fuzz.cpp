#include <vector>

#include "catalogue/item_order.h"
#include "catalogue/query.h"
#include "fuzz.h"
#include "support/record_samples.h"

using tessaron::ItemOrder;
using tessaron::Query;

namespace {

const SYSTEMTIME kNow{2024, 2, 4, 29, 12, 0, 0, 0};

const std::vector<CRecord>& records() {
  static const std::vector<CRecord> all = [] {
    std::vector<CRecord> made;
    for (std::uint32_t seed = 0; seed < 8; ++seed) made.push_back(tessaron::randomRecord(seed));
    return made;
  }();
  return all;
}

}  // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string text = asText(data, size);
  std::string unknown;
  if (const auto order = ItemOrder::parse(text, unknown)) {
    std::vector<ItemOrder::Key> keys;
    for (const CRecord& record : records()) keys.push_back(order->keyOf(record, kNow));
    for (const ItemOrder::Key& left : keys)
      for (const ItemOrder::Key& right : keys)
        CHECK(!order->isBefore(left, right) || !order->isBefore(right, left));
  }
  tessaron::QueryError error;
  const auto query = Query::parse(text, kNow, error);
  CHECK(query || (!error.message.empty() && error.place <= text.size()));
  if (!query) return 0;
  // What is printed is the same query.
  const std::string printed = query->text();
  const auto again = Query::parse(printed, kNow, error);
  CHECK(again && again->text() == printed && again->needsDetail() == query->needsDetail());
  for (const CRecord& record : records()) CHECK(query->matches(record) == again->matches(record));
  return 0;
}
