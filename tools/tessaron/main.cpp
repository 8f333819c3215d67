// The command line of the catalogue: chooses the verb, prints its failure, gives the exit code.

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <csignal>
#include <exception>
#include <new>
#include <sstream>

#include "cli/failures.h"
#include "cli/options.h"
#include "cli/output.h"
#include "platform/registry.h"
#include "support/text.h"
#include "verbs/verbs.h"

namespace {

using namespace tessaron::tool;

/// Says so when damaged settings were quarantined, by whichever verb.
void tellQuarantined() {
  const std::u16string path = tessaron::takeQuarantinedStore();
  if (!path.empty())
    warn("settings: the file was damaged and is now " + tessaron::toUtf8(path) +
         "; all others have their defaults");
}

int fail(const Failure& failure) {
  tellQuarantined();
  warn(failure.where.empty() ? failure.reason : failure.where + ": " + failure.reason);
  return failure.code;
}

/// Takes up standard streams that the caller has closed, so that no file of ours gets their numbers
/// and then our messages. Using one of them still fails.
void occupyStandardStreams() {
  for (const int stream : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) {
    if (::fcntl(stream, F_GETFD) != -1) continue;
    [[maybe_unused]] const int taken =
        ::open("/dev/null", stream == STDIN_FILENO ? O_WRONLY : O_RDONLY);
  }
}

std::vector<std::string> namesOf(const std::vector<const CLI::App*>& verbs) {
  std::vector<std::string> names;
  for (const CLI::App* verb : verbs) names.push_back(verb->get_name());
  return names;
}

/// Lets no flag take a value: "--json=false" would count as given, or not, depending on the flag.
void refuseFlagValues(CLI::App& app) {
  for (CLI::Option* option : app.get_options())
    if (option->get_expected_max() == 0) option->disable_flag_override();
  for (CLI::App* verb : app.get_subcommands([](CLI::App*) { return true; }))
    refuseFlagValues(*verb);
}

std::string inQuotes(std::string_view word) { return '"' + std::string(word) + '"'; }

std::string guess(const std::string& word, const std::vector<std::string>& candidates) {
  const std::string_view meant = nearest(word, candidates);
  return meant.empty() ? "" : "; did you mean " + std::string(meant) + '?';
}

/// What is wrong with the command line: the parser's words, unless a verb or an option is not one
/// of ours.
std::string usageFault(const CLI::App& app, const CLI::ParseError& error) {
  const CLI::App* chosen = &app;
  std::vector<std::string> options;
  std::string of;
  for (;;) {
    for (const CLI::Option* option : chosen->get_options())
      for (const std::string& name : option->get_lnames()) options.push_back("--" + name);
    const auto deeper = chosen->get_subcommands();
    if (deeper.empty() || deeper.front()->get_name().empty()) break;
    chosen = deeper.front();
    of += (of.empty() ? "" : " ") + chosen->get_name();
  }
  if (!of.empty()) of += ": ";
  // Groups of options count as subcommands without a name.
  const auto isVerb = [](const CLI::App* each) { return !each->get_name().empty(); };
  const std::vector<std::string> verbs = namesOf(chosen->get_subcommands(isVerb));
  const std::vector<std::string> unknown = app.remaining(true);
  const bool missing = dynamic_cast<const CLI::RequiredError*>(&error) != nullptr;
  const bool needsVerb = missing && !verbs.empty();
  const bool extra = dynamic_cast<const CLI::ExtrasError*>(&error) != nullptr;
  const std::string reason = error.what();
  constexpr std::string_view kFlagValue = " was given a disallowed flag override";
  if (reason.ends_with(kFlagValue)) {
    const std::string flag = reason.substr(0, reason.size() - kFlagValue.size());
    return of + inQuotes((flag.size() == 1 ? "-" : "--") + flag) + " takes no value";
  }
  if (!extra && !missing) return reason;

  const auto isOption = [](const std::string& word) { return word.starts_with('-'); };
  const auto word = std::find_if_not(unknown.begin(), unknown.end(), isOption);
  const std::string all = CLI::detail::join(verbs, ", ");
  if (needsVerb && word != unknown.end()) {
    const std::string meant = guess(*word, verbs);
    return of + inQuotes(*word) + " is no verb" + (meant.empty() ? "; there are " + all : meant);
  }
  const auto option = std::find_if(unknown.begin(), unknown.end(), isOption);
  if (option != unknown.end()) {
    const std::string name = option->substr(0, option->find('='));
    if (!needsVerb && chosen->get_option_no_throw(name) != nullptr)
      return of + inQuotes(name) + " must come after the verb";
    return of + inQuotes(name) + " is no option" + guess(name, options);
  }
  if (needsVerb) return of + "a verb is required, one of " + all;
  if (extra && word != unknown.end()) return of + inQuotes(*word) + " is not expected";
  return error.what();
}

int run(int argc, char** argv) {
  Context context;
  CLI::App app("Keeps a catalogue of books, music, films and games in one XML file.", "tessaron");
  app.set_version_flag("--version", "tessaron " TESSARON_VERSION);
  app.set_help_all_flag("--help-all", "The options of all verbs");
  app.add_flag("-q,--quiet", context.quiet, "No messages and no progress on standard error");
  app.add_option("--color", context.color, "Colours in tables")
      ->check(CLI::IsMember({"auto", "always", "never"}))
      ->type_name("auto|always|never")
      ->capture_default_str();
  app.require_subcommand(1);
  app.fallthrough();
  app.footer(
      "FILE may be - for standard input where it is only read.\n"
      "Exit codes: 0 done; 1 nothing found, or not possible; 2 usage; 65 damaged or foreign data;\n"
      "66 no such input; 73 or 74 cannot write.");
  for (const auto add : {addImport, addList, addShow, addSet, addRemove, addDue, addExport,
                         addRecover, addCart, addCache, addSettings, addStats, addChart,
                         addSortForm, addSort, addCodec, addScan, addTheme})
    add(app, context);
  refuseFlagValues(app);

  try {
    app.parse(argc, argv);
  } catch (const CLI::ParseError& error) {
    if (error.get_exit_code() != 0)
      return fail({kUsage, {}, usageFault(app, error) + " (--help tells the usage)"});
    std::ostringstream text;  // what --help and --version ask for
    app.exit(error, text, text);
    print(text.str());
    if (!text.str().ends_with('\n')) print("\n");
    flushOutput();
    return kDone;
  }
  const int code = context.run();
  flushOutput();
  tellQuarantined();
  return code;
}

/// Runs the verb and prints its failure. Throws nothing but bad_alloc.
int runAndTell(int argc, char** argv, bool isPipeSignalIgnored) {
  try {
    return run(argc, argv);
  } catch (const Failure& failure) {
    return fail(failure);
  } catch (const BrokenPipe&) {
    // A caller who ignores the signal wants to be told.
    if (isPipeSignalIgnored) return fail({kCannotWrite, "standard output", "Broken pipe"});
    std::signal(SIGPIPE, SIG_DFL);
    std::raise(SIGPIPE);
    return kCannotWrite;  // the signal is blocked
  } catch (const std::bad_alloc&) {
    throw;
  } catch (const std::exception& error) {
    return fail({kFailed, {}, error.what()});
  }
}

}  // namespace

int main(int argc, char** argv) {
  occupyStandardStreams();
  // A reader that went away and a limit on file sizes are write errors like any other, so that
  // locks are released and no temporary file stays.
  const auto pipeHandler = std::signal(SIGPIPE, SIG_IGN);
  std::signal(SIGXFSZ, SIG_IGN);
  try {
    return runAndTell(argc, argv, pipeHandler == SIG_IGN);
  } catch (const std::bad_alloc&) {
    // Nothing may be allocated here.
    constexpr std::string_view kMessage = "tessaron: out of memory\n";
    [[maybe_unused]] const ssize_t ignored =
        ::write(STDERR_FILENO, kMessage.data(), kMessage.size());
    return kFailed;
  }
}
