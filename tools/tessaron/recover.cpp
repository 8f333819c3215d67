#include <fmt/format.h>

#include <filesystem>
#include <memory>

#include "verbs.h"

namespace tessaron::tool {
namespace {

struct Options {
  std::string damaged;
  std::string out;
};

int run(const Options& options, const Context& context) {
  std::error_code error;
  if (std::filesystem::equivalent(options.damaged, options.out, error))
    throw Failure{kUsage, options.out, "this is the damaged file itself; choose another one"};
  const Recovery recovery = recover(readInput(options.damaged));
  const std::string name = displayName(options.damaged);
  const std::string fault =
      recovery.fault ? fmt::format("damaged at line {}, column {}: {}", recovery.fault.line,
                                   recovery.fault.column, recovery.fault.message)
                     : "not damaged";
  if (recovery.items == 0) throw Failure{kFailed, name, "no item to save; " + fault};
  if (options.out == "-") {
    print(recovery.text);
    flushOutput();
  } else {
    writeOutput(options.out, recovery.text);
  }
  note(context, fmt::format("{}: {}", name, fault));
  note(context, fmt::format("{} item{} saved", recovery.items, recovery.items == 1 ? "" : "s"));
  return kDone;
}

}  // namespace

void addRecover(CLI::App& app, Context& context) {
  const auto options = std::make_shared<Options>();
  CLI::App* verb =
      app.add_subcommand("recover", "Saves all complete items of a damaged collection");
  verb->add_option("DAMAGED", options->damaged, "The damaged collection's file")->required();
  verb->add_option("-o,--output", options->out, "Where to write what could be saved")
      ->type_name("FILE")
      ->required();
  verb->callback([&context, options] {
    context.run = [&context, options] { return run(*options, context); };
  });
}

}  // namespace tessaron::tool
