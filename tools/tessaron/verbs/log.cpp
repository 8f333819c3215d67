#include <fmt/format.h>

#include <algorithm>
#include <memory>
#include <nlohmann/json.hpp>

#include "catalogue/history.h"
#include "cli/failures.h"
#include "cli/options.h"
#include "cli/output.h"
#include "cli/paths.h"
#include "output/csv.h"
#include "output/json.h"
#include "output/table.h"
#include "verbs/verbs.h"

namespace tessaron::tool {
namespace {

struct Options {
  std::string collection;
  std::string output;
  Form form = Form::Table;
};

const char* stateName(const PastEdit& edit) {
  if (edit.state == PastEdit::State::TakenBack) return "taken back";
  if (edit.state == PastEdit::State::Interrupted) return "interrupted";
  if (edit.isDamaged) return "damaged";
  return edit.isTooLarge ? "too large to take back" : "";
}

/// Such as "2 changed, 1 removed: EXB0000001, ...".
std::string changesText(const PastEdit& edit) {
  std::string text;
  if (edit.isDamaged) return text;
  const auto add = [&](std::size_t count, const char* what) {
    if (count > 0) text += fmt::format("{}{} {}", text.empty() ? "" : ", ", count, what);
  };
  add(edit.added, "added");
  add(edit.changed, "changed");
  add(edit.removed, "removed");
  const bool isOne = edit.added + edit.changed + edit.removed == 1;
  return text + ": " + edit.firstItem + (isOne ? "" : ", ...");
}

std::string verbText(const PastEdit& edit) {
  return edit.undoes == 0 ? edit.verb : fmt::format("{} {}", edit.verb, edit.undoes);
}

void writeRows(const std::vector<PastEdit>& edits, Form form, Output& output) {
  output.write(separatedRow(
      form, {"number", "time", "verb", "undoes", "added", "changed", "removed", "first", "state"}));
  for (const PastEdit& edit : edits) {
    output.write(
        separatedRow(form, {std::to_string(edit.number), edit.time, edit.verb,
                            edit.undoes == 0 ? "" : std::to_string(edit.undoes),
                            std::to_string(edit.added), std::to_string(edit.changed),
                            std::to_string(edit.removed), edit.firstItem, stateName(edit)}));
  }
}

void writeJson(const std::vector<PastEdit>& edits, Output& output) {
  auto array = nlohmann::ordered_json::array();
  for (const PastEdit& edit : edits) {
    const auto undoes =
        edit.undoes == 0 ? nlohmann::ordered_json() : nlohmann::ordered_json(edit.undoes);
    array.push_back({{"number", edit.number},
                     {"time", edit.time},
                     {"verb", edit.verb},
                     {"undoes", undoes},
                     {"added", edit.added},
                     {"changed", edit.changed},
                     {"removed", edit.removed},
                     {"first", edit.firstItem},
                     {"state", stateName(edit)}});
  }
  output.write(jsonText(array) + '\n');
}

int run(const Options& options, const Context& context) {
  std::error_code error;
  std::vector<PastEdit> edits = History(widePath(options.collection)).edits(error);
  if (error) throw Failure{kNoInput, options.collection, "its history: " + error.message()};
  std::ranges::reverse(edits);
  Output output(options.output);
  if (options.form == Form::Json) {
    writeJson(edits, output);
  } else if (options.form != Form::Table) {
    writeRows(edits, options.form, output);
  } else if (edits.empty()) {
    note(context, "no edit is known");
  } else {
    Table table({"No.", "When", "Verb", "Items", "State"});
    for (const PastEdit& edit : edits)
      table.add({{std::to_string(edit.number)},
                 {edit.localTime},
                 {verbText(edit)},
                 {changesText(edit)},
                 {stateName(edit)}});
    table.print(context, output);
  }
  output.finish();
  return kDone;
}

}  // namespace

void addLog(CLI::App& app, Context& context) {
  const auto options = std::make_shared<Options>();
  CLI::App* verb = app.add_subcommand("log", "Lists the edits of a collection, the latest first");
  verb->footer(
      "The last 50 edits are kept, at most 64 MiB of them, in $XDG_STATE_HOME/tessaron (or\n"
      "~/.local/state/tessaron). A collection that was moved or renamed begins anew.");
  addCollectionOption(*verb, options->collection, false);
  addFormFlags(*verb, options->form, {Form::Json, Form::Csv, Form::Tsv});
  addOutputOption(*verb, options->output);
  verb->callback([&context, options] {
    context.run = [&context, options] { return run(*options, context); };
  });
}

}  // namespace tessaron::tool
