#include <fmt/format.h>

#include <algorithm>
#include <memory>
#include <optional>

#include "cli/dates.h"
#include "cli/failures.h"
#include "cli/fields.h"
#include "cli/items.h"
#include "cli/options.h"
#include "cli/selection.h"
#include "cli/status_names.h"
#include "records/field_text.h"
#include "support/text.h"
#include "verbs/verbs.h"

namespace tessaron::tool {
namespace {

struct Options {
  std::string collection;
  std::vector<std::string> items;
  std::optional<std::string> query;
  std::optional<std::string> status;
  std::optional<std::string> target;
  std::optional<std::string> from;
  std::optional<std::string> until;
  bool noStatus = false;
  std::optional<std::string> notes;
  std::optional<std::int32_t> icon;
  bool noIcon = false;
  std::vector<std::string> fields;
};

/// Changes to records, validated as far as possible without them.
struct Change {
  std::optional<int> status;
  bool noStatus = false;
  std::optional<std::u16string> target;
  std::optional<std::uint16_t> begin;
  std::optional<std::uint16_t> end;
  std::optional<std::u16string> notes;
  std::optional<std::int32_t> icon;
  bool noIcon = false;
  std::vector<FieldValues> fields;  ///< in the order in which they can be set
};

Change makeChange(const Options& options) {
  Change change;
  const std::uint16_t today = localToday();
  const auto date = [&](const std::string& text) {
    return text.empty() ? std::uint16_t{0} : parseDate(text, today);
  };
  if (options.status) change.status = parseStatus(*options.status);
  change.noStatus = options.noStatus;
  if (options.target) change.target = fromUtf8(*options.target);
  if (options.from) change.begin = date(*options.from);
  if (options.until) change.end = date(*options.until);
  if (options.notes) change.notes = fromUtf8(*options.notes);
  change.icon = options.icon;
  change.noIcon = options.noIcon;
  change.fields = parseFields(options.fields);
  const bool any = change.status || change.noStatus || change.target || change.begin ||
                   change.end || change.notes || change.icon || change.noIcon ||
                   !change.fields.empty();
  if (!any) throw Failure{kUsage, {}, "set needs at least one thing to set"};
  return change;
}

void clearStatus(CRecord& record) {
  record.hasStatus = false;
  record.status = 0;
  record.StatusTarget.clear();
  record.StatusBeginDate = 0;
  record.StatusEndDate = 0;
}

void setStatus(CRecord& record, const Change& change, const std::string& where) {
  // A different status drops the person and the dates of the old one.
  if (change.noStatus || (change.status && !(record.hasStatus && record.status == *change.status)))
    clearStatus(record);
  if (change.status) {
    record.hasStatus = true;
    record.status = *change.status;
  }
  if (!change.target && !change.begin && !change.end) return;
  if (!record.hasStatus)
    throw Failure{kFailed, where, toUtf8(record.ASIN) + " has no status; give one with --status"};
  record.StatusTarget = change.target.value_or(record.StatusTarget);
  record.StatusBeginDate = change.begin.value_or(record.StatusBeginDate);
  record.StatusEndDate = change.end.value_or(record.StatusEndDate);
}

void apply(const Change& change, CRecord& record, const std::string& where) {
  const CRecord known = record;
  setStatus(record, change, where);
  if (change.notes) {
    record.Notes = *change.notes;
    record.hasNotes = !change.notes->empty();
  }
  if (change.icon || change.noIcon) {
    record.icon = change.icon.value_or(0);
    record.hasIcon = change.icon.has_value();
  }
  for (const FieldValues& field : change.fields) setFieldOf(record, field, where);
  if (const std::string reason = recordError(known, record); !reason.empty())
    throw Failure{kUsage, {}, reason};
}

/// The key that the items get; empty when they keep theirs.
std::u16string newKey(const Change& change) {
  const NamedField key{recordColumn("ASIN"), {}};
  const auto field = std::ranges::find(change.fields, key, &FieldValues::field);
  if (field == change.fields.end() || field->values.empty()) return {};
  return std::u16string(trimmed(field->values.front()));
}

int run(const Options& options, const Context& context) {
  requireItems(options.items, options.query);
  const Change change = makeChange(options);
  const std::vector<std::string> names =
      options.query ? std::vector<std::string>() : itemNames(options.items);
  const std::u16string key = newKey(change);
  if (!key.empty() && (options.query || names.size() > 1))
    throw Failure{kUsage, {}, "several items cannot have one key"};
  const auto changeItem = [&](const ItemStream& items) {
    CRecord known;
    items.read(known);
    CRecord record = known;
    apply(change, record, options.collection);
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
  CLI::Option* status = verb->add_option("--status", options->status, statusChoices());
  status->type_name("NAME");
  CLI::Option* target =
      verb->add_option("--target", options->target, "Lent to, borrowed or bought from whom");
  target->type_name("WHO");
  CLI::Option* from = verb->add_option("--from", options->from, "When the status began");
  from->type_name("DATE");
  CLI::Option* until = verb->add_option("--until", options->until, "When the item is due");
  until->type_name("DATE");
  CLI::Option* none = verb->add_flag("--no-status", options->noStatus,
                                     "Remove the status with its person and dates");
  for (CLI::Option* option : {status, target, from, until}) none->excludes(option);
  verb->add_option("--notes", options->notes, "Your notes; '' removes them")->type_name("TEXT");
  CLI::Option* icon =
      verb->add_option("--icon", options->icon, "The number of the item's icon")->type_name("N");
  verb->add_flag("--no-icon", options->noIcon, "Remove the icon")->excludes(icon);
  verb->add_option("--field", options->fields,
                   "Any field; again for more; without a value it is removed")
      ->type_name("NAME=VALUE")
      ->allow_extra_args(false);
  verb->callback([&context, options] {
    context.run = [&context, options] { return run(*options, context); };
  });
}

}  // namespace tessaron::tool
