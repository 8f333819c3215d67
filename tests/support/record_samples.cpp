#include "support/record_samples.h"

#include <algorithm>
#include <random>
#include <string_view>
#include <utility>
#include <variant>

#include "records/record_cells.h"
#include "records/record_fields.h"
#include "records/record_json.h"
#include "support/text.h"

namespace tessaron {
namespace {

using Strings = CRecord::Strings;

const SYSTEMTIME kNow{2024, 6, 1, 10, 12, 0, 0, 0};
constexpr ListMember kCustomFieldLists[] = {&CRecord::customFieldNames,
                                            &CRecord::customFieldValues};

// Calls `visit` with the member of a field that is kept as a `Member`.
template <typename Member, typename Visit>
void with(const Field& field, Visit visit) {
  if (const Member* member = std::get_if<Member>(&field.member); member && *member) visit(*member);
}

using namespace std::string_view_literals;

// Pieces of which texts are made.
constexpr std::u16string_view kPieces[] = {
    u" ",          u"  ",           u"\t",        u"\n",           u"\r\n",     u"\r",
    u"a",          u"Zwölf Wörter", u"日本語",    u"\u00A0",       u"\u0085",   u"\U0001F600",
    u"\U0010FFFF", u"]]>",          u"<![CDATA[", u"<!--",         u"&",        u"&amp;",
    u"&#x41;",     u"&#8364;",      u"&#",        u"<p>",          u"</Title>", u"'",
    u"\"",         u"'\"",          u"\uFEFF",    u"\uFFFD",       u"\u2028",   u"GrÃ¶ÃŸe",
    u"Ã",          u"\xD83D",       u"\xDE00",    u"\xDE00\xD83D", u"\uFFFE",   u"\uFFFF",
    u"\x01",       u"\v",           u"\f",        u"\x1F",         u"\x7F",     u"\0"sv};
constexpr std::u16string_view kPrices[] = {
    u"", u"$5.99", u"EUR 9,99", u"\uFFE5 1,200", u"\u20AC7", u"5 EUR ", u"  free  ",
};

class Sampler {
 public:
  explicit Sampler(std::uint32_t seed) : random_(seed) {}

  std::size_t below(std::uint64_t limit) { return static_cast<std::size_t>(random_() % limit); }

  template <std::size_t N>
  std::u16string pick(const std::u16string_view (&from)[N]) {
    return std::u16string(from[below(N)]);
  }

  std::u16string text() {
    if (below(3) == 0) return {};
    if (below(40) == 0) return std::u16string(3 + below(5000), u"x \xE9"[below(3)]);
    std::u16string text;
    for (std::size_t count = 1 + below(6); count > 0; --count) text += pick(kPieces);
    return text;
  }

  Strings list(std::size_t count) {
    Strings list;
    while (list.size() < count) list.push_back(text());
    return list;
  }
  Strings list() { return list(below(4)); }

 private:
  std::mt19937 random_;
};

// Spelled out here once more, so that the library's own idea of it is tested.
std::u16string legal(const std::u16string& text) {
  std::u16string out;
  for (std::size_t i = 0; i < text.size(); ++i) {
    const char16_t c = text[i];
    if ((c & 0xFC00) == 0xD800 && (text[i + 1] & 0xFC00) == 0xDC00) {  // a pair
      (out += c) += text[++i];
      continue;
    }
    const bool isControl = c < 0x20 && c != u'\t' && c != u'\n' && c != u'\r';
    out += isControl || c >= 0xFFFE || (c & 0xF800) == 0xD800 ? u'\uFFFD' : c;
  }
  return out;
}

void makeLegal(Strings& list) {
  for (std::u16string& text : list) text = legal(text);
}

}  // namespace

CRecord randomRecord(std::uint32_t seed) {
  Sampler sample(seed);
  CRecord record;
  const std::size_t reviews = sample.below(4);
  for (const Field& field : kFields) {
    with<TextMember>(field, [&](TextMember text) {
      record.*text = field.name.ends_with("Price") ? sample.pick(kPrices) : sample.text();
    });
    with<ListMember>(field, [&](ListMember list) {
      record.*list = field.name.starts_with("review") ? sample.list(reviews) : sample.list();
    });
    with<DateMember>(field, [&](DateMember date) {
      record.*date = static_cast<std::uint16_t>(sample.below(2) * sample.below(0x10000));
    });
    if (field.flag) record.*field.flag = sample.below(2) == 1;
  }
  for (const auto number : {&CRecord::icon, &CRecord::status})
    record.*number = static_cast<std::int32_t>(sample.below(0x100000000));
  for (const auto flag : {&CRecord::hasIcon, &CRecord::hasStatus})
    record.*flag = sample.below(2) == 1;
  for (const ListMember list : kCustomFieldLists) record.*list = sample.list(7);
  for (std::size_t disc = sample.below(4); disc > 0; --disc) record.discs.push_back(sample.list());
  record.offerListing = {sample.text(), sample.pick(kPrices), sample.text()};
  record.offers.resize(sample.below(3));
  for (COffer& offer : record.offers) offer.Nickname = offer.Availability = sample.text();
  record.folders.resize(sample.below(2));
  record.copies = static_cast<std::int32_t>(1 + sample.below(3));
  record.loans.resize(sample.below(3));
  for (CLoan& loan : record.loans)
    loan = {static_cast<std::int32_t>(sample.below(8)), sample.text(),
            static_cast<std::uint16_t>(sample.below(2) * 0x5821), 0x5841,
            static_cast<std::uint16_t>(sample.below(2) * 0x5842)};
  record.files.resize(sample.below(3));
  for (CLinkedFile& file : record.files) {
    file = {sample.text(), sample.below(9), sample.text(),
            static_cast<std::uint16_t>(sample.below(2) * 0x5821)};
    std::erase(file.path, u'\0');  // no path has one
    file.path += static_cast<char16_t>(u'a' + (&file - record.files.data()));
  }
  return record;
}

CRecord asReadBack(const CRecord& record) {
  CRecord back = record;
  for (const Field& field : kFields) {
    with<TextMember>(field, [&](TextMember text) { back.*text = legal(back.*text); });
    with<ListMember>(field, [&](ListMember list) {
      if (field.xml.place == XmlPlace::AttributeList) std::erase(back.*list, u"");
      makeLegal(back.*list);
    });
  }
  for (const ListMember list : kCustomFieldLists) makeLegal(back.*list);
  for (CLoan& loan : back.loans) loan.who = legal(loan.who);
  for (CLinkedFile& file : back.files) file.checksum = legal(file.checksum);
  for (Strings& disc : back.discs) {
    std::erase(disc, u"");
    makeLegal(disc);
  }
  for (auto text : {&COfferListing::OfferListingId, &COfferListing::Availability})
    back.offerListing.*text = legal(back.offerListing.*text);
  for (std::size_t i = 0; i < 7; ++i) back.customFieldFlags[i] = !back.customFieldNames[i].empty();
  if (back.Binding.empty()) back.Binding = back.ProductGroup;
  if (!back.hasIcon) back.icon = 0;
  if (!back.hasStatus) back.status = 0;
  back.postProcess();
  return back;
}

std::string fieldsOf(const CRecord& record) {
  std::string out, cell;
  for (const std::string& name : recordColumns()) {
    cell.clear();
    appendCell(record, recordColumn(name), kNow, cell);
    if (name == "copies" && record.copies == 1) continue;  // as most have
    if (!cell.empty()) out += (out.empty() ? "" : "|") + name + '=' + cell;
  }
  return out;
}

std::string everythingOf(const CRecord& record) {
  std::string out = std::to_string(record.icon) + ' ' + std::to_string(record.status) + ' ';
  const auto flag = [&](bool value) { out += value ? '1' : '0'; };
  for (const Field& field : kFields) {
    if (field.flag) flag(record.*field.flag);
    with<DateMember>(field, [&](DateMember date) { out += std::to_string(record.*date) + ' '; });
  }
  std::for_each(record.customFieldFlags.begin(), record.customFieldFlags.end(), flag);
  CRecord rest = record;
  rest.folders.clear();
  rest.offers.clear();
  // Shown also without a status, and with all of its slots.
  out += '\n' + toUtf8(rest.StatusTarget);
  for (const auto* list : {&rest.customFieldNames, &rest.customFieldValues}) {
    for (const std::u16string& slot : *list) out += '|' + toUtf8(slot);
  }
  out += '\n';
  JsonWriter json(out);
  writeRecord(rest, kNow, json);
  return out;
}

}  // namespace tessaron
