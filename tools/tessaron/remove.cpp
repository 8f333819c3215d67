#include <fmt/format.h>

#include <memory>
#include <set>

#include "items.h"
#include "verbs.h"

namespace tessaron::tool {
namespace {

struct Options {
  std::string collection;
  std::vector<std::string> asins;
};

int run(const Options& options, const Context& context) {
  std::size_t count = 0;
  editCollection(options.collection, EditMode::Existing, [&](Collection& collection) {
    std::set<std::u16string> asins;
    for (const std::string& asin : options.asins) {
      if (collection.find(itemName(asin)) == Collection::npos)
        throw Failure{kFailed, options.collection, "no item " + asin + "; nothing is removed"};
      asins.insert(itemName(asin));
    }
    for (std::size_t i = collection.records().size(); i-- > 0;) {
      if (!asins.contains(collection.records()[i].ASIN)) continue;
      collection.remove(i);
      ++count;
    }
  });
  note(context, fmt::format("{} item{} removed", count, count == 1 ? "" : "s"));
  return kDone;
}

}  // namespace

void addRemove(CLI::App& app, Context& context) {
  const auto options = std::make_shared<Options>();
  CLI::App* verb = app.add_subcommand("remove", "Removes items: all that are named, or none");
  addCollectionOption(*verb, options->collection, true);
  requireItemName(*verb->add_option("ASIN", options->asins, "The items")->required());
  verb->callback([&context, options] {
    context.run = [&context, options] { return run(*options, context); };
  });
}

}  // namespace tessaron::tool
