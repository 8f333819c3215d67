// The command line of the catalogue: chooses the verb, prints its failure, gives the exit code.

#include <fcntl.h>
#include <unistd.h>

#include <csignal>
#include <exception>
#include <new>
#include <sstream>

#include "platform/registry.h"
#include "support/text.h"
#include "verbs.h"

namespace {

using namespace tessaron::tool;

/// Says so when the settings were damaged, whichever verb it was that came upon it.
void tellSetAside() {
  const std::u16string aside = tessaron::takeSetAsideStore();
  if (!aside.empty())
    warn("settings: the file was damaged and is now " + tessaron::toUtf8(aside) +
         "; the defaults hold");
}

int fail(const Failure& failure) {
  tellSetAside();
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

  try {
    app.parse(argc, argv);
  } catch (const CLI::ParseError& error) {
    if (error.get_exit_code() != 0)
      return fail({kUsage, {}, std::string(error.what()) + " (--help tells the usage)"});
    std::ostringstream text;  // what --help and --version ask for
    app.exit(error, text, text);
    print(text.str());
    if (!text.str().ends_with('\n')) print("\n");
    flushOutput();
    return kDone;
  }
  const int code = context.run();
  flushOutput();
  tellSetAside();
  return code;
}

}  // namespace

int main(int argc, char** argv) {
  occupyStandardStreams();
  // A reader that went away and a limit on file sizes are write errors like any other.
  std::signal(SIGPIPE, SIG_IGN);
  std::signal(SIGXFSZ, SIG_IGN);
  try {
    return run(argc, argv);
  } catch (const Failure& failure) {
    return fail(failure);
  } catch (const std::bad_alloc&) {
    return fail({kFailed, {}, "out of memory"});
  } catch (const std::exception& error) {
    return fail({kFailed, {}, error.what()});
  }
}
