#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <memory>
#include <optional>

#include "catalogue/item_addition.h"
#include "catalogue/item_key.h"
#include "cli/collection.h"
#include "cli/dates.h"
#include "cli/failures.h"
#include "cli/fields.h"
#include "cli/options.h"
#include "cli/output.h"
#include "cli/settings_store.h"
#include "records/product_number.h"
#include "settings/collation.h"
#include "support/ascii.h"
#include "support/text.h"
#include "verbs/verbs.h"

namespace tessaron::tool {
namespace {

struct Options {
  std::string collection;
  std::string title;
  std::vector<std::string> authors;
  std::vector<std::string> artists;
  std::vector<std::string> directors;
  std::optional<std::string> group;
  std::optional<std::string> ean;
  std::optional<std::string> upc;
  std::optional<std::string> isbn;
  std::vector<std::string> fields;
  bool again = false;
};

/// A product group in the web service's spelling, so that "book" is none beside "Book".
std::u16string groupName(const std::string& group) {
  constexpr std::array<std::string_view, 6> kGroups = {"Book",     "DVD",   "Music",
                                                       "Software", "Video", "Video Games"};
  const auto* known = std::ranges::find_if(
      kGroups, [&](std::string_view each) { return equalIgnoringCase(each, group); });
  return fromUtf8(known == kGroups.end() ? std::string_view(group) : *known);
}

/// The digits of a product number. Fails with kUsage when its check digit is wrong.
std::u16string digitsOf(const char* option, const std::optional<std::string>& number) {
  if (!number || number->empty()) return {};
  std::u16string digits = fromUtf8(*number);
  if (!productNumber(digits))
    throw Failure{kUsage,
                  {},
                  fmt::format("{}: {} is no such number: its digits, or the check digit, are wrong",
                              option, *number)};
  std::erase_if(digits, [](char16_t c) { return c == u'-' || c == u' '; });
  return digits;
}

void setPeople(CRecord& record, const char* column, const std::vector<std::string>& names) {
  std::vector<std::u16string> values;
  for (const std::string& name : names)
    if (!name.empty()) values.push_back(fromUtf8(name));
  if (!values.empty()) setField(record, {recordColumn(column), {}}, values);
}

CRecord makeRecord(const Options& options) {
  CRecord record;
  record.Title = fromUtf8(options.title);
  if (options.group) record.ProductGroup = groupName(*options.group);
  record.EAN = digitsOf("--ean", options.ean);
  record.UPC = digitsOf("--upc", options.upc);
  record.ISBN = digitsOf("--isbn", options.isbn);
  record.DateAdded = localToday();
  setPeople(record, "authors", options.authors);
  setPeople(record, "artists", options.artists);
  setPeople(record, "directors", options.directors);
  const CRecord given = record;
  for (const FieldValues& field : parseFields(options.fields))
    setFieldOf(record, field, options.collection);
  if (const std::string reason = recordError(given, record); !reason.empty())
    throw Failure{kUsage, {}, reason};
  record.postProcess();
  return record;
}

std::string knownReason(const ItemAddition& addition) {
  const ItemAddition::Known& known = *addition.known();
  const bool isMade = isMadeKey(known.key);
  return fmt::format("{} \"{}\" {}; nothing is added", toUtf8(known.key), toUtf8(known.title),
                     !known.hasSameKey ? "has that EAN, UPC or ISBN already (--again adds a copy)"
                     : isMade          ? "is that item already (--again adds a copy)"
                                       : "has that key already");
}

int run(const Options& options, const Context&) {
  using Copies = ItemAddition::Copies;
  loadSetting(u"CollationOption", _Config);
  ItemAddition addition(makeRecord(options), options.again ? Copies::Allowed : Copies::Refused,
                        CCollationSystem::ApplyToRecord);
  changeCollection(options.collection, EditMode::Create, addition);
  if (addition.known()) throw Failure{kFailed, options.collection, knownReason(addition)};
  print(toUtf8(addition.record().ASIN) + '\n');
  return kDone;
}

}  // namespace

void addAdd(CLI::App& app, Context& context) {
  const auto options = std::make_shared<Options>();
  CLI::App* verb = app.add_subcommand("add", "Adds an item by hand and prints its key");
  verb->footer(
      "Without an ASIN (--field ASIN=...) the item gets a key that is made of its EAN, UPC or "
      "ISBN,\n"
      "or else of its title, first person and group. An item that is there already is told and "
      "not\n"
      "added. Names and titles become what they sort by (see sortform and the setting\n"
      "CollationOption). --field takes the same names and values as that of set. A collection "
      "that\n"
      "is not there yet is created.");
  addCollectionOption(*verb, options->collection, true);
  verb->add_option("--title", options->title, "The item's title")
      ->required()
      ->type_name("TEXT")
      ->check([](const std::string& value) {
        return value.find_first_not_of(" \t") == value.npos ? "the title is empty" : "";
      });
  const auto addPeople = [&](const char* name, std::vector<std::string>& people) {
    verb->add_option(name, people, "Who made it; again for more")
        ->type_name("NAME")
        ->allow_extra_args(false);
  };
  addPeople("--author", options->authors);
  addPeople("--artist", options->artists);
  addPeople("--director", options->directors);
  verb->add_option("--group", options->group, "What it is: book, music, DVD, software, ...")
      ->type_name("NAME");
  verb->add_option("--ean", options->ean, "The number of its bar code")->type_name("NUMBER");
  verb->add_option("--upc", options->upc, "The same with 12 digits")->type_name("NUMBER");
  verb->add_option("--isbn", options->isbn, "The number of a book")->type_name("NUMBER");
  verb->add_option("--field", options->fields, "Any other field; again for more")
      ->type_name("NAME=VALUE")
      ->allow_extra_args(false);
  verb->add_flag("--again", options->again, "Add it even if an item with that number is there");
  verb->callback([&context, options] {
    context.run = [&context, options] { return run(*options, context); };
  });
}

}  // namespace tessaron::tool
