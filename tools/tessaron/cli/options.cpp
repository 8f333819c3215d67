#include "cli/options.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <array>

#include "cli/context.h"
#include "cli/failures.h"
#include "cli/settings_store.h"
#include "platform/system.h"
#include "support/text.h"

namespace tessaron::tool {
namespace {

constexpr const char* kWhichCollection =
    "which collection? Give -c,--collection FILE, set TESSARON_COLLECTION, or choose one for good "
    "with \"tessaron use FILE\"";
constexpr const char* kCollectionHelp =
    "The collection's file, if not $TESSARON_COLLECTION or what \"use\" has chosen";

std::string collectionError(const std::string& path, bool editable) {
  if (path.empty()) return "the file's name is empty";
  return editable && path == "-" ? "standard input cannot be changed" : "";
}

/// Whether the command line asks for something else than that a verb be run.
bool asksForHelp(const CLI::App& app) {
  return std::ranges::any_of(std::array{"--help", "--help-all", "--version"},
                             [&](const char* name) {
                               const CLI::Option* option = app.get_option_no_throw(name);
                               return option && option->count() > 0;
                             });
}

}  // namespace

std::string usualCollection() {
  std::string named = environmentVariable("TESSARON_COLLECTION");
  if (!named.empty()) return named;
  Config config;
  loadSetting(u"LastCollectionFileName", config);
  return toUtf8(config.LastCollectionFileName);
}

void addCollectionOption(CLI::App& verb, std::string& path, bool editable) {
  verb.add_option("-c,--collection", path, kCollectionHelp)
      ->type_name("FILE")
      ->check([editable](const std::string& value) { return collectionError(value, editable); });
  // Not as a default value, which would be looked up for every verb and for every help text.
  verb.parse_complete_callback([&path, &verb, editable] {
    if (!path.empty() || asksForHelp(*verb.get_parent())) return;
    path = usualCollection();
    if (path.empty()) throw CLI::RequiredError(kWhichCollection, CLI::ExitCodes::RequiredError);
    if (const std::string error = collectionError(path, editable); !error.empty())
      throw CLI::ValidationError("TESSARON_COLLECTION", error);
  });
  if (editable) addDryRunFlag(verb, "Print what would change, write nothing");
}

CLI::Option* addSometimesCollectionOption(CLI::App& verb, std::string& path) {
  return verb.add_option("-c,--collection", path, kCollectionHelp)->type_name("FILE");
}

std::string requireCollection(const std::string& path, bool editable) {
  std::string chosen = path.empty() ? usualCollection() : path;
  if (chosen.empty()) throw Failure{kUsage, {}, kWhichCollection};
  if (const std::string error = collectionError(chosen, editable); !error.empty())
    throw Failure{kUsage, {}, error};
  return chosen;
}

CLI::Option* addDryRunFlag(CLI::App& verb, const std::string& help) {
  return verb.add_flag("--dry-run", editSession().isTrial, help);
}

void addFormFlags(CLI::App& verb, Form& form, std::initializer_list<Form> offered) {
  struct Flag {
    const char* name;
    const char* help;
  };
  static constexpr Flag kFlags[] = {
      {nullptr, nullptr},
      {"--json", "Give the result as JSON"},
      {"--csv", "Give it as CSV (RFC 4180); no spreadsheet takes a text for a formula"},
      {"--tsv",
       "Give it tab-separated, a line a row: tabs, line ends and backslashes as \\t, "
       "\\n, \\r, \\\\"},
      {"--html", "Give it as a page for web browsers"},
      {"--ics", "Give it as a calendar (iCalendar)"},
      {"--xml", "Give it as XML"},
      {"--png", "Give it as a picture (PNG)"},
  };
  std::vector<CLI::Option*> flags;
  for (const Form each : offered) {
    const Flag& flag = kFlags[static_cast<std::size_t>(each)];
    CLI::Option* added = verb.add_flag_callback(
        flag.name, [&form, each] { form = each; }, flag.help);
    for (CLI::Option* other : flags) added->excludes(other);
    flags.push_back(added);
  }
}

void addOutputOption(CLI::App& verb, std::string& path) {
  verb.add_option("-o,--output", path, "Where to write the result, if not to standard output (-)")
      ->type_name("FILE")
      ->check([](const std::string& value) {
        return value.empty() ? std::string("the file's name is empty") : std::string();
      });
}

}  // namespace tessaron::tool
