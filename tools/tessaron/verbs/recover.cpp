#include <fmt/format.h>

#include <filesystem>
#include <memory>

#include "catalogue/recovery.h"
#include "cli/failures.h"
#include "cli/input.h"
#include "cli/options.h"
#include "cli/output.h"
#include "cli/paths.h"
#include "verbs/verbs.h"

namespace tessaron::tool {
namespace {

struct Options {
  std::string damaged;
  std::string out;
  bool force = false;
};

std::string counted(std::size_t items) {
  return fmt::format("{} item{}", items, items == 1 ? "" : "s");
}

bool isRegularFile(const std::string& path) {
  std::error_code error;
  return std::filesystem::is_regular_file(filePath(path), error);
}

/// Writes the items that can be saved. Fails when there are none.
Recovery save(const Options& options) {
  Input damaged(options.damaged);
  const bool isFile = !options.out.empty() && options.out != "-";
  const auto toOutput = [](std::string_view text) {
    print(text);
    return true;
  };
  const auto discard = [](std::string_view) { return true; };
  Recovery recovery = editSession().isTrial ? recover(damaged, discard)
                      : isFile              ? recoverCollection(damaged, widePath(options.out))
                                            : recover(damaged, toOutput);
  damaged.requireRead();
  const std::string name = displayName(options.damaged);
  if (recovery.readError) throw Failure{kNoInput, name, recovery.readError.message};
  if (recovery.writeError) throwWriteFailure(options.out, recovery.writeError);
  if (!isFile) flushOutput();
  if (recovery.items > 0) return recovery;
  if (recovery.faults.empty()) throw Failure{kFailed, name, "no item to save; not damaged"};
  const XmlError& error = recovery.faults.front().error;
  throw Failure{error.kind == XmlError::Kind::UnknownEncoding ? kBadData : kFailed, name,
                fmt::format("no item to save; damaged at line {}, column {}: {}", error.line,
                            error.column, error.message)};
}

int run(const Options& options, const Context& context) {
  requireOtherFile(options.out, options.damaged);
  if (!options.force && isRegularFile(options.out))
    throw Failure{kCannotCreate, options.out, "the file exists; --force replaces it"};
  const Recovery recovery = save(options);
  const std::string name = displayName(options.damaged);
  for (const auto& [error, itemsBehind] : recovery.faults) {
    note(context, fmt::format("{}:{}:{}: {}; {} behind it", name, error.line, error.column,
                              error.message, counted(itemsBehind)));
  }
  if (recovery.furtherFaults > 0)
    note(context, fmt::format("{}: {} further places of damage", name, recovery.furtherFaults));
  note(context,
       fmt::format("{}: {}, {} saved", name, recovery.faults.empty() ? "not damaged" : "damaged",
                   counted(recovery.items)));
  return kDone;
}

}  // namespace

void addRecover(CLI::App& app, Context& context) {
  const auto options = std::make_shared<Options>();
  CLI::App* verb = app.add_subcommand("recover", "Saves all whole items of a damaged collection");
  verb->footer(
      "Every place of damage is told, with the number of saved items behind it. Items that are\n"
      "damaged themselves are left out.");
  verb->add_option("DAMAGED", options->damaged, "The damaged collection's file")->required();
  addOutputOption(*verb, options->out);
  addDryRunFlag(*verb, "Tell what can be saved, write nothing");
  verb->add_flag("--force", options->force, "Replace the output if it exists");
  verb->callback([&context, options] {
    context.run = [&context, options] { return run(*options, context); };
  });
}

}  // namespace tessaron::tool
