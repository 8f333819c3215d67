#include "catalogue/item_key.h"

#include <algorithm>
#include <cstdint>

#include "records/product_number.h"
#include "support/fold.h"
#include "support/text.h"

namespace tessaron {
namespace {

constexpr std::u16string_view kPrefix = u"item-";
constexpr std::size_t kDigits = 12;
// Without letters that are taken for digits.
constexpr std::u16string_view kAlphabet = u"0123456789abcdefghjkmnpqrstvwxyz";

std::u16string firstPerson(const CRecord& record) {
  for (const auto* people : {&record.authors, &record.artists, &record.directors, &record.actors})
    if (!people->empty()) return people->front();
  return {};
}

std::uint64_t hashOf(std::u16string_view text) {
  std::uint64_t hash = 0xCBF29CE484222325u;  // FNV-1a over UTF-8
  for (const char byte : toUtf8(text))
    hash = (hash ^ static_cast<unsigned char>(byte)) * 0x100000001B3u;
  return hash;
}

}  // namespace

std::optional<std::u16string> productNumberOf(const CRecord& record) {
  for (const auto member : kNumberMembers)
    if (auto number = productNumber(record.*member)) return number;
  return std::nullopt;
}

std::u16string madeKey(const CRecord& record) {
  const std::optional<std::u16string> number = productNumberOf(record);
  std::uint64_t hash =
      hashOf(number ? *number
                    : foldText(record.Title) + u'\n' + foldText(firstPerson(record)) + u'\n' +
                          foldText(record.ProductGroup));
  std::u16string key(kPrefix);
  for (std::size_t i = 0; i < kDigits; ++i, hash >>= 5) key += kAlphabet[hash % 32];
  return key;
}

bool isMadeKey(std::u16string_view key) {
  return key.starts_with(kPrefix) && key.size() == kPrefix.size() + kDigits &&
         std::ranges::all_of(key.substr(kPrefix.size()),
                             [](char16_t c) { return kAlphabet.find(c) != kAlphabet.npos; });
}

}  // namespace tessaron
