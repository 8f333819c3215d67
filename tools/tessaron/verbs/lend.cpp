// The verbs that begin and end loans: lend, borrow, return.

#include <fmt/format.h>

#include <memory>
#include <optional>
#include <span>
#include <sstream>

#include "catalogue/loans.h"
#include "cli/collection.h"
#include "cli/dates.h"
#include "cli/failures.h"
#include "cli/input.h"
#include "cli/items.h"
#include "cli/options.h"
#include "cli/selection.h"
#include "records/field_text.h"
#include "support/text.h"
#include "verbs/verbs.h"

namespace tessaron::tool {
namespace {

constexpr std::int32_t kLent = 0, kBorrowed = 1;

struct Options {
  std::string collection;
  std::vector<std::string> items;
  std::optional<std::string> query;
  std::optional<std::string> who;
  std::optional<std::string> until;
  std::string on = "today";
  std::int32_t status = kLent;
  bool begins = true;
};

/// An item and a person, as an argument or a line of standard input gives them.
struct Named {
  std::string item;
  std::string who;
};

/// The lines of standard input: ITEM, or ITEM, a tab and WHO. Blank lines are skipped.
std::vector<Named> readNames(const std::string& who) {
  std::vector<Named> names;
  std::istringstream lines(readInput("-"));
  std::string line;
  while (std::getline(lines, line)) {
    if (line.ends_with('\r')) line.pop_back();
    const std::size_t tab = line.find('\t');
    if (line.find_first_not_of(" \t") == line.npos) continue;
    names.push_back({line.substr(0, tab), tab == line.npos ? who : line.substr(tab + 1)});
  }
  return names;
}

std::vector<Named> namesOf(const Options& options) {
  const std::string who = options.who.value_or("");
  std::vector<Named> names;
  if (options.query) names.push_back({*options.query, who});
  for (const std::string& item : options.items) {
    if (item == "-") {
      for (Named& named : readNames(who)) names.push_back(std::move(named));
    } else {
      names.push_back({item, who});
    }
  }
  if (names.empty()) throw Failure{kFailed, {}, "standard input names no item"};
  return names;
}

/// The loans that are to begin or to end, one for each name.
std::vector<CLoan> loansOf(const Options& options, const std::vector<Named>& names) {
  const std::uint16_t today = localToday();
  const std::uint16_t on = parseDate(options.on, today);
  CLoan loan;
  loan.status = options.status;
  (options.begins ? loan.begin : loan.returned) = on;
  if (options.until) loan.end = parseDate(*options.until, today);
  std::vector<CLoan> loans;
  for (const Named& named : names) {
    const std::u16string who = fromUtf8(named.who);
    loan.who = trimmed(who);
    if (options.begins && loan.who.empty())
      throw Failure{
          kUsage,
          {},
          named.item + ": tell who, with " + (options.status == kLent ? "--to" : "--from")};
    loans.push_back(loan);
  }
  return loans;
}

/// Begins or ends the loans of one item. Fails, naming the item as `nameOf` does.
template <typename NameOf>
ItemChange lendItem(const Options& options, const ItemStream& items, std::span<const CLoan> loans,
                    const NameOf& nameOf) {
  CRecord known;
  items.read(known);
  CRecord record = known;
  for (std::size_t i = 0; i < loans.size(); ++i) {
    const CLoan& loan = loans[i];
    const std::string error =
        options.begins ? beginLoan(record, loan) : endLoan(record, loan.who, loan.returned);
    if (!error.empty())
      throw Failure{kFailed, options.collection,
                    fmt::format("{}: {}; nothing is changed", nameOf(i), error)};
  }
  return changeTo(items, known, record);
}

std::vector<std::u16string> changeLoans(const Options& options) {
  const std::vector<Named> names = namesOf(options);
  const std::vector<CLoan> loans = loansOf(options, names);
  if (options.query)
    return changeMatching(options.collection, *options.query, [&](const ItemStream& items) {
      return lendItem(options, items, loans, [&](std::size_t) { return toUtf8(items.asin()); });
    });
  std::vector<std::string> items;
  items.reserve(names.size());
  for (const Named& named : names) items.push_back(named.item);
  const auto action = [&](const ItemStream& item, std::span<const std::size_t> meant) {
    std::vector<CLoan> own;
    for (const std::size_t i : meant) own.push_back(loans[i]);
    return lendItem(options, item, own, [&](std::size_t i) { return items[meant[i]]; });
  };
  return changeItems(options.collection, items, SameKey::First, action);
}

int run(const Options& options, const Context& context) {
  requireItems(options.items, options.query);
  const std::vector<std::u16string> changed = changeLoans(options);
  const char* what = !options.begins ? "returned" : options.status == kLent ? "lent" : "borrowed";
  note(context, changed.size() == 1 ? fmt::format("{} {}", toUtf8(changed.front()), what)
                                    : fmt::format("{} items {}", changed.size(), what));
  return kDone;
}

std::shared_ptr<Options> addVerb(CLI::App& verb, Context& context) {
  auto options = std::make_shared<Options>();
  addCollectionOption(verb, options->collection, true);
  addItemArguments(verb, options->items);
  addQueryOption(verb, options->query);
  verb.callback([&context, options] {
    context.run = [&context, options] { return run(*options, context); };
  });
  return options;
}

std::string footerOf(const std::string& first) {
  return first + '\n' + kItemsHelp +
         "\nA line of standard input may name the person, too: ITEM, a tab, WHO.\n"
         "DATE is YYYY-MM-DD, today, tomorrow, or +14d for days from today.";
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
