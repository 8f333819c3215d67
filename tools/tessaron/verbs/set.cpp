#include <fmt/format.h>

#include <algorithm>
#include <memory>
#include <optional>

#include "catalogue/item_merge.h"
#include "cli/collection.h"
#include "cli/dates.h"
#include "cli/failures.h"
#include "cli/items.h"
#include "cli/options.h"
#include "cli/status_names.h"
#include "support/dos_date.h"
#include "support/text.h"
#include "verbs/verbs.h"

namespace tessaron::tool {
namespace {

struct Options {
  std::string collection;
  std::string asin;
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

/// Changes to a record, validated as far as possible without the record.
struct Change {
  std::optional<int> status;
  bool noStatus = false;
  std::optional<std::u16string> target;
  std::optional<std::uint16_t> begin;
  std::optional<std::uint16_t> end;
  std::optional<std::u16string> notes;
  std::optional<std::int32_t> icon;
  bool noIcon = false;
  std::vector<std::pair<std::u16string, std::u16string>> fields;  // name, value
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
  for (const std::string& field : options.fields) {
    const std::size_t sign = field.find('=');
    if (sign == std::string::npos || sign == 0)
      throw Failure{kUsage, {}, fmt::format("--field takes NAME=VALUE, not \"{}\"", field)};
    change.fields.emplace_back(fromUtf8(field.substr(0, sign)), fromUtf8(field.substr(sign + 1)));
  }
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
  const bool both = record.StatusBeginDate != 0 && record.StatusEndDate != 0;
  if (both && record.StatusEndDate < record.StatusBeginDate)
    throw Failure{kUsage,
                  {},
                  fmt::format("the status would end ({}) before it begins ({})",
                              isoDate(record.StatusEndDate), isoDate(record.StatusBeginDate))};
}

void setField(CRecord& record, const std::u16string& name, const std::u16string& value,
              const std::string& where) {
  CRecord::Strings& names = record.customFieldNames;
  CRecord::Strings& values = record.customFieldValues;
  auto slot = static_cast<std::size_t>(std::find(names.begin(), names.end(), name) - names.begin());
  if (slot == names.size()) {
    if (value.empty()) return;
    slot = 0;
    while (slot < names.size() && !(names[slot].empty() && values[slot].empty())) ++slot;
    if (slot == names.size())
      throw Failure{
          kFailed, where,
          fmt::format("all {} fields of {} are in use", names.size(), toUtf8(record.ASIN))};
  }
  names[slot] = value.empty() ? std::u16string() : name;
  values[slot] = value;
  record.customFieldFlags[slot] = !value.empty();
}

/// Edits the first item with an ASIN.
class SetEdit : public ItemEdit {
 public:
  SetEdit(const Options& options, Change change)
      : options_(options), name_(itemName(options.asin)), change_(std::move(change)) {}

  ItemChange change(const ItemStream& items) override {
    if (found_ || items.asin() != name_) return {};
    found_ = true;
    CRecord known;
    items.read(known);
    CRecord record = known;
    apply(record);
    auto text = updateItem(items.item(), items.version(), known, record);
    return text ? replaceItem(items, *std::move(text)) : ItemChange();
  }

  std::string addition() override {
    if (found_) return {};
    throw Failure{kFailed, options_.collection, "no item " + options_.asin};
  }

 private:
  void apply(CRecord& record) const {
    setStatus(record, change_, options_.collection);
    if (change_.notes) {
      record.Notes = *change_.notes;
      record.hasNotes = !change_.notes->empty();
    }
    if (change_.icon || change_.noIcon) {
      record.icon = change_.icon.value_or(0);
      record.hasIcon = change_.icon.has_value();
    }
    for (const auto& [name, value] : change_.fields)
      setField(record, name, value, options_.collection);
  }

  const Options& options_;
  std::u16string name_;
  Change change_;
  bool found_ = false;
};

int run(const Options& options, const Context& context) {
  SetEdit edit(options, makeChange(options));
  changeCollection(options.collection, EditMode::Existing, edit);
  note(context, options.asin + " changed");
  return kDone;
}

}  // namespace

void addSet(CLI::App& app, Context& context) {
  const auto options = std::make_shared<Options>();
  CLI::App* verb = app.add_subcommand("set", "Changes what you keep about one item");
  verb->footer(
      "DATE is YYYY-MM-DD, today, tomorrow, or +14d for days from today; '' removes it. Another\n"
      "status than before starts without person and dates; the same status keeps those not given.");
  addCollectionOption(*verb, options->collection, true);
  requireItemName(*verb->add_option("ASIN", options->asin, "The item")->required());
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
                   "A field of your own; again for more; without a value it is removed")
      ->type_name("NAME=VALUE")
      ->allow_extra_args(false);
  verb->callback([&context, options] {
    context.run = [&context, options] { return run(*options, context); };
  });
}

}  // namespace tessaron::tool
