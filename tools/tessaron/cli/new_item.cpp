#include "cli/new_item.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <string_view>

#include "catalogue/item_key.h"
#include "cli/dates.h"
#include "cli/failures.h"
#include "cli/fields.h"
#include "records/product_number.h"
#include "support/ascii.h"
#include "support/text.h"

namespace tessaron::tool {
namespace {

/// A product group in the web service's spelling, so that "book" is none beside "Book".
std::u16string groupName(const std::string& group) {
  constexpr std::array<std::string_view, 6> kGroups = {"Book",     "DVD",   "Music",
                                                       "Software", "Video", "Video Games"};
  const auto* known = std::ranges::find_if(
      kGroups, [&](std::string_view each) { return equalIgnoringCase(each, group); });
  return fromUtf8(known == kGroups.end() ? std::string_view(group) : *known);
}

/// The digits of a product number. Fails with kUsage when its check digit is wrong.
std::u16string digitsOf(const char* option, const std::optional<std::string>& number) {
  if (!number || number->empty()) return {};
  std::u16string digits = fromUtf8(*number);
  if (!productNumber(digits))
    throw Failure{kUsage,
                  {},
                  fmt::format("{}: {} is no such number: its digits, or the check digit, are wrong",
                              option, *number)};
  std::erase_if(digits, [](char16_t c) { return c == u'-' || c == u' '; });
  return digits;
}

void setPeople(CRecord& record, const char* column, const std::vector<std::string>& names) {
  std::vector<std::u16string> values;
  for (const std::string& name : names)
    if (!name.empty()) values.push_back(fromUtf8(name));
  if (!values.empty()) setField(record, {recordColumn(column), {}}, values);
}

}  // namespace

CRecord makeRecord(const NewItem& item, const std::string& where) {
  CRecord record;
  record.Title = fromUtf8(item.title);
  if (item.group) record.ProductGroup = groupName(*item.group);
  record.EAN = digitsOf("--ean", item.ean);
  record.UPC = digitsOf("--upc", item.upc);
  record.ISBN = digitsOf("--isbn", item.isbn);
  record.DateAdded = localToday();
  setPeople(record, "authors", item.authors);
  setPeople(record, "artists", item.artists);
  setPeople(record, "directors", item.directors);
  const CRecord given = record;
  for (const FieldValues& field : parseFields(item.fields)) setFieldOf(record, field, where);
  if (const std::string reason = recordError(given, record); !reason.empty())
    throw Failure{kUsage, {}, reason};
  record.postProcess();
  return record;
}

std::string knownReason(const ItemAddition& addition) {
  const ItemAddition::Known& known = *addition.known();
  const bool isMade = isMadeKey(known.key);
  return fmt::format("{} \"{}\" {}; nothing is added", toUtf8(known.key), toUtf8(known.title),
                     !known.hasSameKey ? "has that EAN, UPC or ISBN already (--again adds a copy)"
                     : isMade          ? "is that item already (--again adds a copy)"
                                       : "has that key already");
}

}  // namespace tessaron::tool
