#include <memory>

#include "catalogue/item_addition.h"
#include "cli/collection.h"
#include "cli/failures.h"
#include "cli/new_item.h"
#include "cli/options.h"
#include "cli/output.h"
#include "cli/settings_store.h"
#include "settings/collation.h"
#include "support/text.h"
#include "verbs/verbs.h"

namespace tessaron::tool {
namespace {

struct Options {
  std::string collection;
  NewItem item;
  bool again = false;
};

int run(const Options& options, const Context&) {
  using Copies = ItemAddition::Copies;
  loadSetting(u"CollationOption", _Config);
  ItemAddition addition(makeRecord(options.item, options.collection),
                        options.again ? Copies::Allowed : Copies::Refused,
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
  verb->add_option("--title", options->item.title, "The item's title")
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
  addPeople("--author", options->item.authors);
  addPeople("--artist", options->item.artists);
  addPeople("--director", options->item.directors);
  verb->add_option("--group", options->item.group, "What it is: book, music, DVD, software, ...")
      ->type_name("NAME");
  verb->add_option("--ean", options->item.ean, "The number of its bar code")->type_name("NUMBER");
  verb->add_option("--upc", options->item.upc, "The same with 12 digits")->type_name("NUMBER");
  verb->add_option("--isbn", options->item.isbn, "The number of a book")->type_name("NUMBER");
  verb->add_option("--field", options->item.fields, "Any other field; again for more")
      ->type_name("NAME=VALUE")
      ->allow_extra_args(false);
  verb->add_flag("--again", options->again, "Add it even if an item with that number is there");
  verb->callback([&context, options] {
    context.run = [&context, options] { return run(*options, context); };
  });
}

}  // namespace tessaron::tool
