#include "cli/undo.h"

#include <memory>

#include "cli/failures.h"
#include "cli/options.h"
#include "verbs/verbs.h"

namespace tessaron::tool {
namespace {

struct Options {
  std::string collection;
  std::size_t count = 1;
  bool redo = false;
};

int run(const Options& options, const Context& context) {
  for (const PastEdit& each : takeBack(options.collection, options.count, options.redo))
    note(context, nameOf(each) + " taken back");
  return kDone;
}

}  // namespace

void addUndo(CLI::App& app, Context& context) {
  const auto options = std::make_shared<Options>();
  CLI::App* verb = app.add_subcommand("undo", "Takes back the last edits of a collection");
  verb->footer(
      "Items that were changed or removed get back what they had, added ones go. All of the items\n"
      "must be as the edits left them; otherwise those that are not are told, and nothing "
      "changes.\n"
      "An undo is an edit, too: --redo takes it back. log lists the edits.");
  addCollectionOption(*verb, options->collection, true);
  verb->add_option("N", options->count, "How many edits")
      ->check(CLI::Range(std::size_t{1}, History::kMaxEdits))
      ->capture_default_str();
  verb->add_flag("--redo", options->redo, "Take back the last undo instead");
  verb->callback([&context, options] {
    context.run = [&context, options] { return run(*options, context); };
  });
}

}  // namespace tessaron::tool
