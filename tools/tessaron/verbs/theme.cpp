#include <fmt/format.h>

#include <algorithm>
#include <filesystem>
#include <iterator>
#include <limits>
#include <memory>
#include <nlohmann/json.hpp>
#include <optional>
#include <vector>

#include "cli/failures.h"
#include "cli/input.h"
#include "cli/options.h"
#include "cli/output.h"
#include "cli/paths.h"
#include "cli/settings_store.h"
#include "cli/terminal.h"
#include "output/json.h"
#include "output/table.h"
#include "platform/directory.h"
#include "platform/file.h"
#include "platform/system.h"
#include "settings/reg_key.h"
#include "settings/setting_table.h"
#include "support/text.h"
#include "themes/file_names.h"
#include "themes/package_writer.h"
#include "themes/theme_manager.h"
#include "verbs/verbs.h"

namespace tessaron::tool {
namespace {

namespace fs = std::filesystem;
using Json = nlohmann::ordered_json;

struct Options {
  std::string file;
  std::string folder;
  int scheme = 0;
  Form form = Form::Table;
  std::string output;
};

std::unique_ptr<File> openPackage(const std::string& path) {
  if (path == "-") return memoryFile(readInput(path));
  std::error_code error;
  std::unique_ptr<File> file = openFile(widePath(path, kNoInput), {}, error);
  if (!file) throw Failure{kNoInput, path, error.message()};
  return file;
}

/// Fails when the file could not be read or is not a package.
void requirePackage(const std::string& path, const CThemePackage& package) {
  if (package.report.failure == PackageReport::Failure::CannotRead)
    throw Failure{kNoInput, displayName(path), package.report.failureReason};
  if (!package.report.isPackage) throw Failure{kBadData, displayName(path), "this is no package"};
}

void inspect(const std::string& path, File& file, bool readAll, CThemePackage& package) {
  package.Inspect(file, readAll);
  requirePackage(path, package);
}

Json problemsJson(const CPackage& package) {
  auto array = Json::array();
  for (const PackageReport::Problem& problem : package.report.problems)
    array.push_back(
        {{"entry", problem.entry}, {"name", toUtf8(problem.name)}, {"reason", problem.reason}});
  return array;
}

/// Fails when unpacking was aborted.
void requireUnpacked(const std::string& path, const PackageReport& report) {
  using enum PackageReport::Failure;
  if (report.failure == None) return;
  flushOutput();
  const ExitCode code = report.failure == TooLarge       ? kBadData
                        : report.failure == CannotCreate ? kCannotCreate
                        : report.failure == CannotRead   ? kNoInput
                                                         : kCannotWrite;
  throw Failure{code, displayName(path), report.failureReason};
}

/// Warns of dropped entries; kFailed if there are any.
int tellProblems(const std::string& path, const CPackage& package) {
  flushOutput();
  for (const PackageReport::Problem& problem : package.report.problems) {
    const std::string name =
        problem.name.empty() ? "" : fmt::format(" \"{}\"", toUtf8(problem.name));
    warn(fmt::format("{}: entry {}{}: {}", displayName(path), problem.entry, name, problem.reason));
  }
  return package.report.problems.empty() ? kDone : kFailed;
}

Json schemeJson(const CThemeScheme& scheme) {
  auto groups = Json::array();
  for (const SchemeGroup& group : scheme.groups)
    groups.push_back({{"name", toUtf8(group.name)},
                      {"image", toUtf8(group.image)},
                      {"olx", group.olx},
                      {"oly", group.oly},
                      {"olwidth", group.olwidth},
                      {"olheight", group.olheight}});
  return {{"name", toUtf8(scheme.name)},
          {"screenshot", toUtf8(scheme.screenshot)},
          {"fullFrameTemplate", toUtf8(scheme.fullFrameTemplate)},
          {"wideFrameTemplate", toUtf8(scheme.wideFrameTemplate)},
          {"background", toUtf8(scheme.background)},
          {"uwidth", scheme.uwidth},
          {"uheight", scheme.uheight},
          {"uhspace", scheme.uhspace},
          {"uvspace", scheme.uvspace},
          {"groups", groups}};
}

Json infoJson(const CThemePackage& package) {
  auto schemes = Json::array(), files = Json::array();
  for (const CThemeScheme* scheme : package.schemes) schemes.push_back(schemeJson(*scheme));
  for (const PackageReport::Entry& entry : package.report.entries)
    for (const std::u16string& name : entry.names)
      files.push_back({{"entry", entry.id},
                       {"name", toUtf8(name)},
                       {"packedSize", entry.packedSize},
                       {"size", entry.size}});
  return {{"identifier", toUtf8(package.identifierText)},
          {"name", toUtf8(package.name)},
          {"author", toUtf8(package.author)},
          {"email", toUtf8(package.email)},
          {"url", toUtf8(package.url)},
          {"description", toUtf8(package.description)},
          {"schemes", schemes},
          {"files", files},
          {"dropped", problemsJson(package)}};
}

void printInfo(const CThemePackage& package, const Context& context, Output& output) {
  const auto line = [&](const char* label, const std::u16string& text) {
    if (!text.empty()) output.write(fmt::format("{:<12}{}\n", label, printable(toUtf8(text))));
  };
  line("Name", package.name);
  line("Description", package.description);
  line("Author", package.author);
  line("E-mail", package.email);
  line("Web", package.url);
  line("Identifier", package.identifierText);
  for (std::size_t i = 0; i < package.schemes.size(); ++i)
    line(fmt::format("Scheme {}", i).c_str(), package.schemes[i]->name);
  Table table({"File", "Size", "Packed"});
  bool hasFiles = false;
  for (const PackageReport::Entry& entry : package.report.entries) {
    for (const std::u16string& name : entry.names) {
      table.add({{toUtf8(name)}, {std::to_string(entry.size)}, {std::to_string(entry.packedSize)}});
      hasFiles = true;
    }
  }
  if (!hasFiles) return;
  output.write("\n");
  table.print(context, output);
}

void writeJson(Output& output, const Json& document) { output.write(jsonText(document) + '\n'); }

int info(const Options& options, const Context& context) {
  CThemePackage package;
  inspect(options.file, *openPackage(options.file), true, package);
  Output output(options.output);
  if (options.form == Form::Json) {
    writeJson(output, infoJson(package));
  } else {
    printInfo(package, context, output);
  }
  output.finish();
  requireUnpacked(options.file, package.report);
  return tellProblems(options.file, package);
}

/// The missing folders of a path; the destructor removes those that are empty, unless `kept`.
struct NewFolders {
  explicit NewFolders(const std::u16string& path) {
    std::error_code error;
    for (fs::path folder(path); !folder.empty() && !fs::exists(folder, error);
         folder = folder.parent_path())
      made.push_back(folder);
  }
  ~NewFolders() {
    std::error_code error;
    for (const fs::path& folder : made)
      if (!kept) fs::remove(folder, error);
  }
  NewFolders(const NewFolders&) = delete;
  NewFolders& operator=(const NewFolders&) = delete;

  std::vector<fs::path> made;
  bool kept = false;
};

int unpack(const Options& options, const Context&) {
  const std::unique_ptr<File> file = openPackage(options.file);
  CThemePackage package;
  inspect(options.file, *file, false, package);  // before any folder is created
  const std::u16string destination = widePath(options.folder);
  NewFolders folders(destination);
  if (const std::error_code error = createFolder(destination))
    throw Failure{kCannotCreate, options.folder, error.message()};
  if (!file->seek(0)) throw Failure{kNoInput, options.file, "an error while reading"};
  package.Initialize(*file, destination, true);
  requirePackage(options.file, package);
  requireUnpacked(options.file, package.report);
  folders.kept = true;
  const std::string folder = toUtf8(package.GetPathExtracted());
  if (options.form == Form::Json) {
    printJson({{"folder", folder}, {"dropped", problemsJson(package)}});
  } else {
    print(printable(folder) + '\n');
  }
  return tellProblems(options.file, package);
}

/// A theme's file and scheme, as the settings hold them.
struct Choice {
  std::u16string file;
  int scheme = 0;
};

constexpr const char16_t *kFileSetting = u"ThemeFile", *kSchemeSetting = u"ThemeScheme";

Choice choiceIn(const Config& config) { return {config.ThemeFile, config.ThemeScheme}; }

Choice readChoice() {
  Config config;
  loadSetting(kFileSetting, config);
  loadSetting(kSchemeSetting, config);
  return choiceIn(config);
}

Choice defaultChoice() {
  Config config;
  resetSettings(config);
  return choiceIn(config);
}

void storeChoice(Choice choice) {
  const auto require = [](std::int32_t code) { requireSettings(code, SettingsAccess::Create); };
  Config config;
  config.ThemeFile = std::move(choice.file);
  config.ThemeScheme = choice.scheme;
  const RegistryDeadline deadline;
  CRegKeyEx key;
  openSettings(key, kOptionsKey, SettingsAccess::Create);
  RegistryBatch batch(key);
  require(batch.code());
  for (const char16_t* name : {kFileSetting, kSchemeSetting})
    require(writeSetting(*findSetting(name), key, config));
  require(batch.end());
}

std::u16string dataFolder() { return joinPath(programFolder(), u"Data"); }

/// The reason why the application cannot use a theme; empty when it can.
std::string faultOfChoice(const std::u16string& folder, const Choice& choice) {
  if (faultOfFileName(choice.file)) return "is no file of the data folder";
  CThemePackage package;
  package.path = joinPath(folder, choice.file);
  package.Measure();
  if (package.report.openError) return "cannot be read: " + package.report.openError.message();
  using enum PackageReport::Failure;
  if (package.report.failure == CannotRead)
    return "cannot be read: " + package.report.failureReason;
  if (!package.report.isPackage) return "is no package";
  if (package.report.failure != None) return "cannot be unpacked: " + package.report.failureReason;
  if (choice.scheme >= 0 && static_cast<std::size_t>(choice.scheme) < package.schemes.size())
    return {};
  return fmt::format("has no scheme {}", choice.scheme);
}

Json choiceJson(const Choice& choice) {
  return {{"file", toUtf8(choice.file)}, {"scheme", choice.scheme}};
}

/// The themes to be listed, and the one that the application uses.
struct Themes {
  Choice selected;
  std::string error;              ///< why `selected` cannot be used; empty when it can
  std::optional<Choice> inForce;  ///< none when the default theme cannot be used either
  std::vector<std::u16string> files;
};

Themes findThemes(const std::u16string& folder) {
  Themes themes{readChoice(), {}, {}, themePackages(folder)};
  themes.error = faultOfChoice(folder, themes.selected);
  if (themes.error.empty()) {
    themes.inForce = themes.selected;
  } else if (faultOfChoice(folder, defaultChoice()).empty()) {
    themes.inForce = defaultChoice();
  }
  if (themes.inForce && std::ranges::find(themes.files, themes.inForce->file) == themes.files.end())
    themes.files.push_back(themes.inForce->file);
  return themes;
}

/// Adds a theme's row to the table and returns its JSON.
Json listTheme(const std::u16string& folder, const std::u16string& file,
               const std::optional<Choice>& inForce, Table& table) {
  CThemePackage package;
  package.path = joinPath(folder, file);
  package.Inspect(false);
  const bool isInForce = inForce && file == inForce->file;
  auto schemes = Json::array();
  std::string names, used;
  for (const CThemeScheme* scheme : package.schemes) {
    const std::string name =
        scheme->name.empty() ? std::to_string(schemes.size()) : toUtf8(scheme->name);
    if (isInForce && static_cast<int>(schemes.size()) == inForce->scheme) used = name;
    names += (names.empty() ? "" : ", ") + name;
    schemes.push_back(toUtf8(scheme->name));
  }
  const bool isPackage = package.report.isPackage;
  table.add({{toUtf8(file)}, {isPackage ? toUtf8(package.name) : "(no package)"}, {names}, {used}});
  return {{"file", toUtf8(file)},
          {"isPackage", isPackage},
          {"name", toUtf8(package.name)},
          {"schemes", schemes}};
}

int list(const Options& options, const Context& context) {
  const std::u16string folder = dataFolder();
  const auto [selected, error, inForce, files] = findThemes(folder);
  auto array = Json::array();
  Table table({"File", "Name", "Schemes", "In force"});
  for (const std::u16string& file : files) array.push_back(listTheme(folder, file, inForce, table));
  Output output(options.output);
  if (options.form == Form::Json) {
    Json choice = choiceJson(selected);
    choice["fault"] = error.empty() ? Json() : Json(error);
    writeJson(output, {{"selected", choice},
                       {"inForce", inForce ? choiceJson(*inForce) : Json()},
                       {"packages", array}});
  } else if (!array.empty()) {
    table.print(context, output);
  }
  output.finish();
  flushOutput();
  if (array.empty()) throw Failure{kFailed, toUtf8(folder), "no themes"};
  if (!error.empty())
    warn(fmt::format("\"{}\", which the settings select, {}; {}", toUtf8(selected.file), error,
                     inForce ? fmt::format("\"{}\" is in force", toUtf8(inForce->file))
                             : "no theme is in force"));
  return kDone;
}

int select(const Options& options, const Context& context) {
  const std::u16string folder = dataFolder(), name = widePath(options.file);
  const std::string path = toUtf8(joinPath(folder, name));
  if (const char* fault = faultOfFileName(name))
    throw Failure{kUsage, options.file,
                  std::string(fault) + "; it is that of a file in " + toUtf8(folder)};
  CThemePackage package;
  inspect(path, *openPackage(path), false, package);
  CThemeMan themes(folder);
  const bool isSelected = themes.select(name, options.scheme);
  requireUnpacked(path, themes.lastReport());
  if (!isSelected)
    throw Failure{
        kFailed, path,
        fmt::format("there is no scheme {}; it has {}", options.scheme, package.schemes.size())};
  const auto missing = findDropped(themes.package(), *themes.scheme());
  if (!missing.empty())
    throw Failure{kFailed, path,
                  fmt::format("\"{}\" was dropped, {}", toUtf8(missing.front().name),
                              missing.front().reason)};
  storeChoice({name, options.scheme});
  note(context, fmt::format("{}: {} selected", options.file, toUtf8(themes.scheme()->name)));
  tellProblems(path, themes.package());
  return kDone;
}

std::string packOrFail(const std::string& folder, std::vector<ThemeWarning>& warnings) {
  std::string package;
  if (const PackError error = packFolder(widePath(folder), package, warnings))
    throw Failure{error.isUnreadable ? kNoInput : kBadData, toUtf8(error.path), error.reason};
  return package;
}

std::string warningText(const ThemeWarning& warning) {
  std::string text = warning.scheme ? fmt::format("scheme {}: ", *warning.scheme) : "";
  if (!warning.name.empty()) text += fmt::format("\"{}\": ", toUtf8(warning.name));
  return text + warning.reason;
}

int pack(const Options& options, const Context& context) {
  std::vector<ThemeWarning> warnings;
  writeResult(options.file, packOrFail(options.folder, warnings));
  for (const ThemeWarning& warning : warnings)
    warn(fmt::format("{}: {}", options.folder, warningText(warning)));
  if (options.file != "-")
    note(context, fmt::format("{} packed into {}", options.folder, options.file));
  return kDone;
}

std::vector<ThemeWarning> findWarnings(const std::string& path) {
  std::vector<ThemeWarning> warnings;
  std::error_code error;
  if (fs::is_directory(filePath(path), error)) {
    packOrFail(path, warnings);
    return warnings;
  }
  CThemePackage package;
  package.Measure(*openPackage(path));
  requirePackage(path, package);
  requireUnpacked(path, package.report);
  for (const PackageReport::Problem& problem : package.report.problems)
    warnings.push_back(
        {{}, problem.name, fmt::format("entry {}: {}", problem.entry, problem.reason)});
  std::ranges::move(checkTheme(package), std::back_inserter(warnings));
  return warnings;
}

int check(const Options& options, const Context& context) {
  const std::vector<ThemeWarning> warnings = findWarnings(options.file);
  Output output(options.output);
  auto array = Json::array();
  for (const ThemeWarning& warning : warnings) {
    if (options.form == Form::Json) {
      array.push_back({{"scheme", warning.scheme ? Json(*warning.scheme) : Json()},
                       {"name", toUtf8(warning.name)},
                       {"reason", warning.reason}});
    } else {
      output.write(printable(warningText(warning)) + '\n');
    }
  }
  if (options.form == Form::Json) writeJson(output, array);
  output.finish();
  flushOutput();
  note(context, fmt::format("{}: {} warning{}", displayName(options.file), warnings.size(),
                            warnings.size() == 1 ? "" : "s"));
  return warnings.empty() ? kDone : kFailed;
}

/// Adds the verbs of "theme" and their options.
struct ThemeVerbs {
  CLI::App& theme;
  Context& context;
  std::shared_ptr<Options> options = std::make_shared<Options>();

  CLI::App* add(const char* name, const char* text, int (*run)(const Options&, const Context&)) {
    CLI::App* added = theme.add_subcommand(name, text);
    added->callback([&context = context, options = options, run] {
      context.run = [&context, options, run] { return run(*options, context); };
    });
    return added;
  }
  void addFile(CLI::App* verb, const char* text) {
    verb->add_option("FILE", options->file, text)->required();
  }
  void addFolder(CLI::App* verb, const char* text) {
    verb->add_option("DIR", options->folder, text)->required();
  }
  void addJson(CLI::App* verb) { addFormFlags(*verb, options->form, {Form::Json}); }
  void addResult(CLI::App* verb) {
    addJson(verb);
    addOutputOption(*verb, options->output);
  }
};

void addReadingVerbs(ThemeVerbs& verbs) {
  verbs.addResult(verbs.add(
      "list", "Lists the packages of the data folder, and tells which theme is in force", list));
  CLI::App* infoVerb = verbs.add("info", "Tells what is in a package", info);
  verbs.addFile(infoVerb, "The package's file");
  verbs.addResult(infoVerb);
  CLI::App* checkVerb = verbs.add(
      "check", "Warns of what the maker of a theme will not have meant; exits with 1 then", check);
  verbs.addFile(checkVerb, "The package's file, or a folder that is to be packed");
  verbs.addResult(checkVerb);
}

void addWritingVerbs(ThemeVerbs& verbs) {
  CLI::App* selectVerb = verbs.add("select", "Chooses a package of the data folder", select);
  verbs.addFile(selectVerb, "The package's name there");
  selectVerb->add_option("SCHEME", verbs.options->scheme, "Which of its schemes, counted from 0")
      ->check(CLI::Range(0, std::numeric_limits<int>::max()));
  CLI::App* unpackVerb = verbs.add(
      "unpack", "Unpacks a package into a folder named after its identifier; prints that", unpack);
  verbs.addFile(unpackVerb, "The package's file");
  verbs.addFolder(unpackVerb, "Where that folder is made");
  verbs.addJson(unpackVerb);
  CLI::App* packVerb =
      verbs.add("pack", "Makes a package of a folder's files, main.xml among them", pack);
  verbs.addFile(packVerb, "The package to be made; \"-\" is standard output");
  verbs.addFolder(packVerb, "The folder");
}

}  // namespace

void addTheme(CLI::App& app, Context& context) {
  CLI::App* verb = app.add_subcommand("theme", "Lists, chooses, checks, unpacks and packs themes");
  verb->footer(
      "The data folder is \"Data\" in $TESSARON_HOME, or else in $XDG_DATA_HOME/tessaron.");
  verb->require_subcommand(1);
  ThemeVerbs verbs{*verb, context};
  addReadingVerbs(verbs);
  addWritingVerbs(verbs);
}

}  // namespace tessaron::tool
