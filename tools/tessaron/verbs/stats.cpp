#include <fmt/format.h>

#include <algorithm>
#include <map>
#include <memory>
#include <nlohmann/json.hpp>
#include <set>

#include "cli/collection.h"
#include "cli/failures.h"
#include "cli/options.h"
#include "output/chart.h"
#include "records/price.h"
#include "support/text.h"
#include "verbs/verbs.h"

namespace tessaron::tool {
namespace {

using Texts = std::vector<std::u16string>;

struct Options {
  std::string collection;
  std::string by;
  std::string value = "count";
  ChartForm form;
};

/// The year in a date such as "2005-09-01" or "September 2005".
std::u16string yearIn(std::u16string_view date) {
  constexpr std::u16string_view kDigits = u"0123456789";
  for (std::size_t at = 0; (at = date.find_first_of(kDigits, at)) != date.npos;) {
    const std::size_t end = std::min(date.find_first_not_of(kDigits, at), date.size());
    if (end - at == 4) return std::u16string(date.substr(at, 4));
    at = end;
  }
  return {};
}

Texts yearOf(const CRecord& record) {
  for (const auto* date :
       {&record.ReleaseDate, &record.PublicationDate, &record.TheatricalReleaseDate})
    if (std::u16string year = yearIn(*date); !year.empty()) return {year};
  return {};
}

Texts statusOf(const CRecord& record) {
  const std::u16string_view name = record.hasStatus ? statusLabel(record.status) : u"";
  return {std::u16string(name.empty() ? u"No status" : name)};
}

/// The languages without what the item has them for: "English (Published)" is English.
Texts languagesOf(const CRecord& record) {
  Texts names = record.languages;
  for (std::u16string& name : names)
    if (name.ends_with(u')')) name.resize(std::min(name.rfind(u" ("), name.size()));
  return names;
}

/// What items can be counted by: nothing, one or several names for each.
struct Property {
  const char* name;
  Texts (*of)(const CRecord&);
};

constexpr Property kProperties[] = {
    {"group", [](const CRecord& record) { return Texts{record.ProductGroup}; }},
    {"binding", [](const CRecord& record) { return Texts{record.Binding}; }},
    {"publisher", [](const CRecord& record) { return Texts{record.Publisher}; }},
    {"studio", [](const CRecord& record) { return Texts{record.Studio}; }},
    {"author", [](const CRecord& record) { return record.authors; }},
    {"artist", [](const CRecord& record) { return record.artists; }},
    {"year", yearOf},
    {"status", statusOf},
    {"language", languagesOf},
};

/// What counts of an item: its names, each once, and its price.
struct Counted {
  std::set<std::u16string> names;
  std::optional<Price> price;
};

/// The currency that most of the items have.
std::string commonCurrency(const std::vector<Counted>& items) {
  std::map<std::string, int> uses;
  int most = 0;
  for (const Counted& item : items)
    if (item.price) most = std::max(most, ++uses[item.price->currency]);
  for (const Counted& item : items)
    if (item.price && uses[item.price->currency] == most) return item.price->currency;
  return {};
}

std::vector<Counted> countedItems(CollectionReader& collection, const Property& property,
                                  bool byPrice) {
  std::vector<Counted> counted;
  collection.forEachRecord(true, [&](const CRecord& record) {
    Texts names = property.of(record);
    std::erase(names, u"");
    counted.push_back({{names.begin(), names.end()}, {}});
    if (byPrice) counted.back().price = parsePrice(record.ListPrice);
  });
  return counted;
}

/// Items of the chart, and how many items of the collection are in none of them, by reason.
struct Shares {
  std::vector<scdata> items;
  std::size_t nameless = 0;
  std::size_t priceless = 0;
  std::size_t foreign = 0;  ///< priced in another currency
};

/// Counts the items; with a currency, their prices in it.
Shares sharesOf(const std::vector<Counted>& counted, const std::optional<std::string>& currency) {
  Shares shares;
  for (const auto& [names, price] : counted) {
    if (currency && !price) {
      ++shares.priceless;
    } else if (currency && price->currency != *currency) {
      ++shares.foreign;
    } else if (names.empty()) {
      ++shares.nameless;
    } else {
      const float value = currency ? static_cast<float>(price->amount) : 1;
      for (const std::u16string& name : names) shares.items.push_back({name, 1, value});
    }
  }
  return shares;
}

/// What was left out of `total` items, and why; empty for nothing.
std::string leftOut(const Shares& shares, std::size_t total, const std::string& property,
                    const std::string& currency) {
  std::vector<std::string> parts;
  const auto tell = [&](std::size_t count, const std::string& why) {
    if (count > 0) parts.push_back(fmt::format("{} of {} items {}", count, total, why));
  };
  tell(shares.nameless, "without " + property);
  tell(shares.priceless, "without a list price");
  tell(shares.foreign,
       "priced in other currencies than " + (currency.empty() ? "that of most" : currency));
  return CLI::detail::join(parts, ", ");
}

int run(const Options& options, const Context& context) {
  const Property& property = *std::ranges::find_if(
      kProperties, [&](const Property& each) { return options.by == each.name; });
  const bool byPrice = options.value == "price";
  CollectionReader collection(options.collection);
  const std::vector<Counted> counted = countedItems(collection, property, byPrice);
  const std::string currency = commonCurrency(counted);
  const Shares shares = sharesOf(counted, byPrice ? std::optional(currency) : std::nullopt);
  const std::string summary = leftOut(shares, counted.size(), options.by, currency);
  if (shares.items.empty())
    throw Failure{kFailed, collection.name(),
                  counted.empty() ? "the collection is empty" : "nothing to count: " + summary};
  if (!summary.empty()) note(context, "left out: " + summary);

  nlohmann::ordered_json about = {{"by", options.by}, {"value", options.value}};
  if (byPrice) about["currency"] = currency;
  std::string heading = options.by;
  heading[0] = static_cast<char>(heading[0] - 'a' + 'A');
  giveChart(shares.items, heading, byPrice ? "Price " + currency : "", about, options.form,
            context);
  return kDone;
}

}  // namespace

void addStats(CLI::App& app, Context& context) {
  const auto options = std::make_shared<Options>();
  CLI::App* verb = app.add_subcommand("stats", "Counts the items by what they have in common");
  addCollectionOption(*verb, options->collection, false);
  std::vector<std::string> names;
  for (const Property& property : kProperties) names.emplace_back(property.name);
  verb->add_option("--by", options->by,
                   "What to count by; an item with several authors, artists or languages counts "
                   "for each of them")
      ->type_name(CLI::detail::join(names, "|"))
      ->check(CLI::IsMember(names))
      ->required();
  verb->add_option("--value", options->value,
                   "What the shares are of: the number of items, or the sum of their list prices")
      ->type_name("count|price")
      ->check(CLI::IsMember({"count", "price"}))
      ->capture_default_str();
  verb->add_flag_callback(
      "--no-group-rest", [options] { options->form.groupRest = false; },
      "Do not make one of all from the 12th on");
  addChartForm(*verb, options->form);
  verb->callback([&context, options] {
    context.run = [&context, options] { return run(*options, context); };
  });
}

}  // namespace tessaron::tool
