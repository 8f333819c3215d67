#include "support/record_samples.h"

#include <random>
#include <string_view>
#include <utility>
#include <variant>

#include "records/record_fields.h"
#include "support/text.h"

namespace tessaron {
namespace {

using Strings = CRecord::Strings;

// Members that are no rows of the table of fields, or parts of a row.
constexpr std::pair<const char*, ListMember> kCustomFieldLists[] = {
    {"customFieldNames", &CRecord::customFieldNames},
    {"customFieldValues", &CRecord::customFieldValues},
};
constexpr std::pair<const char*, FlagMember> kOtherFlags[] = {{"hasIcon", &CRecord::hasIcon},
                                                              {"hasStatus", &CRecord::hasStatus}};
constexpr std::pair<const char*, std::int32_t CRecord::*> kNumbers[] = {
    {"icon", &CRecord::icon}, {"status", &CRecord::status}};

// Whether `field` is kept as a `Member`, which is then put into `member`.
template <typename Member>
bool is(const Field& field, Member& member) {
  const Member* found = std::get_if<Member>(&field.member);
  member = found ? *found : nullptr;
  return member != nullptr;
}

// Pieces of which texts are made.
constexpr std::u16string_view kPieces[] = {
    u" ",          u"  ",
    u"\t",         u"\n",
    u"\r\n",       u"\r",
    u"a",          u"Zwölf Wörter",
    u"日本語",     u"\u00A0",
    u"\u0085",     u"\U0001F600",
    u"\U0010FFFF", u"]]>",
    u"<![CDATA[",  u"<!--",
    u"&",          u"&amp;",
    u"&#x41;",     u"&#8364;",
    u"&#",         u"<p>",
    u"</Title>",   u"'",
    u"\"",         u"'\"",
    u"\uFEFF",     u"\uFFFD",
    u"\u2028",     u"GrÃ¶ÃŸe",
    u"Ã",          u"\xD83D",
    u"\xDE00",     u"\xDE00\xD83D",
    u"\uFFFE",     u"\uFFFF",
    u"\x01",       u"\v",
    u"\f",         u"\x1F",
    u"\x7F",       std::u16string_view(u"\0", 1),
};
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
    const bool pair = c >= 0xD800 && c < 0xDC00 && i + 1 < text.size() && text[i + 1] >= 0xDC00 &&
                      text[i + 1] < 0xE000;
    if (pair) {
      out += c;
      out += text[++i];
    } else if ((c < 0x20 && c != u'\t' && c != u'\n' && c != u'\r') || c >= 0xFFFE ||
               (c >= 0xD800 && c < 0xE000)) {
      out += u'\uFFFD';
    } else {
      out += c;
    }
  }
  return out;
}

void makeLegal(Strings& list) {
  for (std::u16string& text : list) text = legal(text);
}

std::string shown(const std::u16string& text) { return '"' + toUtf8(text) + '"'; }
std::string shown(const Strings& list) {
  std::string out;
  for (const std::u16string& text : list) out += shown(text) + ' ';
  return out;
}
std::string shown(std::int32_t number) { return std::to_string(number); }

}  // namespace

CRecord randomRecord(std::uint32_t seed) {
  Sampler sample(seed);
  CRecord record;
  const std::size_t reviews = sample.below(4);
  for (const Field& field : kFields) {
    TextMember text;
    ListMember list;
    DateMember date;
    const bool isReview = field.name.starts_with("review");
    if (is(field, text)) {
      record.*text = field.name.ends_with("Price") ? sample.pick(kPrices) : sample.text();
    } else if (is(field, list)) {
      record.*list = isReview ? sample.list(reviews) : sample.list();
    } else if (is(field, date)) {
      record.*date = static_cast<std::uint16_t>(sample.below(2) * sample.below(0x10000));
    }
    if (field.flag) record.*field.flag = sample.below(2) == 1;
  }
  for (const auto& [name, member] : kNumbers)
    record.*member = static_cast<std::int32_t>(sample.below(0x100000000));
  for (const auto& [name, flag] : kOtherFlags) record.*flag = sample.below(2) == 1;
  for (const auto& [name, list] : kCustomFieldLists) record.*list = sample.list(7);
  for (std::size_t disc = sample.below(4); disc > 0; --disc) record.discs.push_back(sample.list());
  record.offerListing = {sample.text(), sample.pick(kPrices), sample.text()};
  record.offers.resize(sample.below(3));
  for (COffer& offer : record.offers) offer.Nickname = offer.Availability = sample.text();
  record.folders.resize(sample.below(2));
  return record;
}

CRecord asReadBack(const CRecord& record) {
  CRecord back = record;
  for (const Field& field : kFields) {
    TextMember text;
    ListMember list;
    if (is(field, text)) back.*text = legal(back.*text);
    if (!is(field, list)) continue;
    if (field.xml.place == XmlPlace::AttributeList) std::erase(back.*list, u"");
    makeLegal(back.*list);
  }
  for (const auto& [name, list] : kCustomFieldLists) makeLegal(back.*list);
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

std::string differences(const CRecord& wanted, const CRecord& got) {
  std::string out;
  const auto compare = [&](std::string_view name, auto member) {
    if (wanted.*member == got.*member) return;
    ((out += name) += ": ") += shown(wanted.*member) + " became " + shown(got.*member) + '\n';
  };
  for (const Field& field : kFields) {
    TextMember text;
    ListMember list;
    DateMember date;
    if (is(field, text)) compare(field.name, text);
    if (is(field, list)) compare(field.name, list);
    if (is(field, date)) compare(field.name, date);
    if (field.flag) compare(field.name, field.flag);
  }
  for (const auto& [name, member] : kNumbers) compare(name, member);
  for (const auto& [name, flag] : kOtherFlags) compare(name, flag);
  for (const auto& [name, list] : kCustomFieldLists) compare(name, list);
  if (wanted.discs != got.discs) out += "discs\n";
  if (wanted.customFieldFlags != got.customFieldFlags) out += "customFieldFlags\n";
  if (wanted.offerListing != got.offerListing) out += "offerListing\n";
  return out;
}

}  // namespace tessaron
