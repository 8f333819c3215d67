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
#include "output/price.h"
#include "output/status.h"
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
  const std::string name = record.hasStatus ? statusName(record.status) : "";
  return {name.empty() ? u"No status" : fromUtf8(name)};
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

int run(const Options& options, const Context& context) {
  const Property& property =
      *std::find_if(std::begin(kProperties), std::end(kProperties),
                    [&](const Property& each) { return options.by == each.name; });
  const bool byPrice = options.value == "price";
  CollectionReader collection(options.collection);
  std::vector<Counted> counted;
  collection.forEachRecord(true, [&](const CRecord& record) {
    Texts names = property.of(record);
    std::erase(names, u"");
    counted.push_back({{names.begin(), names.end()}, {}});
    if (byPrice) counted.back().price = parsePrice(record.ListPrice);
  });
  const std::string currency = commonCurrency(counted);

  std::vector<scdata> items;
  std::size_t nameless = 0;
  std::size_t priceless = 0;
  std::size_t foreign = 0;
  for (const auto& [names, price] : counted) {
    float value = 1;
    if (byPrice && !price) {
      ++priceless;
    } else if (byPrice && price->currency != currency) {
      ++foreign;
    } else if (names.empty()) {
      ++nameless;
    } else {
      if (byPrice) value = static_cast<float>(price->amount);
      for (const std::u16string& name : names) items.push_back({name, 1, value});
    }
  }
  std::vector<std::string> leftOut;
  const auto tell = [&](std::size_t count, const std::string& why) {
    if (count > 0) leftOut.push_back(fmt::format("{} of {} items {}", count, counted.size(), why));
  };
  tell(nameless, "without " + options.by);
  tell(priceless, "without a list price");
  tell(foreign,
       "priced in other currencies than " + (currency.empty() ? "that of most" : currency));
  const std::string summary = CLI::detail::join(leftOut, ", ");
  if (items.empty())
    throw Failure{kFailed, collection.name(),
                  counted.empty() ? "the collection is empty" : "nothing to count: " + summary};
  if (!leftOut.empty()) note(context, "left out: " + summary);

  nlohmann::ordered_json about = {{"by", options.by}, {"value", options.value}};
  if (byPrice) about["currency"] = currency;
  std::string heading = options.by;
  heading[0] = static_cast<char>(heading[0] - 'a' + 'A');
  giveChart(items, heading, byPrice ? "Price " + currency : "", about, options.form, context);
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
