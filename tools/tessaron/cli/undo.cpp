#include "cli/undo.h"

#include <fmt/format.h>

#include "cli/collection.h"
#include "cli/failures.h"
#include "cli/paths.h"

namespace tessaron::tool {
namespace {

/// Fails when not all of the edits were taken back; nothing has changed then.
void requireUndone(const std::string& path, std::size_t count, bool redo,
                   const UndoResult& result) {
  const std::string nothing = "; nothing is changed";
  if (result.readError)
    throw Failure{kNoInput, path, "its history: " + result.readError.message() + nothing};
  if (!result.unreadable.empty()) {
    const std::string which = result.edits.empty() ? "" : nameOf(result.edits.back()) + ": ";
    throw Failure{kFailed, path, which + result.unreadable + nothing};
  }
  if (result.missing > 0) {
    const char* what = redo ? "undo" : "edit";
    throw Failure{kFailed, path,
                  result.edits.empty() ? fmt::format("there is no {} to take back", what)
                                       : fmt::format("there are only {} {}s to take back{}",
                                                     result.edits.size(), what, nothing)};
  }
  if (result.conflictCount == 0) return;
  std::string items;
  for (const std::string& each : result.conflicts) items += (items.empty() ? "" : ", ") + each;
  if (result.conflictCount > result.conflicts.size())
    items += fmt::format(" and {} more", result.conflictCount - result.conflicts.size());
  throw Failure{kFailed, path,
                fmt::format("{} not as {} left {}: {}{}",
                            result.conflictCount == 1 ? "an item is" : "some items are",
                            count == 1 ? nameOf(result.edits.front()) : "the edits",
                            result.conflictCount == 1 ? "it" : "them", items, nothing)};
}

}  // namespace

std::string nameOf(const PastEdit& edit) {
  return fmt::format("edit {} ({}, {})", edit.number, edit.verb, edit.localTime);
}

std::vector<PastEdit> takeBack(const std::string& path, std::size_t count, bool redo) {
  EditOptions edit;
  edit.verb = redo ? "redo" : "undo";
  edit.isTrial = editSession().isTrial;
  TrialListing listing;
  if (edit.isTrial) edit.watch = [&](const EditedItem& item) { listing.add(item); };
  UndoResult result = undoEdits(widePath(path), edit, count, redo);
  requireEdited(path, result.edit);
  requireUndone(path, count, redo, result);
  listing.print();
  return std::move(result.edits);
}

}  // namespace tessaron::tool
