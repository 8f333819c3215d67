#include <fmt/format.h>

#include <memory>

#include "catalogue/history.h"
#include "cli/collection.h"
#include "cli/failures.h"
#include "cli/options.h"
#include "cli/paths.h"
#include "verbs/verbs.h"

namespace tessaron::tool {
namespace {

struct Options {
  std::string collection;
  std::size_t count = 1;
  bool redo = false;
};

std::string nameOf(const PastEdit& edit) {
  return fmt::format("edit {} ({}, {})", edit.number, edit.verb, edit.localTime);
}

/// Fails when not all of the edits were taken back; nothing has changed then.
void requireUndone(const Options& options, const UndoResult& result) {
  const std::string nothing = "; nothing is changed";
  if (result.readError)
    throw Failure{kNoInput, options.collection,
                  "its history: " + result.readError.message() + nothing};
  if (!result.unreadable.empty()) {
    const std::string which = result.edits.empty() ? "" : nameOf(result.edits.back()) + ": ";
    throw Failure{kFailed, options.collection, which + result.unreadable + nothing};
  }
  if (result.missing > 0) {
    const char* what = options.redo ? "undo" : "edit";
    throw Failure{kFailed, options.collection,
                  result.edits.empty() ? fmt::format("there is no {} to take back", what)
                                       : fmt::format("there are only {} {}s to take back{}",
                                                     result.edits.size(), what, nothing)};
  }
  if (result.conflictCount == 0) return;
  std::string items;
  for (const std::string& each : result.conflicts) items += (items.empty() ? "" : ", ") + each;
  if (result.conflictCount > result.conflicts.size())
    items += fmt::format(" and {} more", result.conflictCount - result.conflicts.size());
  throw Failure{kFailed, options.collection,
                fmt::format("{} not as {} left {}: {}{}",
                            result.conflictCount == 1 ? "an item is" : "some items are",
                            options.count == 1 ? nameOf(result.edits.front()) : "the edits",
                            result.conflictCount == 1 ? "it" : "them", items, nothing)};
}

int run(const Options& options, const Context& context) {
  EditOptions edit;
  edit.verb = options.redo ? "redo" : "undo";
  edit.isTrial = editSession().isTrial;
  TrialListing listing;
  if (edit.isTrial) edit.watch = [&](const EditedItem& item) { listing.add(item); };
  const UndoResult result =
      undoEdits(widePath(options.collection), edit, options.count, options.redo);
  requireEdited(options.collection, result.edit);
  requireUndone(options, result);
  listing.print();
  for (const PastEdit& each : result.edits) note(context, nameOf(each) + " taken back");
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
