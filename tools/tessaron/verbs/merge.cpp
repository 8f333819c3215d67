#include <fmt/format.h>

#include <filesystem>
#include <memory>
#include <system_error>

#include "catalogue/merge_collections.h"
#include "cli/collection.h"
#include "cli/failures.h"
#include "cli/options.h"
#include "cli/output.h"
#include "cli/paths.h"
#include "cli/uniting.h"
#include "verbs/verbs.h"

namespace tessaron::tool {
namespace {

struct Options {
  std::string collection;
  std::string other;
  bool ours = false;
  bool theirs = false;
  bool newer = false;
  bool json = false;
};

/// The side whose file was written last.
Side newerSide(const Options& options) {
  const auto timeOf = [](const std::string& path) {
    std::error_code error;
    const auto time = std::filesystem::last_write_time(filePath(path), error);
    if (error) throw Failure{kNoInput, displayName(path), error.message()};
    return time;
  };
  if (options.other == "-")
    throw Failure{kUsage, {}, "--newer needs a file: standard input tells no time"};
  const auto ours = timeOf(options.collection), theirs = timeOf(options.other);
  if (ours == theirs) return Side::None;
  return ours < theirs ? Side::Theirs : Side::Ours;
}

UnionRule ruleOf(const Options& options) {
  UnionRule rule;
  if (options.ours) rule.preferred = Side::Ours;
  if (options.theirs) rule.preferred = Side::Theirs;
  if (options.newer) rule = {newerSide(options), true};
  return rule;
}

void report(const MergeCollections::Counts& counts, const ConflictList& conflicts,
            const Options& options, const Context& context) {
  const bool isOpen = counts.openConflicts > 0;
  if (options.json) {
    printCounts(
        {{"added", counts.added}, {"changed", counts.changed}, {"unchanged", counts.unchanged}},
        conflicts);
  } else if (isOpen) {
    conflicts.print(context, "Ours", "Theirs");
  } else {
    print(fmt::format("added {}, changed {}, unchanged {}, conflicts {}{}\n", counts.added,
                      counts.changed, counts.unchanged, counts.conflicts,
                      editSession().isTrial ? " (nothing written)" : ""));
  }
  flushOutput();
}

int run(const Options& options, const Context& context) {
  std::error_code error;  // files that do not exist fail below
  if (options.other != "-" &&
      std::filesystem::equivalent(filePath(options.collection), filePath(options.other), error))
    throw Failure{kUsage, options.other, "a collection cannot be merged with itself"};
  ConflictList conflicts;
  MergeCollections merge(ruleOf(options), [&](const ItemConflicts& item) { conflicts.add(item); });
  requireCollection(options.collection, merge.readOurs(openForEdit(options.collection)), true);
  const XmlError theirError = merge.readTheirs(openSeekable(options.other));
  requireCollection(options.other, theirError, merge.isCollection());
  changeCollection(options.collection, EditMode::Existing, merge, !options.json);
  if (merge.readFailed())
    throw Failure{kNoInput, displayName(options.other), "it could not be read a second time"};
  requireSame(options.collection, merge.isOutdated());
  const MergeCollections::Counts& counts = merge.counts();
  report(counts, conflicts, options, context);
  if (counts.openConflicts == 0) return kDone;
  throw Failure{
      kFailed, options.collection,
      fmt::format("{} conflict{}; nothing is changed: choose --ours, --theirs or --newer, or make "
                  "them the same",
                  counts.openConflicts, counts.openConflicts == 1 ? "" : "s")};
}

}  // namespace

void addMerge(CLI::App& app, Context& context) {
  const auto options = std::make_shared<Options>();
  CLI::App* verb = app.add_subcommand("merge", "Takes over the items of another collection");
  verb->footer(
      "An item is the other's with the same ASIN or key, else with the same EAN, UPC or ISBN. "
      "What\n"
      "only one of the two has is kept: status, notes, icon, custom fields, and product data that\n"
      "yours lacks. Where both differ in what a person wrote, the conflicts are listed and "
      "nothing\n"
      "is changed (exit code 1), unless you say what counts. That is your status, notes, icon and\n"
      "custom fields, and all fields of an item of theirs that was entered by hand.\n"
      "--newer takes the status that began later, and all else from the file written last.");
  addCollectionOption(*verb, options->collection, true);
  verb->add_option("OTHER", options->other, "The other collection's file, which stays as it is")
      ->required();
  CLI::Option* ours =
      verb->add_flag("--ours", options->ours, "In conflicts your collection counts");
  CLI::Option* theirs =
      verb->add_flag("--theirs", options->theirs, "In conflicts the other collection counts");
  verb->add_flag("--newer", options->newer, "In conflicts the newer one counts")
      ->excludes(ours)
      ->excludes(theirs->excludes(ours));
  verb->add_flag("--json", options->json, "Print counts and conflicts as JSON");
  verb->callback([&context, options] {
    context.run = [&context, options] { return run(*options, context); };
  });
}

}  // namespace tessaron::tool
