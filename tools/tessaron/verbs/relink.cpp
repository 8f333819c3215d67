#include <fmt/format.h>

#include <algorithm>
#include <map>
#include <memory>
#include <optional>
#include <set>
#include <system_error>
#include <utility>

#include "catalogue/file_links.h"
#include "cli/collection.h"
#include "cli/failures.h"
#include "cli/inventory.h"
#include "cli/items.h"
#include "cli/options.h"
#include "cli/paths.h"
#include "cli/progress.h"
#include "platform/file.h"
#include "support/text.h"
#include "verbs/verbs.h"

namespace tessaron::tool {
namespace {

struct Options {
  std::string collection;
  std::vector<std::string> folders;
};

using Content = std::pair<std::uint64_t, std::u16string>;  // size and checksum

/// What may be a file that is missing where it was linked.
struct Lost {
  Content content;
  std::set<std::u16string> found;  // the paths by which it would be linked
};
using LostFiles = std::map<std::u16string, Lost>;  // by their links

std::u16string_view nameIn(std::u16string_view path) { return path.substr(path.rfind(u'/') + 1); }

LostFiles lostFiles(const std::string& collection, const std::u16string& folder) {
  LostFiles lost;
  CollectionReader(collection).forEachRecord(false, [&](const CRecord& record) {
    for (const CLinkedFile& file : record.files)
      if (linkState(folder, file) == LinkState::Missing)
        lost.try_emplace(file.path, Lost{{file.size, file.checksum}, {}});
  });
  return lost;
}

/// Looks for the lost files in folders. Files of other sizes are not read.
void search(const std::vector<std::string>& folders, const std::u16string& folder,
            const Context& context, LostFiles& lost) {
  std::multimap<Content, Lost*> wanted;
  std::set<std::uint64_t> sizes;
  for (auto& [link, file] : lost) {
    if (file.content.first == 0 || file.content.second.empty()) continue;  // as many files are
    wanted.emplace(file.content, &file);
    sizes.insert(file.content.first);
  }
  const Inventory inventory(folders, true);
  for (const Failure& failure : inventory.failures()) warn(failure.where + ": " + failure.reason);
  Progress progress(context, "looking for files", inventory.files().size());
  std::size_t done = 0;
  for (const Inventory::Entry& entry : inventory.files()) {
    const std::u16string path = inventory.pathOf(entry);
    progress.showPace(done++, toUtf8(path));
    std::error_code error;
    const std::unique_ptr<File> file =
        openFile(path, {.shareWrite = true, .shareDelete = true}, error);
    const std::uint64_t size = file ? file->size().value_or(0) : 0;
    if (!sizes.contains(size)) continue;
    const auto [begin, end] = wanted.equal_range({size, fileChecksum(*file, size)});
    for (auto each = begin; each != end; ++each) each->second->found.insert(linkPath(folder, path));
  }
}

/// Where the file is now: the only place, or the only one with the name that it had.
std::optional<std::u16string> placeOf(const std::u16string& link, const Lost& file) {
  if (file.found.size() == 1) return *file.found.begin();
  const auto isSameName = [&](const std::u16string& path) { return nameIn(path) == nameIn(link); };
  if (std::ranges::count_if(file.found, isSameName) != 1) return std::nullopt;
  return *std::ranges::find_if(file.found, isSameName);
}

/// Gives links their new paths.
class RelinkEdit : public ItemEdit {
 public:
  explicit RelinkEdit(const std::map<std::u16string, std::u16string>& places) : places_(places) {}

  ItemChange change(const ItemStream& items) override {
    if (items.item().find("<File") == std::string_view::npos) return {};
    CRecord known;
    items.read(known);
    CRecord record = known;
    std::set<std::u16string> paths;
    std::erase_if(record.files, [&](CLinkedFile& file) {
      if (const auto place = places_.find(file.path); place != places_.end())
        file.path = place->second;
      return !paths.insert(file.path).second;  // it was linked at its new place already
    });
    return record.files == known.files ? ItemChange() : changeTo(items, known, record);
  }

 private:
  const std::map<std::u16string, std::u16string>& places_;
};

int run(const Options& options, const Context& context) {
  const std::u16string folder = linkFolder(widePath(options.collection));
  LostFiles lost = lostFiles(options.collection, folder);
  if (lost.empty()) {
    note(context, "no linked file is missing");
    return kDone;
  }
  search(options.folders, folder, context, lost);
  std::map<std::u16string, std::u16string> places;
  for (const auto& [link, file] : lost) {
    if (const std::optional<std::u16string> place = placeOf(link, file)) {
      places.emplace(link, *place);
      continue;
    }
    std::string candidates;
    for (const std::u16string& path : file.found)
      (candidates += candidates.empty() ? "" : ", ") += toUtf8(path);
    warn(toUtf8(link) +
         (candidates.empty() ? ": not found" : ": it may be any of these: " + candidates));
  }
  if (places.empty())
    throw Failure{kFailed, options.collection, "no missing file was found; nothing is changed"};
  RelinkEdit edit(places);
  changeCollection(options.collection, EditMode::Existing, edit);
  if (places.size() < lost.size())
    throw Failure{kFailed, options.collection,
                  fmt::format("{} of {} missing files found again", places.size(), lost.size())};
  note(context, fmt::format("{} missing files found again", places.size()));
  return kDone;
}

}  // namespace

void addRelink(CLI::App& app, Context& context) {
  const auto options = std::make_shared<Options>();
  CLI::App* verb =
      app.add_subcommand("relink", "Finds linked files again that were moved or renamed");
  verb->footer(
      "Files that cannot be opened where they were linked are looked for by size and checksum in\n"
      "these folders and all that is below; their links are changed in one step. Of several that\n"
      "are the same, the one with the former name is taken, or none. Exit code 1 when some were "
      "not\nfound.");
  addCollectionOption(*verb, options->collection, true);
  verb->add_option("FOLDER", options->folders, "Where to look")
      ->required()
      ->check([](const auto& path) {
        return path.empty() ? std::string("a path is empty") : std::string();
      });
  verb->callback([&context, options] {
    context.run = [&context, options] { return run(*options, context); };
  });
}

}  // namespace tessaron::tool
