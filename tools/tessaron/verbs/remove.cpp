#include <fmt/format.h>

#include <map>
#include <memory>
#include <numeric>

#include "cli/collection.h"
#include "cli/failures.h"
#include "cli/items.h"
#include "cli/options.h"
#include "verbs/verbs.h"

namespace tessaron::tool {
namespace {

struct Options {
  std::string collection;
  std::vector<std::string> asins;
};

/// Removes all items with given ASINs.
class RemoveEdit : public ItemEdit {
 public:
  explicit RemoveEdit(const Options& options) : options_(options) {
    for (const std::string& asin : options.asins) found_.emplace(itemName(asin), 0);
  }

  ItemChange change(const ItemStream& items) override {
    const auto wanted = found_.find(items.asin());
    if (wanted == found_.end()) return {};
    ++wanted->second;
    return {ItemChange::Kind::Drop, {}};
  }

  std::string addition() override {
    for (const std::string& asin : options_.asins) {
      if (found_.at(itemName(asin)) == 0)
        throw Failure{kFailed, options_.collection, "no item " + asin + "; nothing is removed"};
    }
    return {};
  }

  std::size_t count() const {
    return std::accumulate(found_.begin(), found_.end(), std::size_t{0},
                           [](std::size_t sum, const auto& each) { return sum + each.second; });
  }

 private:
  const Options& options_;
  std::map<std::u16string, std::size_t> found_;  // number of items with each ASIN
};

int run(const Options& options, const Context& context) {
  RemoveEdit edit(options);
  changeCollection(options.collection, EditMode::Existing, edit);
  note(context, fmt::format("{} item{} removed", edit.count(), edit.count() == 1 ? "" : "s"));
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
