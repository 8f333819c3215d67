#include "sample_collection.h"

#include <array>
#include <random>
#include <string>
#include <string_view>

#include "support/dos_date.h"
#include "support/text.h"

namespace tessaron {
namespace {

constexpr auto kWords = std::to_array<std::u16string_view>({
    u"the",    u"quiet",  u"harbour", u"and",  u"a",       u"winter",   u"of",      u"glass",
    u"river",  u"Möwe",   u"über",    u"rock", u"'n'",     u"roll",     u"journey", u"façade",
    u"shadow", u"in",     u"light",   u"café", u"evening", u"bread",    u"machine", u"garden",
    u"naïve",  u"north",  u"letter",  u"<i>",  u"</i>",    u"R&B",      u"dream",   u"stone",
    u"海辺の", u"カフカ", u"with",    u"two",  u"hands",   u"\"live\"", u"—",       u"song",
});
constexpr auto kNames = std::to_array<std::u16string_view>({
    u"Anna Grünwald",
    u"Jonas Okafor",
    u"Claire Lefèvre",
    u"Tom O'Hara",
    u"Mei Tanaka",
    u"Priya Raman",
    u"Luis Núñez",
    u"Ingrid Sørensen",
    u"Smith & Daughters",
    u"田中 美咲",
});
constexpr auto kGroups = std::to_array<std::u16string_view>({u"Book", u"Music", u"DVD", u"Toy"});

class Sampler {
 public:
  explicit Sampler(std::size_t item) : random_(static_cast<std::uint32_t>(item)), item_(item) {}

  CRecord record() {
    CRecord record;
    record.hasIcon = true;
    record.icon = static_cast<std::int32_t>(below(24));
    record.ASIN = u"B" + number(1000000000 + item_).substr(1);
    record.DetailPageURL = u"https://shop.example/item/" + record.ASIN + u"?ref=a&tag=b";
    record.LargeImage = u"https://images.example/" + record.ASIN + u".large.jpg";
    record.DateAdded = toDosDate(2005 + static_cast<int>(below(15)),
                                 1 + static_cast<int>(below(12)), 1 + static_cast<int>(below(28)));
    record.Title = words(4);
    record.ProductGroup = pick(kGroups);
    record.Binding = record.ProductGroup;
    record.Publisher = pick(kNames);
    record.ReleaseDate = u"2004-0" + number(1 + below(9)) + u"-17";
    record.EAN = number(4000000000000 + item_);
    record.NumberOfPages = number(80 + below(900));
    record.authors = {std::u16string(pick(kNames)), std::u16string(pick(kNames))};
    record.languages = {u"English (Original)"};
    record.ListPrice = u"$" + number(5 + below(60)) + u".95";
    record.LowestNewPrice = u"$" + number(3 + below(50)) + u".49";
    record.TotalNew = number(below(40));
    record.description = u"<p><b>From the publisher </b>" + words(6) + u"</p>\n";
    record.AverageRating = number(1 + below(4)) + u".5";
    record.TotalReviews = u"1";
    record.reviewRatings = {number(1 + below(5))};
    record.reviewSummaries = {words(3)};
    record.reviewContents = {words(5) + u"\n" + words(3)};
    if (record.ProductGroup == u"Music") {
      CRecord::Strings& disc = record.discs.emplace_back();
      for (int track = 0; track < 6; ++track) disc.push_back(words(2));
    }
    if (below(10) == 0) {
      record.hasStatus = true;
      record.StatusTarget = pick(kNames);
      record.StatusBeginDate = record.DateAdded;
      record.Notes = words(6);
    }
    record.postProcess();
    return record;
  }

 private:
  // std::uniform_int_distribution may give other numbers in another library.
  std::size_t below(std::size_t limit) { return random_() % limit; }

  template <std::size_t N>
  std::u16string_view pick(const std::array<std::u16string_view, N>& from) {
    return from[below(N)];
  }

  std::u16string words(std::size_t count) {
    std::u16string text(pick(kWords));
    while (--count > 0) (text += u' ') += pick(kWords);
    return text;
  }

  static std::u16string number(std::uint64_t value) { return fromUtf8(std::to_string(value)); }

  std::minstd_rand random_;
  std::size_t item_;
};

}  // namespace

CRecordSet sampleCollection(std::size_t items) {
  CRecordSet set;
  set.records.reserve(items);
  for (std::size_t i = 0; i < items; ++i) set.records.push_back(Sampler(i + 1).record());
  return set;
}

}  // namespace tessaron
