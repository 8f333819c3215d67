#include <fmt/format.h>

#include <filesystem>
#include <memory>
#include <optional>
#include <span>
#include <sstream>
#include <utility>

#include "catalogue/file_links.h"
#include "cli/collection.h"
#include "cli/dates.h"
#include "cli/failures.h"
#include "cli/input.h"
#include "cli/inventory.h"
#include "cli/items.h"
#include "cli/options.h"
#include "cli/paths.h"
#include "cli/selection.h"
#include "support/text.h"
#include "verbs/verbs.h"

namespace tessaron::tool {
namespace {

constexpr const char* kNothingChanged = "; nothing is changed";

struct Options {
  std::string collection;
  std::string item;
  std::vector<std::string> paths;
  std::optional<std::string> query;
  bool recursive = false;
  bool remove = false;
};

/// An item, or a query, and its files as they are named.
struct Named {
  std::string item;
  std::vector<std::string> paths;
};

/// The lines of standard input: ITEM, a tab, PATH. Blank lines are skipped.
std::vector<Named> readNames() {
  std::vector<Named> names;
  std::istringstream lines(readInput("-"));
  std::string line;
  for (std::size_t number = 1; std::getline(lines, line); ++number) {
    if (line.ends_with('\r')) line.pop_back();
    if (line.find_first_not_of(" \t") == line.npos) continue;
    const std::size_t tab = line.find('\t');
    if (tab == 0 || tab == line.npos || tab + 1 == line.size())
      throw Failure{kUsage, "standard input",
                    fmt::format("line {} is not an item, a tab and a path", number)};
    names.push_back({line.substr(0, tab), {line.substr(tab + 1)}});
  }
  if (names.empty()) throw Failure{kFailed, "standard input", "no item is named there"};
  return names;
}

std::vector<Named> namesOf(const Options& options) {
  std::vector<std::string> paths = options.paths;
  if (options.query) {
    // The first argument is a file where no item is named.
    if (!options.item.empty()) paths.insert(paths.begin(), options.item);
    return {{*options.query, std::move(paths)}};
  }
  if (options.item.empty()) requireItems({}, options.query);
  if (options.item != "-") return {{options.item, std::move(paths)}};
  if (!paths.empty()) throw Failure{kUsage, {}, "link: - takes the paths from standard input, too"};
  return readNames();
}

/// The files that a path names: itself, or those in a folder.
std::vector<std::u16string> filesAt(const std::string& path, bool isRecursive) {
  const std::u16string wide = widePath(path, kNoInput);
  std::error_code error;
  if (!std::filesystem::is_directory(std::filesystem::path(wide), error)) return {wide};
  const Inventory inventory({path}, isRecursive);
  if (!inventory.failures().empty()) throw Failure(inventory.failures().front());
  std::vector<std::u16string> files;
  for (const Inventory::Entry& entry : inventory.files()) files.push_back(inventory.pathOf(entry));
  return files;
}

std::vector<CLinkedFile> linksTo(const std::vector<std::string>& paths, const Options& options,
                                 const std::u16string& folder) {
  std::vector<CLinkedFile> links;
  for (const std::string& path : paths) {
    for (const std::u16string& file : filesAt(path, options.recursive)) {
      std::error_code error;
      std::optional<CLinkedFile> link = makeLink(folder, file, localToday(), error);
      if (!link) throw Failure{kNoInput, toUtf8(file), error.message()};
      links.push_back(*std::move(link));
    }
  }
  if (links.empty())
    throw Failure{paths.empty() ? kUsage : kFailed,
                  {},
                  paths.empty() ? "link: name the files" : "there are no files"};
  return links;
}

/// Removes the link with that path, or those below that folder. Fails when there is none.
void removeLinks(CRecord& record, const std::string& path, const std::u16string& folder,
                 const std::string& item) {
  const std::u16string wide = widePath(path, kNoInput);
  const std::u16string link = linkPath(folder, wide);
  const std::size_t count = std::erase_if(record.files, [&](const CLinkedFile& file) {
    return file.path == wide || file.path == link || file.path.starts_with(link + u'/');
  });
  if (count == 0)
    throw Failure{kFailed, item, '"' + path + "\" is not linked to it" + kNothingChanged};
}

/// The edit of one item by the names that mean it.
class LinkChange {
 public:
  explicit LinkChange(const Options& options)
      : options_(options),
        folder_(linkFolder(widePath(options.collection))),
        names_(namesOf(options)) {
    // Read before the collection is locked.
    if (!options.remove)
      for (const Named& name : names_) links_.push_back(linksTo(name.paths, options, folder_));
  }

  std::vector<std::string> items() const {
    std::vector<std::string> items;
    for (const Named& name : names_) items.push_back(name.item);
    return items;
  }

  /// May be asked about all items again from the start, which is the first `asin` again.
  ItemChange change(const ItemStream& items, std::span<const std::size_t> meant) {
    CRecord known;
    items.read(known);
    CRecord record = known;
    const std::string item = toUtf8(items.asin());
    for (const std::size_t name : meant)
      options_.remove ? remove(record, names_[name], item) : add(record, links_[name]);
    return changeTo(items, known, record);
  }

 private:
  static void add(CRecord& record, const std::vector<CLinkedFile>& links) {
    for (const CLinkedFile& link : links) linkFile(record, link);
  }
  void remove(CRecord& record, const Named& name, const std::string& item) const {
    if (name.paths.empty() && record.files.empty() && !options_.query)
      throw Failure{kFailed, item, std::string("no file is linked to it") + kNothingChanged};
    if (name.paths.empty()) record.files.clear();
    for (const std::string& path : name.paths) removeLinks(record, path, folder_, item);
  }

  const Options& options_;
  std::u16string folder_;
  std::vector<Named> names_;
  std::vector<std::vector<CLinkedFile>> links_;  // of each name
};

int run(const Options& options, const Context& context) {
  LinkChange change(options);
  constexpr std::size_t kQuery[] = {0};
  const std::vector<std::u16string> changed =
      options.query
          ? changeMatching(options.collection, *options.query,
                           [&](const ItemStream& items) { return change.change(items, kQuery); })
          : changeItems(options.collection, change.items(), SameKey::First,
                        [&](const ItemStream& items, std::span<const std::size_t> meant) {
                          return change.change(items, meant);
                        });
  const char* what = options.remove ? "unlinked" : "linked";
  note(context, changed.size() == 1 ? fmt::format("{} {}", toUtf8(changed.front()), what)
                                    : fmt::format("{} items {}", changed.size(), what));
  return kDone;
}

}  // namespace

void addLink(CLI::App& app, Context& context) {
  const auto options = std::make_shared<Options>();
  CLI::App* verb = app.add_subcommand("link", "Links files to items, or removes the links");
  verb->footer(
      std::string("Files below the folder of the collection are linked by their path from there "
                  "on, others by\n"
                  "their absolute path. links lists them, relink finds them again when they were "
                  "moved,\n"
                  "list 'missing:file' tells items whose files are gone.\n") +
      kItemHelp +
      "\nWith - for ITEM each line of standard input is ITEM, a tab and PATH. With --query all "
      "arguments\nare paths.");
  addCollectionOption(*verb, options->collection, true);
  verb->add_option("ITEM", options->item,
                   "The item's key, EAN, UPC or ISBN, or words of its title; - for a list");
  verb->add_option("PATH", options->paths, "Files, and folders whose files are meant");
  verb->add_option("--query", options->query, "Link to all items that match, instead of ITEM")
      ->type_name("QUERY");
  verb->add_flag("-r,--recursive", options->recursive, "Also the files in folders further down");
  verb->add_flag("--remove", options->remove,
                 "Remove the links to these files and below these folders, or all without a PATH");
  verb->callback([&context, options] {
    context.run = [&context, options] { return run(*options, context); };
  });
}

}  // namespace tessaron::tool
