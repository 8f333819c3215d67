#include <fmt/format.h>

#include <memory>
#include <optional>

#include "cli/failures.h"
#include "cli/items.h"
#include "cli/options.h"
#include "cli/selection.h"
#include "support/text.h"
#include "verbs/verbs.h"

namespace tessaron::tool {
namespace {

struct Options {
  std::string collection;
  std::vector<std::string> items;
  std::optional<std::string> query;
};

int run(const Options& options, const Context& context) {
  requireItems(options.items, options.query);
  const auto dropNamed = [](const ItemStream&, std::span<const std::size_t>) {
    return ItemChange{ItemChange::Kind::Drop, {}};
  };
  const auto dropMatching = [](const ItemStream&) {
    return ItemChange{ItemChange::Kind::Drop, {}};
  };
  const std::vector<std::u16string> removed =
      options.query
          ? changeMatching(options.collection, *options.query, dropMatching)
          : changeItems(options.collection, itemNames(options.items), SameKey::All, dropNamed);
  note(context, removed.size() == 1 ? toUtf8(removed.front()) + " removed"
                                    : fmt::format("{} items removed", removed.size()));
  return kDone;
}

}  // namespace

void addRemove(CLI::App& app, Context& context) {
  const auto options = std::make_shared<Options>();
  CLI::App* verb = app.add_subcommand("remove", "Removes items: all that are named, or none");
  verb->footer(std::string(kItemsHelp) + "\nA key removes every item that has it.");
  addCollectionOption(*verb, options->collection, true);
  addItemArguments(*verb, options->items);
  addQueryOption(*verb, options->query);
  verb->callback([&context, options] {
    context.run = [&context, options] { return run(*options, context); };
  });
}

}  // namespace tessaron::tool
