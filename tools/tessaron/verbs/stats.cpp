#include <fmt/format.h>

#include <algorithm>
#include <map>
#include <memory>
#include <nlohmann/json.hpp>
#include <utility>

#include "catalogue/item_field.h"
#include "cli/failures.h"
#include "cli/options.h"
#include "cli/selection.h"
#include "output/chart.h"
#include "records/price.h"
#include "records/record.h"
#include "support/text.h"
#include "verbs/verbs.h"

namespace tessaron::tool {
namespace {

using Texts = std::vector<std::u16string>;

struct Options {
  std::string collection;
  std::vector<std::string> query;
  std::string by;
  std::string value = "count";
  ChartForm form;
};

Texts statusOf(const CRecord& record) {
  const std::u16string_view name =
      record.hasStatus ? statusLabel(record.status) : std::u16string_view();
  return {std::u16string(name.empty() ? u"No status" : name)};
}

/// The languages without their role: "English (Published)" is English.
Texts languagesOf(const CRecord& record) {
  Texts names = record.languages;
  for (std::u16string& name : names)
    if (name.ends_with(u')')) name.resize(std::min(name.rfind(u" ("), name.size()));
  return names;
}

/// A property to count by; an item can have no, one or several names for it.
struct Property {
  const char* name;
  Texts (*of)(const CRecord&);
  bool isDetail = false;  ///< present only in complete records
};

constexpr Property kProperties[] = {
    {"group", [](const CRecord& record) { return Texts{record.ProductGroup}; }},
    {"binding", [](const CRecord& record) { return Texts{record.Binding}; }},
    {"publisher", [](const CRecord& record) { return Texts{record.Publisher}; }},
    {"studio", [](const CRecord& record) { return Texts{record.Studio}; }},
    {"author", [](const CRecord& record) { return record.authors; }},
    {"artist", [](const CRecord& record) { return record.artists; }},
    {"year", [](const CRecord& record) { return Texts{yearOf(record)}; }},
    {"status", statusOf},
    {"language", languagesOf, true},
};

/// The sums of the items priced in one currency; the currency is "" when items are only counted.
struct Sum {
  std::size_t items = 0;
  std::size_t place = 0;     ///< of the first such item, from 1
  std::size_t nameless = 0;  ///< number of items without a name to count by
  std::map<std::u16string, scdata> shares;
};

/// Counts items one by one and keeps only the sums.
class Counter {
 public:
  Counter(const Property& property, bool byPrice) : property_(property), byPrice_(byPrice) {}

  void add(const CRecord& record) {
    ++items_;
    std::optional<Price> price;
    if (byPrice_ && !(price = parsePrice(record.ListPrice))) {
      ++priceless_;
      return;
    }
    Sum& sum = sums_[price ? price->currency : std::string()];
    if (sum.items++ == 0) sum.place = items_;
    Texts names = property_.of(record);
    std::erase(names, u"");
    std::sort(names.begin(), names.end());
    names.erase(std::unique(names.begin(), names.end()), names.end());  // each counts once
    if (names.empty()) ++sum.nameless;
    const float value = price ? static_cast<float>(price->amount) : 1;
    for (const std::u16string& name : names) {
      scdata& share = sum.shares.try_emplace(name, name, 0, 0.0F).first->second;
      ++share.count;
      share.value += value;
    }
  }

  std::size_t items() const { return items_; }
  std::size_t priceless() const { return priceless_; }

  /// The most frequent currency (on a tie the first one) and its sum.
  std::pair<std::string, Sum> common() const {
    const auto found = std::max_element(sums_.begin(), sums_.end(), [](auto& a, auto& b) {
      return std::pair(a.second.items, b.second.place) < std::pair(b.second.items, a.second.place);
    });
    if (found == sums_.end()) return {};
    return *found;
  }

 private:
  const Property& property_;
  const bool byPrice_;
  std::size_t items_ = 0;
  std::size_t priceless_ = 0;
  std::map<std::string, Sum> sums_;
};

/// The message about items that are not in `common`; empty when there are none.
std::string leftOut(const Counter& counter, const Sum& common, const std::string& property,
                    const std::string& currency) {
  std::vector<std::string> parts;
  const auto tell = [&](std::size_t count, const std::string& why) {
    if (count > 0) parts.push_back(fmt::format("{} of {} items {}", count, counter.items(), why));
  };
  tell(common.nameless, "without " + property);
  tell(counter.priceless(), "without a list price");
  tell(counter.items() - counter.priceless() - common.items,
       "priced in other currencies than " + (currency.empty() ? "that of most" : currency));
  return CLI::detail::join(parts, ", ");
}

int run(const Options& options, const Context& context) {
  const Property& property = *std::ranges::find_if(
      kProperties, [&](const Property& each) { return options.by == each.name; });
  const bool byPrice = options.value == "price";
  Selection selection(options.collection, options.query);
  Counter counter(property, byPrice);
  selection.forEachRecord(byPrice || property.isDetail,
                          [&](const CRecord& record) { counter.add(record); });
  const auto [currency, common] = counter.common();
  std::vector<scdata> items;
  for (const auto& [name, share] : common.shares) items.push_back(share);
  const std::string summary = leftOut(counter, common, options.by, currency);
  if (items.empty())
    throw Failure{kFailed, selection.name(),
                  counter.items() == 0 ? selection.emptyReason() : "nothing to count: " + summary};
  if (!summary.empty()) note(context, "left out: " + summary);

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
  addQueryArgument(*verb, options->query);
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
