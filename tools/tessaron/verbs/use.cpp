#include <fmt/format.h>

#include <filesystem>
#include <memory>

#include "cli/failures.h"
#include "cli/input.h"
#include "cli/options.h"
#include "cli/output.h"
#include "cli/paths.h"
#include "cli/settings_store.h"
#include "records/item_stream.h"
#include "support/text.h"
#include "verbs/verbs.h"

namespace tessaron::tool {
namespace {

/// Fails when the file is no collection. Reads no further than its first item.
void requireCollection(const std::string& path) {
  Input input(path);
  ItemStream items(input);
  const bool hasItems = items.next();
  input.requireRead();
  requireSound(path, items.error());
  if (!hasItems && !items.canHoldItems())
    throw Failure{kBadData, path, "this is no collection: it has no place for items"};
}

void remember(const std::u16string& path) {
  const RegistryDeadline deadline;
  Config config;
  config.LastCollectionFileName = path;
  CRegKeyEx key;
  openSettings(key, kOptionsKey, SettingsAccess::Create);
  requireSettings(writeSetting(*findSetting(u"LastCollectionFileName"), key, config),
                  SettingsAccess::Create);
}

/// The path from the root on. The folder must be there; a link in the place of the file stays one.
std::string absolutePath(const std::string& file) {
  const std::filesystem::path path = filePath(file);
  const std::filesystem::path folder = path.has_parent_path() ? path.parent_path() : ".";
  std::error_code error;
  const std::filesystem::path found = std::filesystem::canonical(folder, error);
  if (error) throw Failure{kNoInput, file, error.message()};
  return pathText(found / path.filename());
}

int run(const std::string& file, const Context& context) {
  if (file.empty()) {
    const std::string path = usualCollection();
    if (path.empty())
      throw Failure{kFailed, {}, "no collection is chosen; \"tessaron use FILE\" chooses one"};
    print(path + '\n');
    return kDone;
  }
  const std::string path = absolutePath(file);
  const bool exists = std::filesystem::exists(filePath(path));
  if (exists) requireCollection(path);
  remember(widePath(path));
  note(context, path + (exists ? "" : ": a new collection; adding or importing items creates it"));
  return kDone;
}

}  // namespace

void addUse(CLI::App& app, Context& context) {
  const auto file = std::make_shared<std::string>();
  CLI::App* verb =
      app.add_subcommand("use", "Chooses the collection that all verbs use without -c");
  verb->footer(
      "Without FILE it prints which one that is. A verb uses the file that its -c names, or else\n"
      "$TESSARON_COLLECTION, or else the one chosen here, which is kept as the setting\n"
      "LastCollectionFileName (\"tessaron settings reset LastCollectionFileName\" forgets it).");
  verb->add_option("FILE", *file, "The collection's file; it need not be there yet")
      ->check([](const std::string& value) {
        if (value.empty()) return "the file's name is empty";
        return value == "-" ? "standard input cannot be chosen" : "";
      });
  verb->callback(
      [&context, file] { context.run = [&context, file] { return run(*file, context); }; });
}

}  // namespace tessaron::tool
