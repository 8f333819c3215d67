// The verbs that begin and end loans: lend, borrow, return.

#include <fmt/format.h>

#include <memory>
#include <optional>

#include "catalogue/loans.h"
#include "cli/collection.h"
#include "cli/dates.h"
#include "cli/failures.h"
#include "cli/input.h"
#include "cli/items.h"
#include "cli/options.h"
#include "support/text.h"
#include "verbs/verbs.h"

namespace tessaron::tool {
namespace {

constexpr std::int32_t kLent = 0, kBorrowed = 1;

struct Options {
  std::string collection;
  std::vector<std::string> items;
  std::optional<std::string> who;
  std::optional<std::string> until;
  std::string on = "today";
  std::int32_t status = kLent;
  bool begins = true;
};

/// A line of standard input, or an argument: an item and a person.
struct Named {
  std::string item;
  std::string who;
};

/// The lines of standard input as ITEM, or ITEM, a tab and WHO. Empty lines are skipped.
std::vector<Named> readNames(const std::string& who) {
  std::vector<Named> names;
  const std::string text = readInput("-");
  std::size_t line = 0;
  for (std::size_t at = 0; at < text.size();) {
    const std::size_t end = std::min(text.find('\n', at), text.size());
    std::string item = text.substr(at, end - at);
    at = end + 1;
    ++line;
    if (item.ends_with('\r')) item.pop_back();
    const std::size_t tab = item.find('\t');
    Named named{item.substr(0, tab), tab == item.npos ? who : item.substr(tab + 1)};
    if (itemName(item).empty()) continue;
    if (itemName(named.item).empty())
      throw Failure{kUsage, fmt::format("standard input:{}", line), "there is no item"};
    names.push_back(std::move(named));
  }
  return names;
}

std::vector<Named> namesOf(const Options& options) {
  const std::string who = options.who.value_or("");
  std::vector<Named> names;
  for (const std::string& item : options.items) {
    if (item != "-") {
      names.push_back({item, who});
      continue;
    }
    for (Named& named : readNames(who)) names.push_back(std::move(named));
  }
  return names;
}

std::vector<LoanEdit::Order> ordersOf(const Options& options) {
  const std::uint16_t today = localToday();
  const std::uint16_t on = parseDate(options.on, today);
  CLoan loan;
  loan.status = options.status;
  if (options.begins) loan.begin = on;
  if (options.until) loan.end = parseDate(*options.until, today);
  if (!options.begins) loan.returned = on;
  std::vector<LoanEdit::Order> orders;
  for (const Named& named : namesOf(options)) {
    loan.who = itemName(named.who);
    if (options.begins && loan.who.empty())
      throw Failure{
          kUsage,
          {},
          named.item + ": tell who, with " + (options.status == kLent ? "--to" : "--from")};
    orders.push_back({itemName(named.item), loan, options.begins});
  }
  return orders;
}

int run(const Options& options, const Context& context) {
  const std::vector<LoanEdit::Order> orders = ordersOf(options);
  LoanEdit edit(orders);
  changeCollection(options.collection, EditMode::Existing, edit);
  if (!edit.error().empty())
    throw Failure{
        kFailed, options.collection,
        fmt::format("{}: {}; nothing is changed", toUtf8(edit.failed().asin), edit.error())};
  const char* what = !options.begins ? "returned" : options.status == kLent ? "lent" : "borrowed";
  note(context, orders.size() == 1 ? fmt::format("{} {}", toUtf8(orders.front().asin), what)
                                   : fmt::format("{} items {}", orders.size(), what));
  return kDone;
}

std::shared_ptr<Options> addVerb(CLI::App& verb, Context& context) {
  const auto options = std::make_shared<Options>();
  addCollectionOption(verb, options->collection, true);
  requireItemName(*verb.add_option("ITEM", options->items, "The items; - reads them")->required());
  verb.callback([&context, options] {
    context.run = [&context, options] { return run(*options, context); };
  });
  return options;
}

std::string footerOf(const std::string& first) {
  return first +
         "\nAn item - is standard input: one item a line, with a tab and WHO behind it where that "
         "differs.\nAll items are changed, or none. DATE is YYYY-MM-DD, today, tomorrow or +14d.";
}

void addLoanOptions(CLI::App& verb, Options& options, const char* whoOption) {
  verb.add_option(whoOption, options.who, "The person")->type_name("WHO");
  verb.add_option("--until", options.until, "When it is due")->type_name("DATE");
  verb.add_option("--since", options.on, "When the loan began")
      ->type_name("DATE")
      ->capture_default_str();
}

}  // namespace

void addLend(CLI::App& app, Context& context) {
  CLI::App* verb = app.add_subcommand("lend", "Notes that items are lent to somebody");
  verb->footer(footerOf(
      "An item can be lent as often as there are copies of it (set --field copies=2). Its status\n"
      "is that of the loan which is due first. loans lists all of them."));
  addLoanOptions(*verb, *addVerb(*verb, context), "--to");
}

void addBorrow(CLI::App& app, Context& context) {
  CLI::App* verb = app.add_subcommand("borrow", "Notes that items are borrowed from somebody");
  verb->footer(footerOf("The items must be in the collection, and neither lent nor borrowed."));
  const auto options = addVerb(*verb, context);
  options->status = kBorrowed;
  addLoanOptions(*verb, *options, "--from");
}

void addReturn(CLI::App& app, Context& context) {
  CLI::App* verb = app.add_subcommand("return", "Notes that lent or borrowed items are back");
  verb->footer(footerOf("The loan stays in the item's history; see loans --all."));
  const auto options = addVerb(*verb, context);
  options->begins = false;
  verb->add_option("--from", options->who, "Whose loan ends, where several have a copy")
      ->type_name("WHO");
  verb->add_option("--on", options->on, "When it came back")
      ->type_name("DATE")
      ->capture_default_str();
}

}  // namespace tessaron::tool
