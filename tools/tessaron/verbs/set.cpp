#include <fmt/format.h>

#include <memory>
#include <optional>

#include "cli/failures.h"
#include "cli/item_settings.h"
#include "cli/items.h"
#include "cli/options.h"
#include "cli/selection.h"
#include "cli/status_names.h"
#include "support/text.h"
#include "verbs/verbs.h"

namespace tessaron::tool {
namespace {

struct Options {
  std::string collection;
  std::vector<std::string> items;
  std::optional<std::string> query;
  ItemSettings settings;
};

int run(const Options& options, const Context& context) {
  requireItems(options.items, options.query);
  const SettingsEdit change(options.settings);
  const std::vector<std::string> names =
      options.query ? std::vector<std::string>() : itemNames(options.items);
  const std::u16string key = change.newKey();
  if (!key.empty() && (options.query || names.size() > 1))
    throw Failure{kUsage, {}, "several items cannot have one key"};
  const auto changeItem = [&](const ItemStream& items) {
    CRecord known;
    items.read(known);
    CRecord record = known;
    change.apply(record, options.collection);
    return changeTo(items, known, record);
  };
  const auto changeNamed = [&](const ItemStream& items, std::span<const std::size_t>) {
    return changeItem(items);
  };
  const auto changed =
      options.query ? changeMatching(options.collection, *options.query, changeItem)
                    : changeItems(options.collection, names, SameKey::First, changeNamed, key);
  note(context, changed.size() == 1 ? toUtf8(changed[0]) + " changed"
                                    : fmt::format("{} items changed", changed.size()));
  return kDone;
}

}  // namespace

void addSet(CLI::App& app, Context& context) {
  const auto options = std::make_shared<Options>();
  CLI::App* verb = app.add_subcommand("set", "Changes items: all that are named, or none");
  verb->footer(
      std::string(kItemsHelp) +
      "\nDATE is YYYY-MM-DD, today, tomorrow, or +14d for days from today; '' removes it. Another\n"
      "status than before starts without person and dates; the same status keeps those not given.\n"
      "--field takes the names that JSON and tables have (Title, authors, ListPrice) and short "
      "ones\n"
      "(title, author, price); dates, numbers and prices are checked. Entries of a list are\n"
      "separated by semicolons, or given by several --field. Any other NAME is a field of your "
      "own,\n"
      "as custom.NAME always is.");
  addCollectionOption(*verb, options->collection, true);
  addItemArguments(*verb, options->items);
  addQueryOption(*verb, options->query);
  CLI::Option* status = verb->add_option("--status", options->settings.status, statusChoices());
  status->type_name("NAME");
  CLI::Option* target = verb->add_option("--target", options->settings.target,
                                         "Lent to, borrowed or bought from whom");
  target->type_name("WHO");
  CLI::Option* from = verb->add_option("--from", options->settings.from, "When the status began");
  from->type_name("DATE");
  CLI::Option* until = verb->add_option("--until", options->settings.until, "When the item is due");
  until->type_name("DATE");
  CLI::Option* none = verb->add_flag("--no-status", options->settings.noStatus,
                                     "Remove the status with its person and dates");
  for (CLI::Option* option : {status, target, from, until}) none->excludes(option);
  verb->add_option("--notes", options->settings.notes, "Your notes; '' removes them")
      ->type_name("TEXT");
  CLI::Option* icon =
      verb->add_option("--icon", options->settings.icon, "The number of the item's icon")
          ->type_name("N");
  verb->add_flag("--no-icon", options->settings.noIcon, "Remove the icon")->excludes(icon);
  verb->add_option("--field", options->settings.fields,
                   "Any field; again for more; without a value it is removed")
      ->type_name("NAME=VALUE")
      ->allow_extra_args(false);
  verb->callback([&context, options] {
    context.run = [&context, options] { return run(*options, context); };
  });
}

}  // namespace tessaron::tool
