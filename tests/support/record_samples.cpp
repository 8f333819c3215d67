#include "support/record_samples.h"

#include <random>
#include <string_view>

#include "support/text.h"

namespace tessaron {
namespace {

using Strings = CRecord::Strings;

template <typename Member>
struct Field {
  const char* name;
  Member CRecord::*member;
};

#define FIELD(name) \
  { #name, &CRecord::name }

constexpr Field<std::u16string> kTexts[] = {
    FIELD(ASIN),
    FIELD(Title),
    FIELD(NumberOfDiscs),
    FIELD(Binding),
    FIELD(Publisher),
    FIELD(ReleaseDate),
    FIELD(ProductGroup),
    FIELD(DetailPageURL),
    FIELD(UPC),
    FIELD(EAN),
    FIELD(LargeImage),
    FIELD(SmallImage),
    FIELD(MediumImage),
    FIELD(description),
    FIELD(AspectRatio),
    FIELD(DVDLayers),
    FIELD(DVDSides),
    FIELD(PictureFormat),
    FIELD(RegionCode),
    FIELD(RunningTime),
    FIELD(Studio),
    FIELD(AudienceRating),
    FIELD(NumberOfPages),
    FIELD(TheatricalReleaseDate),
    FIELD(OriginalTitle),
    FIELD(ISBN),
    FIELD(PublicationDate),
    FIELD(Label),
    FIELD(ESRBAgeRating),
    FIELD(NumberOfTracks),
    FIELD(AverageRating),
    FIELD(TotalReviews),
    FIELD(ListPrice),
    FIELD(LowestNewPrice),
    FIELD(TotalNew),
    FIELD(LowestUsedPrice),
    FIELD(TotalUsed),
    FIELD(Notes),
    FIELD(StatusTarget),
};
constexpr Field<Strings> kAttributeLists[] = {
    FIELD(actors),      FIELD(directors), FIELD(formats),  FIELD(authors),
    FIELD(translators), FIELD(artists),   FIELD(features), FIELD(platforms),
};
// Lists that keep their empty entries.
constexpr Field<Strings> kFullLists[] = {
    FIELD(languages),      FIELD(reviewRatings),    FIELD(reviewSummaries),
    FIELD(reviewContents), FIELD(customFieldNames), FIELD(customFieldValues),
};
constexpr Field<bool> kFlags[] = {
    FIELD(hasIcon),        FIELD(hasStatus),     FIELD(hasUPC),
    FIELD(hasEAN),         FIELD(hasDVDLayers),  FIELD(hasDVDSides),
    FIELD(hasDescription), FIELD(hasRegionCode), FIELD(hasActors),
    FIELD(hasFormats),     FIELD(hasDirectors),  FIELD(hasTheatricalReleaseDate),
    FIELD(hasAuthors),     FIELD(hasArtists),    FIELD(hasTranslators),
    FIELD(hasLanguages),   FIELD(hasDiscs),      FIELD(hasFeatures),
    FIELD(hasPlatforms),   FIELD(hasNotes),      FIELD(hasCoverImage),
    FIELD(fullDetail),
};
constexpr Field<std::int32_t> kNumbers[] = {FIELD(icon), FIELD(status)};
constexpr Field<std::uint16_t> kDates[] = {FIELD(DateAdded), FIELD(StatusBeginDate),
                                           FIELD(StatusEndDate)};

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

void makeLegal(Strings& list, bool keepEmpty) {
  if (!keepEmpty) std::erase(list, u"");
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
  for (const auto& [name, member] : kTexts) record.*member = sample.text();
  for (const auto& [name, member] : kAttributeLists) record.*member = sample.list();
  for (const auto& [name, member] : kDates) {
    record.*member = static_cast<std::uint16_t>(sample.below(2) * sample.below(0x10000));
  }
  for (const auto& [name, member] : kNumbers) {
    record.*member = static_cast<std::int32_t>(sample.below(0x100000000));
  }
  for (const auto& [name, member] : kFlags) record.*member = sample.below(2) == 1;
  record.hasCoverImage = false;
  record.fullDetail = true;
  for (auto price : {&CRecord::ListPrice, &CRecord::LowestNewPrice, &CRecord::LowestUsedPrice}) {
    record.*price = sample.pick(kPrices);
  }
  record.languages = sample.list();
  const std::size_t reviews = sample.below(4);
  record.reviewRatings = sample.list(reviews);
  record.reviewSummaries = sample.list(reviews);
  record.reviewContents = sample.list(reviews);
  record.customFieldNames = sample.list(7);
  record.customFieldValues = sample.list(7);
  for (std::size_t disc = sample.below(4); disc > 0; --disc) record.discs.push_back(sample.list());
  record.offerListing = {sample.text(), sample.pick(kPrices), sample.text()};
  record.offers.resize(sample.below(3));
  for (COffer& offer : record.offers) offer.Nickname = offer.Availability = sample.text();
  record.folders.resize(sample.below(2));
  return record;
}

CRecord asReadBack(const CRecord& record) {
  CRecord back = record;
  for (const auto& [name, member] : kTexts) back.*member = legal(back.*member);
  for (const auto& [name, member] : kAttributeLists) makeLegal(back.*member, false);
  for (const auto& [name, member] : kFullLists) makeLegal(back.*member, true);
  for (Strings& disc : back.discs) makeLegal(disc, false);
  for (auto text : {&COfferListing::OfferListingId, &COfferListing::Availability}) {
    back.offerListing.*text = legal(back.offerListing.*text);
  }
  for (std::size_t i = 0; i < 7; ++i) back.customFieldFlags[i] = !back.customFieldNames[i].empty();
  if (back.Binding.empty()) back.Binding = back.ProductGroup;
  if (!back.hasIcon) back.icon = 0;
  if (!back.hasStatus) back.status = 0;
  back.postProcess();
  return back;
}

std::string differences(const CRecord& wanted, const CRecord& got) {
  std::string out;
  const auto compare = [&](const auto& fields) {
    for (const auto& [name, member] : fields) {
      if (wanted.*member == got.*member) continue;
      out +=
          std::string(name) + ": " + shown(wanted.*member) + " became " + shown(got.*member) + '\n';
    }
  };
  compare(kTexts);
  compare(kAttributeLists);
  compare(kFullLists);
  compare(kFlags);
  compare(kNumbers);
  compare(kDates);
  if (wanted.discs != got.discs) out += "discs\n";
  if (wanted.customFieldFlags != got.customFieldFlags) out += "customFieldFlags\n";
  if (wanted.offerListing != got.offerListing) out += "offerListing\n";
  return out;
}

}  // namespace tessaron
