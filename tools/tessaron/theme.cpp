#include <fmt/format.h>

#include <memory>
#include <nlohmann/json.hpp>

#include "platform/directory.h"
#include "platform/file.h"
#include "platform/system.h"
#include "settings/reg_key.h"
#include "settings/setting_table.h"
#include "settings_key.h"
#include "support/text.h"
#include "terminal.h"
#include "themes/file_names.h"
#include "themes/package_writer.h"
#include "themes/theme_manager.h"
#include "verbs.h"

namespace tessaron::tool {
namespace {

using Json = nlohmann::ordered_json;

struct Options {
  std::string file;
  std::string folder;
  int scheme = 0;
  bool json = false;
};

std::unique_ptr<File> openPackage(const std::string& path) {
  if (path == "-") return memoryFile(readInput(path));
  std::error_code error;
  std::unique_ptr<File> file = openFile(widePath(path), {}, error);
  if (!file) throw Failure{kNoInput, path, error.message()};
  return file;
}

void inspect(const std::string& path, File& file, bool readAll, CThemePackage& package) {
  package.Inspect(file, readAll);
  if (!package.report.isPackage) throw Failure{kBadData, displayName(path), "this is no package"};
}

Json problemsJson(const CPackage& package) {
  auto array = Json::array();
  for (const PackageReport::Problem& problem : package.report.problems)
    array.push_back(
        {{"entry", problem.entry}, {"name", toUtf8(problem.name)}, {"reason", problem.reason}});
  return array;
}

/// Tells what was dropped, and gives the exit code.
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

void printInfoJson(const CThemePackage& package) {
  auto schemes = Json::array(), files = Json::array();
  for (const CThemeScheme* scheme : package.schemes) schemes.push_back(schemeJson(*scheme));
  for (const PackageReport::Entry& entry : package.report.entries)
    for (const std::u16string& name : entry.names)
      files.push_back({{"entry", entry.id},
                       {"name", toUtf8(name)},
                       {"packedSize", entry.packedSize},
                       {"size", entry.size}});
  printJson({{"identifier", toUtf8(package.identifierText)},
             {"name", toUtf8(package.name)},
             {"author", toUtf8(package.author)},
             {"email", toUtf8(package.email)},
             {"url", toUtf8(package.url)},
             {"description", toUtf8(package.description)},
             {"schemes", schemes},
             {"files", files},
             {"dropped", problemsJson(package)}});
}

void printInfo(const CThemePackage& package, const Context& context) {
  const auto line = [](const char* label, const std::u16string& text) {
    if (!text.empty()) print(fmt::format("{:<12}{}\n", label, printable(toUtf8(text))));
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
  print("\n");
  table.print(context);
}

int info(const Options& options, const Context& context) {
  CThemePackage package;
  inspect(options.file, *openPackage(options.file), true, package);
  if (options.json) {
    printInfoJson(package);
  } else {
    printInfo(package, context);
  }
  return tellProblems(options.file, package);
}

int unpack(const Options& options, const Context&) {
  const std::unique_ptr<File> file = openPackage(options.file);
  CThemePackage package;
  inspect(options.file, *file, false, package);  // before anything is made for it
  const std::u16string destination = widePath(options.folder);
  if (const std::error_code error = createFolder(destination))
    throw Failure{kCannotCreate, options.folder, error.message()};
  if (!file->seek(0)) throw Failure{kNoInput, options.file, "an error while reading"};
  package.Initialize(*file, destination, true);
  const std::string folder = toUtf8(package.GetPathExtracted());
  if (options.json) {
    printJson({{"folder", folder}, {"dropped", problemsJson(package)}});
  } else {
    print(folder + '\n');
  }
  return tellProblems(options.file, package);
}

/// What the settings say, or their defaults.
struct Choice {
  std::u16string file = u"DefaultTheme.tpk";
  int scheme = 0;
};

constexpr const char16_t *kFileValue = u"ThemeFile", *kSchemeValue = u"ThemeScheme";

Choice readChoice() {
  Choice choice;
  CRegKeyEx key;
  openSettings(key, kOptionsKey, SettingsAccess::Read);
  key.QueryStringValueEx(kFileValue, choice.file);
  key.QueryIntValueEx(kSchemeValue, choice.scheme);
  return choice;
}

void storeChoice(Choice choice) {
  const auto require = [](std::int32_t code) { requireSettings(code, SettingsAccess::Create); };
  const RegistryDeadline deadline;
  CRegKeyEx key;
  openSettings(key, kOptionsKey, SettingsAccess::Create);
  RegistryBatch batch(key);
  require(batch.code());
  require(key.SetStringValueEx(kFileValue, choice.file));
  require(key.SetIntValueEx(kSchemeValue, choice.scheme));
  require(batch.end());
}

std::u16string dataFolder() { return joinPath(programFolder(), u"Data"); }

int list(const Options& options, const Context& context) {
  const std::u16string folder = dataFolder();
  const Choice choice = readChoice();
  auto array = Json::array();
  Table table({"File", "Name", "Schemes", "Selected"});
  for (const std::u16string& file : themePackages(folder)) {
    CThemePackage package;
    package.path = joinPath(folder, file);
    package.Inspect(false);
    auto schemes = Json::array();
    std::string names, selected;
    for (const CThemeScheme* scheme : package.schemes) {
      const std::string name = toUtf8(scheme->name);
      if (file == choice.file && static_cast<int>(schemes.size()) == choice.scheme) selected = name;
      names += (names.empty() ? "" : ", ") + name;
      schemes.push_back(name);
    }
    const bool isPackage = package.report.isPackage;
    table.add(
        {{toUtf8(file)}, {isPackage ? toUtf8(package.name) : "(no package)"}, {names}, {selected}});
    array.push_back({{"file", toUtf8(file)},
                     {"isPackage", isPackage},
                     {"name", toUtf8(package.name)},
                     {"schemes", schemes},
                     {"selectedScheme", file == choice.file ? Json(choice.scheme) : nullptr}});
  }
  if (options.json) {
    printJson(array);
  } else if (!array.empty()) {
    table.print(context);
  }
  if (array.empty()) throw Failure{kFailed, toUtf8(folder), "no themes"};
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
  if (!themes.select(name, options.scheme))
    throw Failure{
        kFailed, path,
        fmt::format("there is no scheme {}; it has {}", options.scheme, package.schemes.size())};
  storeChoice({name, options.scheme});
  note(context, fmt::format("{}: {} selected", options.file, toUtf8(themes.scheme()->name)));
  return tellProblems(path, themes.package());
}

int pack(const Options& options, const Context& context) {
  std::string package;
  if (const PackFault fault = packFolder(widePath(options.folder), package))
    throw Failure{fault.isUnreadable ? kNoInput : kBadData, toUtf8(fault.path), fault.reason};
  writeOutput(options.file, package);
  note(context, fmt::format("{} packed into {}", options.folder, options.file));
  return kDone;
}

}  // namespace

void addTheme(CLI::App& app, Context& context) {
  const auto options = std::make_shared<Options>();
  CLI::App* verb = app.add_subcommand("theme", "Lists, chooses, unpacks and packs themes");
  verb->footer(
      "The data folder is \"Data\" in $TESSARON_HOME, or else in $XDG_DATA_HOME/tessaron.");
  verb->require_subcommand(1);
  const auto addVerb = [&](const char* name, const char* text, const auto& run) {
    CLI::App* added = verb->add_subcommand(name, text);
    added->callback([&context, options, run] {
      context.run = [&context, options, run] { return run(*options, context); };
    });
    return added;
  };
  const auto addFile = [&](CLI::App* to) {
    to->add_option("FILE", options->file, "The package's file")->required();
  };
  const auto addJson = [&](CLI::App* to) {
    to->add_flag("--json", options->json, "Print the result as JSON");
  };

  addJson(addVerb("list", "Lists the packages of the data folder", list));

  CLI::App* infoVerb = addVerb("info", "Tells what is in a package", info);
  addFile(infoVerb);
  addJson(infoVerb);

  CLI::App* selectVerb = addVerb("select", "Chooses a package of the data folder", select);
  selectVerb->add_option("FILE", options->file, "The package's name there")->required();
  selectVerb->add_option("SCHEME", options->scheme, "Which of its schemes, counted from 0")
      ->check(CLI::NonNegativeNumber);

  CLI::App* unpackVerb = addVerb(
      "unpack", "Unpacks a package into a folder named after its identifier; prints that", unpack);
  addFile(unpackVerb);
  unpackVerb->add_option("DIR", options->folder, "Where that folder is made")->required();
  addJson(unpackVerb);

  CLI::App* packVerb =
      addVerb("pack", "Makes a package of a folder's files, main.xml among them", pack);
  packVerb->add_option("DIR", options->folder, "The folder")->required();
  packVerb->add_option("FILE", options->file, "The package to be made")->required();
}

}  // namespace tessaron::tool
