#include <fmt/format.h>

#include <memory>

#include "cli/failures.h"
#include "cli/items.h"
#include "cli/options.h"
#include "verbs/verbs.h"

namespace tessaron::tool {
namespace {

struct Options {
  std::string collection;
  std::vector<std::string> items;
};

int run(const Options& options, const Context& context) {
  const auto drop = [](const ItemStream&, std::span<const std::size_t>) {
    return ItemChange{ItemChange::Kind::Drop, {}};
  };
  const std::size_t count =
      changeItems(options.collection, itemNames(options.items), SameKey::All, drop).size();
  note(context, fmt::format("{} item{} removed", count, count == 1 ? "" : "s"));
  return kDone;
}

}  // namespace

void addRemove(CLI::App& app, Context& context) {
  const auto options = std::make_shared<Options>();
  CLI::App* verb = app.add_subcommand("remove", "Removes items: all that are named, or none");
  verb->footer(std::string(kItemsHelp) + "\nA key removes every item that has it.");
  addCollectionOption(*verb, options->collection, true);
  addItemArguments(*verb, options->items);
  verb->callback([&context, options] {
    context.run = [&context, options] { return run(*options, context); };
  });
}

}  // namespace tessaron::tool
