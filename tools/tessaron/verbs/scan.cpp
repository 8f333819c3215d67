#include <fmt/format.h>

#include <algorithm>
#include <chrono>
#include <filesystem>
#include <memory>
#include <optional>
#include <system_error>
#include <utility>
#include <vector>

#include "cli/failures.h"
#include "cli/interruption.h"
#include "cli/inventory.h"
#include "cli/options.h"
#include "cli/ordered_work.h"
#include "cli/output.h"
#include "cli/paths.h"
#include "cli/progress.h"
#include "cli/terminal.h"
#include "cli/version.h"
#include "mediainfo/category.h"
#include "output/changes.h"
#include "output/description.h"
#include "output/thumbnails.h"
#include "platform/directory.h"
#include "platform/standard_streams.h"
#include "platform/system.h"
#include "scan/describer.h"
#include "scan/file_index.h"
#include "scan/match_list.h"
#include "support/fingerprint.h"
#include "support/text.h"
#include "verbs/verbs.h"

namespace tessaron::tool {
namespace {

constexpr std::size_t kPart = 1024;  // files that are looked up in the index at a time

struct Options {
  std::vector<std::string> paths;
  std::vector<std::string> detect;
  std::string output;
  std::string thumbnails;
  std::string index;
  std::string collection;
  std::optional<int> minScore;
  bool match = false;
  bool link = false;
  bool onlyChanges = false;
  bool recursive = false;
  bool byName = false;
  bool location = false;
  double patience = 30;  // seconds
  Form form = Form::Table;
};

/// The categories with these names, and "other"; all categories when there are no names.
std::int32_t maskOf(const std::vector<std::string>& names) {
  std::int32_t mask = kOtherCategory;
  for (const auto& [category, name] : mediaCategoryNames())
    if (names.empty()) mask |= category;
  for (const std::string& name : names) mask |= findMediaCategory(name);
  return mask;
}

/// The absolute path of a folder with slashes, without one at its end.
std::string wholeFolder(const std::u16string& path) {
  std::string whole =
      pathText(std::filesystem::absolute(path).lexically_normal().generic_u16string());
  while (whole.size() > 1 && whole.ends_with('/')) whole.pop_back();
  return whole;
}

/// One run of the verb: writes the descriptions in the inventory's order.
class Scan {
 public:
  Scan(const Options& options, const Context& context)
      : options_(options),
        context_(context),
        inventory_(options.paths, options.recursive, options.index),
        output_(options.output) {
    if (options.match)
      matches_.emplace(matchOptions(), options.form, context, output_);
    else if (options.onlyChanges)
      changes_.emplace(options.form, context, output_);
    else
      description_ = newDescription(options.form, context, output_);
  }

  int run() {
    const InterruptionGuard guard;
    openIndex();
    try {
      describeAll();
    } catch (const Interrupted&) {
      // What was found stays known, unless it was to be told.
      if (index_ && !changes_) index_->commitPart();
      throw;
    }
    addRest();
    for (const std::string& remark : remarks_) warn(remark);
    std::vector<Failure> failures = inventory_.failures();
    failures.insert(failures.end(), failures_.begin(), failures_.end());
    for (const Failure& failure : failures) warn(failure.where + ": " + failure.reason);
    // Do not replace an earlier description with an empty one.
    if (count_ == 0 && !changes_ && !failures.empty()) return kNoInput;
    if (changes_)
      changes_->finish();
    else if (matches_)
      matches_->finish();
    else
      description_->finish();
    output_.finish();
    if (index_) index_->commit();
    if (output_.isFile())
      note(context_, fmt::format("{}: {} {}{}", options_.output, count_,
                                 changes_ ? "change" : "file", count_ == 1 ? "" : "s"));
    if (options_.link) matches_->link();
    return failures.empty() ? kDone : kNoInput;
  }

 private:
  MatchList::Options matchOptions() const {
    MatchList::Options match;
    match.collection = requireCollection(options_.collection, options_.link);
    match.links = options_.link;
    if (options_.minScore) match.minScore = *options_.minScore;
    return match;
  }

  /// What describing all files needs.
  struct Walk {
    Describer describer;
    std::vector<std::string> thumbnails;  // paths; empty when none are wanted
    std::optional<Progress> progress;
  };

  void describeAll() {
    const std::size_t count = inventory_.files().size();
    OrderedWork work;
    work.count = count;
    Walk walk{Describer({maskOf(options_.detect), options_.byName, options_.location, patience(),
                         index_ ? &*index_ : nullptr},
                        work.threads()),
              thumbnailPaths(),
              {}};
    if (!sharesTerminal()) walk.progress.emplace(context_, "describing", count);
    const std::size_t part = index_ ? kPart : std::max<std::size_t>(count, 1);
    for (std::size_t begin = 0; begin < count; begin += part)
      describe(begin, std::min(begin + part, count), walk);
  }

  /// Describes the files from `begin` to `end`. Those that the index knows are described on this
  /// thread: to hand them to another takes longer than to describe them.
  void describe(std::size_t begin, std::size_t end, Walk& walk) {
    std::vector<std::optional<FileResult>> known(index_ ? end - begin : 0);
    std::vector<std::size_t> unknown;
    for (std::size_t file = begin; file < end; ++file) {
      if (index_) {
        show(file, walk);
        known[file - begin] = walk.describer.recall(requestOf(file, walk));
      }
      if (!index_ || !known[file - begin]) unknown.push_back(file);
    }
    std::size_t next = begin;  // the next file to add
    const auto addKnownUpTo = [&](std::size_t file) {
      for (; next < file; ++next) add(inventory_.files()[next], *std::move(known[next - begin]));
    };
    std::vector<FileResult> results(OrderedWork::kWindow);
    const auto resultOf = [&](std::size_t index) -> FileResult& {
      return results[index % OrderedWork::kWindow];
    };
    OrderedWork work;
    work.count = unknown.size();
    work.work = [&](std::size_t index, std::size_t thread) {
      resultOf(index) = walk.describer.describe(requestOf(unknown[index], walk), thread);
    };
    work.wait = [&](std::size_t done) { show(unknown[done], walk); };
    work.deliver = [&](std::size_t index) {
      addKnownUpTo(unknown[index]);
      add(inventory_.files()[next++], std::exchange(resultOf(index), {}));
    };
    work.abandon = [&] { walk.describer.stop(); };
    work.run();
    addKnownUpTo(end);
  }

  FileRequest requestOf(std::size_t file, const Walk& walk) const {
    const Inventory::Entry& entry = inventory_.files()[file];
    return {inventory_.pathOf(entry), wholePath(entry),
            walk.thumbnails.empty() ? std::string() : walk.thumbnails[file]};
  }

  /// Tells that a file is next.
  void show(std::size_t file, Walk& walk) const {
    InterruptionGuard::check();
    if (walk.progress)
      walk.progress->showPace(file, toUtf8(inventory_.pathOf(inventory_.files()[file])));
  }

  /// Opens the index and tells it what is there. After that `wholePath` may be called.
  void openIndex() {
    if (options_.index.empty()) return;
    const std::int32_t mask = maskOf(options_.detect);
    index_.emplace(
        options_.index,
        fmt::format("{} {}{}{}{}", kVersion, mask, options_.thumbnails.empty() ? "" : " thumbnails",
                    options_.byName ? " by name" : "", options_.location ? " with locations" : ""));
    if (index_->wasDamaged())
      remarks_.push_back(options_.index + ": the index was damaged and is made anew");
    index_->begin(scope());
  }

  FileIndex::Scope scope() {
    FileIndex::Scope scope;
    using Listing = Inventory::Listing;
    for (const Inventory::Folder& folder : inventory_.folders()) {
      const std::string& whole = folders_.emplace_back(wholeFolder(folder.path));
      if (folder.listing == Listing::Failed)
        scope.unlisted.push_back(whole);
      else if (folder.listing == Listing::Whole && folder.parentId != -1)
        continue;  // below one of the trees
      else if (folder.listing == Listing::Whole)
        (options_.recursive ? scope.trees : scope.folders).push_back(whole);
    }
    for (const Inventory::Entry& file : inventory_.files())
      scope.present.push_back(fingerprint(wholePath(file)));
    std::ranges::sort(scope.folders);
    std::ranges::sort(scope.present);
    return scope;
  }

  std::string wholePath(const Inventory::Entry& file) const {
    if (folders_.empty()) return {};
    const std::string& folder = folders_[file.folder];
    return folder + (folder == "/" ? "" : "/") + toUtf8(file.name);
  }

  /// A path of the index as it would be told if the file was there.
  std::string shownPath(const std::string& whole) const {
    if (whole.empty()) return whole;
    for (std::size_t i = 0; i < folders_.size(); ++i) {
      const Inventory::Folder& folder = inventory_.folders()[i];
      const bool isRoot = folder.parentId == -1 && folder.listing == Inventory::Listing::Whole;
      if (isRoot && isBelow(whole, folders_[i]))
        return toUtf8(
            withSystemSeparators(folder.path + fromUtf8(whole.substr(folders_[i].size()))));
    }
    return whole;
  }

  /// Adds the folders behind the last file, and the files that are gone.
  void addRest() {
    while (folder_ < inventory_.folders().size()) nextFolder();
    if (!changes_) return;
    for (const std::string& path : index_->gone()) {
      changes_->add(Change::Gone, shownPath(path), {});
      ++count_;
    }
  }

  std::chrono::milliseconds patience() const {
    return std::chrono::ceil<std::chrono::milliseconds>(
        std::chrono::duration<double>(options_.patience));
  }

  /// The path of each file's thumbnail; empty when none is wanted.
  std::vector<std::string> thumbnailPaths() const {
    std::vector<std::string> paths;
    if (options_.thumbnails.empty()) return paths;
    ThumbnailNames names;
    for (const Inventory::Entry& file : inventory_.files())
      paths.push_back(options_.thumbnails + '/' + names.choose(toUtf8(inventory_.pathOf(file))));
    return paths;
  }

  /// Whether results go to the terminal while files are described; progress would be printed
  /// between them.
  bool sharesTerminal() const {
    const bool isKept = options_.form == Form::Table || options_.form == Form::Xml;
    return !isKept && !output_.isFile() && isTerminal(StandardStream::Out);
  }

  void nextFolder() {
    const Inventory::Folder& folder = inventory_.folders()[folder_++];
    if (description_) description_->addFolder(folder);
  }

  void add(const Inventory::Entry& file, FileResult&& result) {
    while (folder_ <= file.folder) nextFolder();
    if (!result.failure.empty()) {
      failures_.push_back({kNoInput, toUtf8(inventory_.pathOf(file)), result.failure});
      return;
    }
    if (changes_) {
      changes_->add(result.change, toUtf8(inventory_.pathOf(file)), shownPath(result.before));
      if (result.change != Change::None) ++count_;
      return;
    }
    if (result.isUndecodable)
      remarks_.push_back(toUtf8(inventory_.pathOf(file)) +
                         ": the picture cannot be decoded; its measures are those in its header");
    if (matches_)
      matches_->add(result.info);
    else
      description_->addFile(std::move(result.info), result.thumbnail);
    ++count_;
  }

  const Options& options_;
  const Context& context_;
  Inventory inventory_;
  Output output_;
  std::unique_ptr<Description> description_;  // or else the changes, or the matches
  std::optional<ChangeList> changes_;
  std::optional<MatchList> matches_;
  std::optional<FileIndex> index_;
  std::vector<std::string> folders_;  // absolute paths of the inventory's folders, with an index
  std::size_t folder_ = 0;            // the next folder to start
  std::size_t count_ = 0;             // files in the description
  std::vector<std::string> remarks_;
  std::vector<Failure> failures_;
};

int scan(const Options& options, const Context& context) {
  for (const std::string& path : options.paths) requireOtherFile(options.output, path);
  if (!options.index.empty()) requireOtherFile(options.output, options.index);
  if ((options.onlyChanges || options.match) && options.form == Form::Xml)
    throw Failure{kUsage,
                  {},
                  fmt::format("scan: {} has no XML form", options.match ? "--match" : "--changed")};
  if (!options.thumbnails.empty()) {
    if (const std::error_code error = createFolder(widePath(options.thumbnails)))
      throw Failure{kCannotCreate, options.thumbnails, error.message()};
  }
  try {
    return Scan(options, context).run();
  } catch (const Interrupted& interruption) {
    endInterrupted(interruption.caught);
  }
}

}  // namespace

void addScan(CLI::App& app, Context& context) {
  const auto options = std::make_shared<Options>();
  CLI::App* verb = app.add_subcommand("scan", "Describes files, and the files in folders");
  verb->add_option("PATH", options->paths, "Files and folders")
      ->required()
      ->check([](const std::string& path) {
        return path.empty() ? std::string("a path is empty") : std::string();
      });
  verb->add_flag("-r,--recursive", options->recursive, "Also what stands in folders further down");
  addFormFlags(*verb, options->form, {Form::Json, Form::Csv, Form::Tsv, Form::Xml});
  addOutputOption(*verb, options->output);
  std::vector<std::string> names;
  for (const auto& [category, name] : mediaCategoryNames()) names.emplace_back(name);
  verb->add_option("--detect", options->detect, "The kinds to be told; all others count as other")
      ->type_name("KIND,...")
      ->delimiter(',')
      ->allow_extra_args(false)
      ->check(CLI::IsMember(names));
  verb->add_flag("--by-name", options->byName,
                 "Tell the kind of a file by its name alone, not by its content");
  verb->add_flag("--location", options->location, "Tell where pictures and films were taken");
  verb->add_option("--thumbnails", options->thumbnails,
                   "Write pictures and covers, reduced, as PNG files")
      ->type_name("FOLDER");
  CLI::Option* index =
      verb->add_option("--index", options->index,
                       "Keep what is found; files that have not changed are not read again")
          ->type_name("FILE.db");
  CLI::Option* changed =
      verb->add_flag(
              "--changed", options->onlyChanges,
              "Only tell which files are new, changed, moved or gone since the index was written")
          ->needs(index);
  CLI::Option* match =
      verb->add_flag("--match", options->match,
                     "Tell which items of a collection the files belong to, with a score up to 100")
          ->excludes(changed);
  addSometimesCollectionOption(*verb, options->collection)->needs(match);
  verb->add_option("--min-score", options->minScore, "The lowest score to tell, if not 50")
      ->type_name("SCORE")
      ->check(CLI::Range(1, 100))
      ->needs(match);
  CLI::Option* link =
      verb->add_flag("--link", options->link, "Link files to items where the match is clear")
          ->needs(match);
  addDryRunFlag(*verb,
                "With --link, print what would change in the collection, write nothing there")
      ->needs(link);
  verb->add_option("--patience", options->patience, "Seconds that reading one file may take")
      ->type_name("SECONDS")
      ->check(CLI::Range(0.1, 86400.0))
      ->capture_default_str();
  verb->footer(
      "In folders files come first, sorted by name as your language does, with numbers by value.\n"
      "What cannot be read is told on standard error, the rest goes on, and the exit code is 66;\n"
      "when nothing can be read, nothing is written. Files are read by processes of their own, "
      "which\n"
      "have 512 MiB of memory and can neither write nor open other files nor use the network "
      "(where\n"
      "the kernel has seccomp or Landlock; without them only memory and time are limited). On\n"
      "Windows they can open files, but change none of yours.\n"
      "--match compares ISBN, bar code, ASIN, titles, people, year, run time and kind; a number "
      "in\n"
      "common gives 100. A match is clear from 75 and --min-score on if no other item comes "
      "within\n"
      "10. All links are made in one step (see link).");
  verb->callback([&context, options] {
    context.run = [&context, options] { return scan(*options, context); };
  });
}

}  // namespace tessaron::tool
