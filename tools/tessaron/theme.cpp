#include <fmt/format.h>

#include <memory>
#include <nlohmann/json.hpp>

#include "package_writer.h"
#include "platform/directory.h"
#include "platform/file.h"
#include "support/text.h"
#include "terminal.h"
#include "themes/theme_package.h"
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

int pack(const Options& options, const Context& context) {
  writeOutput(options.file, packFolder(options.folder));
  note(context, fmt::format("{} packed into {}", options.folder, options.file));
  return kDone;
}

}  // namespace

void addTheme(CLI::App& app, Context& context) {
  const auto options = std::make_shared<Options>();
  CLI::App* verb = app.add_subcommand("theme", "Lists, chooses, unpacks and packs themes");
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

  CLI::App* infoVerb = addVerb("info", "Tells what is in a package", info);
  addFile(infoVerb);
  addJson(infoVerb);

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
