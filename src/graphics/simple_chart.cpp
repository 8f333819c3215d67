#include "graphics/simple_chart.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstddef>
#include <limits>
#include <string_view>
#include <unordered_map>
#include <utility>

#include "support/text.h"

namespace {

constexpr std::size_t kMaxItems = 12;  // when the rest is grouped

/// Counts wrap around.
void add(scdata& to, const scdata& from) {
  to.value += from.value;
  to.count = static_cast<std::int32_t>(static_cast<std::uint32_t>(to.count) +
                                       static_cast<std::uint32_t>(from.count));
}

/// Adds the items of a name to the first of them, in order: sums of floats depend on it.
void mergeNames(std::vector<scdata>& items) {
  std::vector<bool> merged(items.size());
  {
    std::unordered_map<std::u16string_view, scdata*> firsts;
    firsts.reserve(items.size());
    for (std::size_t i = 0; i < items.size(); ++i) {
      const auto [first, isNew] = firsts.try_emplace(items[i].name, &items[i]);
      if (isNew) continue;
      add(*first->second, items[i]);
      merged[i] = true;
    }
  }
  std::erase_if(items, [&](const scdata& item) {
    return merged[static_cast<std::size_t>(&item - items.data())];
  });
}

void groupTail(std::vector<scdata>& items) {
  if (items.size() <= kMaxItems) return;
  scdata& rest = items[kMaxItems - 1];
  for (std::size_t i = kMaxItems; i < items.size(); ++i) {
    rest.name.append(u", ").append(items[i].name);
    add(rest, items[i]);
  }
  items.resize(kMaxItems);
}

/// Two decimals, always with a point. (A stream of 16-bit characters cannot print numbers.)
std::string fixedText(float value) {
  if (std::isnan(value)) return "nan";  // without a sign
  char buffer[std::numeric_limits<float>::max_exponent10 + 8];
  const auto end = std::to_chars(buffer, std::end(buffer), value, std::chars_format::fixed, 2).ptr;
  return {buffer, end};
}

}  // namespace

scdata::scdata() = default;
scdata::scdata(std::u16string itemName, std::int32_t itemCount, float itemValue)
    : name(std::move(itemName)), count(itemCount), value(itemValue) {}
scdata::scdata(const scdata&) = default;
scdata::scdata(scdata&&) noexcept = default;
scdata& scdata::operator=(const scdata&) = default;
scdata& scdata::operator=(scdata&&) noexcept = default;
scdata::~scdata() = default;

bool SortSCData::operator()(const scdata& a, const scdata& b) const {
  return a.value == b.value ? a.name < b.name : a.value > b.value;
}

GPSimpleChart::GPSimpleChart() = default;
GPSimpleChart::GPSimpleChart(const GPSimpleChart&) = default;
GPSimpleChart::GPSimpleChart(GPSimpleChart&&) noexcept = default;
GPSimpleChart& GPSimpleChart::operator=(const GPSimpleChart&) = default;
GPSimpleChart& GPSimpleChart::operator=(GPSimpleChart&&) noexcept = default;
GPSimpleChart::~GPSimpleChart() = default;

bool GPSimpleChart::feed(const scdata& item) {
  items.push_back(item);
  return true;
}

bool GPSimpleChart::clear() {
  items.clear();
  return true;
}

bool GPSimpleChart::sortdata() {
  const auto end = std::stable_partition(
      items.begin(), items.end(), [](const scdata& item) { return !std::isnan(item.value); });
  std::sort(items.begin(), end, SortSCData());
  return true;
}

bool GPSimpleChart::merge(bool groupRest) {
  mergeNames(items);
  sortdata();
  if (groupRest) groupTail(items);
  return true;
}

bool GPSimpleChart::normalize(bool groupRest) {
  total = 0;
  for (const scdata& item : items) total += item.value;
  merge(groupRest);
  for (scdata& item : items) item.value = item.value / total * 100;
  total = 100;
  return true;
}

bool GPSimpleChart::printcsv(std::basic_ostream<char16_t>& out) {
  out.precision(2);
  for (const scdata& item : items) {
    out.setf(std::ios_base::fixed, std::ios_base::floatfield);
    const std::u16string line =
        item.name + tessaron::fromUtf8('\t' + std::to_string(item.count) + '\t' +
                                       fixedText(item.value) + "%\n");
    out.write(line.data(), static_cast<std::streamsize>(line.size()));
    out.flush();
  }
  return true;
}
