#include <fmt/format.h>
#include <sys/stat.h>

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
  struct stat status;
  return ::stat(path.c_str(), &status) == 0 && S_ISREG(status.st_mode);
}

int run(const Options& options, const Context& context) {
  requireOtherFile(options.out, options.damaged);
  if (!options.force && isRegularFile(options.out))
    throw Failure{kCannotCreate, options.out, "the file exists; --force replaces it"};
  const Recovery recovery = recover(readInput(options.damaged));
  const std::string name = displayName(options.damaged);
  if (recovery.items == 0) {
    if (recovery.faults.empty()) throw Failure{kFailed, name, "no item to save; not damaged"};
    const XmlError& fault = recovery.faults.front().fault;
    const bool unknown = fault.kind == XmlError::Kind::UnknownEncoding;
    throw Failure{unknown ? kBadData : kFailed, name,
                  fmt::format("no item to save; damaged at line {}, column {}: {}", fault.line,
                              fault.column, fault.message)};
  }
  writeResult(options.out, recovery.text);
  for (const Recovery::Fault& found : recovery.faults) {
    note(context, fmt::format("{}:{}:{}: {}; {} behind it", name, found.fault.line,
                              found.fault.column, found.fault.message, counted(found.itemsBehind)));
  }
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
  verb->add_flag("--force", options->force, "Replace the output if it exists");
  verb->callback([&context, options] {
    context.run = [&context, options] { return run(*options, context); };
  });
}

}  // namespace tessaron::tool
