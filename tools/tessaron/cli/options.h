#pragma once
// Options that several verbs have.

#include <initializer_list>
#include <string>
#include <string_view>
#include <vector>

namespace CLI {
class App;
class Option;
}  // namespace CLI

namespace tessaron::tool {

/// The collection that is meant where none is named: $TESSARON_COLLECTION, or else the one that
/// the verb `use` has chosen; empty without both. Fails as `loadSetting` does.
std::string usualCollection();

/// Adds the option -c,--collection FILE. Without it `path` becomes the usual collection as soon as
/// the verb is chosen; it is a usage error when there is none. With `editable` "-" is refused,
/// and --dry-run makes a trial of the run's edits.
void addCollectionOption(CLI::App& verb, std::string& path, bool editable);

/// Adds the option -c,--collection FILE for a verb that needs a collection only sometimes; see
/// `requireCollection`.
CLI::Option* addSometimesCollectionOption(CLI::App& verb, std::string& path);
/// `path`, or without one the usual collection. Fails with
/// kUsage when there is none, and for "-" if it is `editable`.
std::string requireCollection(const std::string& path, bool editable);

/// Adds the flag --dry-run, which makes a trial of the run's edits (see EditSession).
CLI::Option* addDryRunFlag(CLI::App& verb, const std::string& help);

/// The forms in which verbs give their results: a table for people, or one for programs.
enum class Form { Table, Json, Csv, Tsv, Html, Ics, Xml, Png };

/// Adds the flags (--json, --csv, ...) of the forms that the verb offers; at most one of them can
/// be given. `form` keeps its value without one.
void addFormFlags(CLI::App& verb, Form& form, std::initializer_list<Form> offered);

/// Adds -o,--output FILE; `path` keeps its value ("-" or empty: standard output) without it.
void addOutputOption(CLI::App& verb, std::string& path);

}  // namespace tessaron::tool
