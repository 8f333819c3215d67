// The command line of the catalogue: chooses the verb, prints its failure, gives the exit code.

#include <algorithm>
#include <cstdlib>
#include <exception>
#include <new>
#include <nlohmann/json.hpp>
#include <sstream>

#include "cli/failures.h"
#include "cli/options.h"
#include "cli/output.h"
#include "cli/selection.h"
#include "cli/version.h"
#include "manual/completion.h"
#include "output/json.h"
#include "platform/registry.h"
#include "platform/standard_streams.h"
#include "platform/system.h"
#include "scan/reading.h"
#include "support/spelling.h"
#include "support/text.h"
#include "verbs/verbs.h"

namespace {

using namespace tessaron::tool;

/// Warns when a verb has quarantined damaged settings.
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

std::vector<std::string> namesOf(const std::vector<const CLI::App*>& verbs) {
  std::vector<std::string> names;
  names.reserve(verbs.size());
  for (const CLI::App* verb : verbs) names.push_back(verb->get_name());
  return names;
}

/// Makes all flags refuse values: whether "--json=false" counts as given depends on the flag.
void refuseFlagValues(CLI::App& app) {
  for (CLI::Option* option : app.get_options())
    if (option->get_expected_max() == 0) option->disable_flag_override();
  for (CLI::App* verb : app.get_subcommands([](CLI::App*) { return true; }))
    refuseFlagValues(*verb);
}

std::string inQuotes(std::string_view word) { return '"' + std::string(word) + '"'; }

std::string guess(const std::string& word, const std::vector<std::string>& candidates) {
  const std::string meant = tessaron::nearestWord(word, candidates);
  return meant.empty() ? "" : "; did you mean " + std::string(meant) + '?';
}

/// The chosen verb; with nested verbs, the innermost one.
struct Chosen {
  const CLI::App* verb;
  std::string prefix;                ///< "settings set: " for messages; empty without a verb
  std::vector<std::string> options;  ///< that it takes, as "--name"
};

Chosen chosenVerb(const CLI::App& app) {
  Chosen chosen{&app, {}, {}};
  for (;;) {
    for (const CLI::Option* option : chosen.verb->get_options())
      for (const std::string& name : option->get_lnames()) chosen.options.push_back("--" + name);
    const auto deeper = chosen.verb->get_subcommands();
    if (deeper.empty() || deeper.front()->get_name().empty()) break;
    chosen.verb = deeper.front();
    chosen.prefix += (chosen.prefix.empty() ? "" : " ") + chosen.verb->get_name();
  }
  if (!chosen.prefix.empty()) chosen.prefix += ": ";
  return chosen;
}

/// The message for a flag that was given a value; empty for any other parser error.
std::string flagValueError(std::string_view reason) {
  constexpr std::string_view kFlagValue = " was given a disallowed flag override";
  if (!reason.ends_with(kFlagValue)) return {};
  const std::string flag(reason.substr(0, reason.size() - kFlagValue.size()));
  return inQuotes((flag.size() == 1 ? "-" : "--") + flag) + " takes no value";
}

/// The message for words that no verb takes; empty when there are none.
std::string unknownWordError(const Chosen& chosen, const std::vector<std::string>& words,
                             const std::vector<std::string>& verbs, bool needsVerb) {
  const auto isOption = [](const std::string& word) { return word.starts_with('-'); };
  const auto word = std::ranges::find_if_not(words, isOption);
  if (needsVerb && word != words.end()) {
    const std::string meant = guess(*word, verbs);
    return inQuotes(*word) + " is no verb" +
           (meant.empty() ? "; there are " + CLI::detail::join(verbs, ", ") : meant);
  }
  const auto option = std::ranges::find_if(words, isOption);
  if (option != words.end()) {
    const std::string name = option->substr(0, option->find('='));
    if (!needsVerb && chosen.verb->get_option_no_throw(name))
      return inQuotes(name) + " must come after the verb";
    return inQuotes(name) + " is no option" + guess(name, chosen.options);
  }
  return !needsVerb && word != words.end() ? inQuotes(*word) + " is not expected" : std::string();
}

/// The message for a wrong command line: the parser's, unless a verb or an option is unknown.
std::string usageError(const CLI::App& app, const CLI::ParseError& error) {
  const Chosen chosen = chosenVerb(app);
  const std::string flagError = flagValueError(error.what());
  if (!flagError.empty()) return chosen.prefix + flagError;
  const bool isMissing = dynamic_cast<const CLI::RequiredError*>(&error);
  const bool isExtra = dynamic_cast<const CLI::ExtrasError*>(&error);
  if (!isExtra && !isMissing) return error.what();
  // Groups of options count as subcommands without a name.
  const std::vector<std::string> verbs = namesOf(
      chosen.verb->get_subcommands([](const CLI::App* each) { return !each->get_name().empty(); }));
  const bool needsVerb = isMissing && !verbs.empty();
  std::vector<std::string> words = app.remaining(true);
  std::erase(words, "--");
  if (isMissing && !needsVerb)  // only unknown options explain why something is missing
    std::erase_if(words, [](const std::string& word) { return !word.starts_with('-'); });
  const std::string wordError = unknownWordError(chosen, words, verbs, needsVerb);
  if (!wordError.empty()) return chosen.prefix + wordError;
  if (needsVerb)
    return chosen.prefix + "a verb is required, one of " + CLI::detail::join(verbs, ", ");
  return error.what();
}

struct VerbGroup {
  const char* title;
  std::vector<void (*)(CLI::App&, Context&)> verbs;
};
/// As --help lists them.
const VerbGroup kVerbs[] = {
    {"Catalogue", {addUse, addImport, addAdd, addSet, addEdit, addRemove}},
    {"Look", {addList, addShow, addStats, addChart, addExport, addServe, addCart}},
    {"Lend", {addLend, addBorrow, addReturn, addLoans, addDue}},
    {"Put in order", {addLog, addUndo, addMerge, addDuplicates, addRecover}},
    {"Names and titles", {addSortForm, addSort}},
    {"Files", {addScan, addLink, addLinks, addRelink, addCodec, addCovers, addCache}},
    {"Program", {addSettings, addTheme, addHelp}},
};

/// Adds the verbs, and the options that all of them share.
void configure(CLI::App& app, Context& context) {
  app.set_version_flag("--version", std::string("tessaron ") + kVersion,
                       "Print the version; with --json also what it was built from");
  app.set_help_all_flag("--help-all", "The options of all verbs");
  app.add_flag("-q,--quiet", context.quiet, "No messages and no progress on standard error");
  app.add_option("--color", context.color, "Colours in tables")
      ->check(CLI::IsMember({"auto", "always", "never"}))
      ->type_name("auto|always|never")
      ->capture_default_str();
  app.allow_windows_style_options(false);  // "/tmp/shelf.xml" is a path
  app.require_subcommand(1);
  app.fallthrough();
  app.footer(
      "FILE may be - for standard input where it is only read.\n"
      "Exit codes: 0 done; 1 nothing found, or not possible; 2 usage; 65 damaged or foreign data;\n"
      "66 no such input; 73 or 74 cannot write.");
  for (const auto& [title, verbs] : kVerbs) {
    for (const auto add : verbs) {
      add(app, context);
      app.get_subcommands([](CLI::App*) { return true; }).back()->group(title);
    }
  }
  refuseFlagValues(app);
}

/// Whether the command line is --version with --json, which is no option of all verbs.
bool asksForVersionJson(const CLI::App& app, const CLI::ParseError& error) {
  return dynamic_cast<const CLI::CallForVersion*>(&error) &&
         app.remaining() == std::vector<std::string>{"--json"};
}

/// Prints what --help or --version asks for, or else the usage error. Returns the exit code.
int endParsing(const CLI::App& app, const CLI::ParseError& error) {
  if (error.get_exit_code() != 0)
    return fail({kUsage, {}, usageError(app, error) + " (--help tells the usage)"});
  if (asksForVersionJson(app, error)) {
    printJson(versionJson());
    flushOutput();
    return kDone;
  }
  std::ostringstream text;
  app.exit(error, text, text);
  print(text.str());
  if (!text.str().ends_with('\n')) print("\n");
  flushOutput();
  return kDone;
}

/// What to type first.
constexpr std::string_view kGreeting =
    "tessaron keeps a catalogue of books, music, films and games in one XML file. To begin:\n"
    "  tessaron use shelf.xml                               choose the collection's file\n"
    "  tessaron add --title \"My Book\" --author \"A. Writer\"  add an item by hand\n"
    "  tessaron list                                        see what is there\n"
    "  tessaron --help                                      all verbs; VERB --help explains one\n";

/// What the shells' completion says first; no verb, since the words behind it may be incomplete.
constexpr std::string_view kCompletion = "complete";  // then "--"

int run(const std::vector<std::string>& words) {
  if (words.size() <= 1) {
    print(kGreeting);
    flushOutput();
    return kDone;
  }
  Context context;
  CLI::App app("Keeps a catalogue of books, music, films and games in one XML file.", "tessaron");
  configure(app, context);
  if (words.size() > 2 && words[1] == kCompletion && words[2] == "--") {
    print(completionsOf(app, {words.begin() + 3, words.end()}));
    flushOutput();
    return kDone;
  }
  try {
    std::vector<std::string> arguments = reversedArguments(app, {words.begin() + 1, words.end()});
    app.parse(arguments);
  } catch (const CLI::ParseError& error) {
    return endParsing(app, error);
  }
  std::string& verb = editSession().verb;
  verb = chosenVerb(app).prefix;
  verb.resize(std::min(verb.find(':'), verb.size()));
  const int code = context.run();
  flushOutput();
  tellQuarantined();
  return code;
}

/// Runs the verb and prints its failure. Throws nothing but bad_alloc.
int runAndTell(const std::vector<std::string>& words) {
  try {
    return run(words);
  } catch (const Failure& failure) {
    return fail(failure);
  } catch (const BrokenPipe&) {
    tessaron::endByBrokenPipe();
    return fail({kCannotWrite, "standard output", "Broken pipe"});
  } catch (const std::bad_alloc&) {
    throw;
  } catch (const std::exception& error) {
    return fail({kFailed, {}, error.what()});
  }
}

/// Says so without allocating anything.
void tellOutOfMemory() {
  constexpr std::string_view kMessage = "tessaron: out of memory\n";
  [[maybe_unused]] const std::error_code ignored =
      tessaron::writeTo(tessaron::StandardStream::Error, kMessage);
}

/// Ends the program where memory runs out in a function that must not throw, as the parser of the
/// command line has some; anything else that gets here is a fault of the program.
[[noreturn]] void endWithoutMemory() {
  try {
    if (const std::exception_ptr cause = std::current_exception()) std::rethrow_exception(cause);
  } catch (const std::bad_alloc&) {
    tellOutOfMemory();
    std::_Exit(kFailed);
  } catch (...) {
  }
  std::abort();
}

}  // namespace

int main(int argc, char** argv) {
  std::set_terminate(endWithoutMemory);
  tessaron::prepareStandardStreams();
  try {
    const std::vector<std::string> words = tessaron::commandLine(argc, argv);
    if (words.size() == 2 && words[1] == kReaderArgument) return runReader();
    return runAndTell(words);
  } catch (const std::bad_alloc&) {
    tellOutOfMemory();
    return kFailed;
  }
}
