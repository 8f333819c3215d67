#include "catalogue/covers.h"

#include <fmt/format.h>

#include <CLI/CLI.hpp>
#include <algorithm>
#include <memory>
#include <nlohmann/json.hpp>
#include <set>
#include <span>
#include <utility>

#include "cli/collection.h"
#include "cli/failures.h"
#include "cli/input.h"
#include "cli/interruption.h"
#include "cli/items.h"
#include "cli/options.h"
#include "cli/output.h"
#include "cli/progress.h"
#include "cli/selection.h"
#include "cli/terminal.h"
#include "covers/cover_cache.h"
#include "covers/cover_fetch.h"
#include "covers/cover_folder.h"
#include "output/csv.h"
#include "output/html_text.h"
#include "output/json.h"
#include "output/table.h"
#include "platform/standard_streams.h"
#include "support/text.h"
#include "verbs/verbs.h"

namespace tessaron::tool {
namespace {

struct Options {
  std::string collection;
  std::vector<std::string> query;
  std::string item;
  std::string file;
  std::string size = "whole";
  std::string folder;
  std::string output;
  std::vector<std::string> others;
  Form form = Form::Table;
  bool again = false;
  bool isMissing = false;
};

void store(const std::string& collection, std::span<const CoverChange> changes) {
  if (changes.empty() || editSession().isTrial) return;
  const std::u16string path = requireCachePath(collection);
  if (const std::string reason = changeCovers(path, changes); !reason.empty())
    throw Failure{kCannotWrite, toUtf8(path), reason};
}

std::vector<std::string> addressesOf(const CRecord& record) {
  std::vector<std::string> addresses;
  for (const std::u16string* image :
       {&record.LargeImage, &record.MediumImage, &record.SmallImage}) {
    std::string address = toUtf8(*image);
    if (isWebAddress(address) && std::ranges::find(addresses, address) == addresses.end())
      addresses.push_back(std::move(address));
  }
  return addresses;
}

/// Keeps fetched covers until there are enough for a write of the cache.
class Batch {
 public:
  explicit Batch(const std::string& collection) : collection_(collection) {}

  void add(CoverChange&& change) {
    constexpr std::size_t kMaxCovers = 100, kMaxBytes = std::size_t{16} << 20;
    bytes_ += change.whole.size();
    changes_.push_back(std::move(change));
    if (changes_.size() >= kMaxCovers || bytes_ >= kMaxBytes) flush();
  }
  void flush() {
    store(collection_, changes_);
    changes_.clear();
    bytes_ = 0;
  }

 private:
  const std::string& collection_;
  std::vector<CoverChange> changes_;
  std::size_t bytes_ = 0;
};

/// Fetches covers into the cache, and tells which failed and why. Returns how many. What came
/// before an interruption is kept.
std::size_t fetchInto(const std::string& collection, const std::vector<CoverWish>& wishes,
                      const Context& context) {
  const InterruptionGuard guard;
  Batch batch(collection);
  std::size_t done = 0, failed = 0;
  std::string failures;
  const auto deliver = [&](std::size_t number, FetchedCover&& cover) {
    const CoverWish& wish = wishes[number];
    ++done;
    if (cover.failure.empty())
      return batch.add({wish.key, std::move(cover.bytes), std::move(cover.picture.small),
                        std::move(cover.picture.medium)});
    ++failed;
    failures += printable(fmt::format("tessaron: {}: {}", toUtf8(wish.key), cover.failure)) + '\n';
  };
  try {
    Progress progress(context, "fetching covers", wishes.size());
    fetchCovers(wishes, deliver, [&] {
      progress.showPace(done, {});
      InterruptionGuard::check();
    });
  } catch (const Interrupted&) {
    batch.flush();
    throw;
  }
  batch.flush();
  say(failures);
  return failed;
}

int fetch(const Options& options, const Context& context) {
  Selection items(options.collection, options.query);
  const auto covers = openCovers(options.collection, context);
  std::vector<CoverWish> wishes;
  std::set<std::u16string> keys;
  std::size_t kept = 0, without = 0;
  items.forEachRecord(false, [&](const CRecord& record) {
    if (record.ASIN.empty() || !keys.insert(record.ASIN).second) return;
    if (!options.again && covers->has(record.ASIN)) {
      ++kept;
    } else if (std::vector<std::string> addresses = addressesOf(record); addresses.empty()) {
      ++without;
    } else {
      wishes.push_back({record.ASIN, std::move(addresses)});
    }
  });
  if (items.count() == 0) throw Failure{kFailed, items.name(), items.emptyReason()};

  if (editSession().isTrial) {
    for (const CoverWish& wish : wishes)
      print(fmt::format("{}: {}\n", toUtf8(wish.key), wish.addresses[0]));
    note(context, fmt::format("{} would be fetched", wishes.size()));
    return kDone;
  }
  std::size_t failed = 0;
  try {
    failed = fetchInto(options.collection, wishes, context);
  } catch (const Interrupted& interruption) {
    endInterrupted(interruption.caught);
  }
  const std::string summary =
      fmt::format("{} fetched, {} there already, {} without an address, {} failed",
                  wishes.size() - failed, kept, without, failed);
  if (failed > 0) throw Failure{kFailed, {}, summary};
  note(context, summary);
  return kDone;
}

/// The key of the only item that a name means.
CRecord requireItem(const Options& options) {
  CRecord record = readItems(options.collection, {options.item}).front();
  if (record.ASIN.empty())
    throw Failure{kFailed, displayName(options.collection), "the item has no key (ASIN)"};
  return record;
}

int attach(const Options& options, const Context& context) {
  const CRecord record = requireItem(options);
  std::string bytes = readInput(options.file);
  constexpr std::size_t kMaxBytes = std::size_t{16} << 20;
  if (bytes.size() > kMaxBytes)
    throw Failure{kBadData, displayName(options.file), "it has more than 16 MiB"};
  CoverPicture picture = CoverMaker().make(bytes);
  if (!picture.failure.empty())
    throw Failure{picture.isOfSystem ? kCannotWrite : kBadData, displayName(options.file),
                  picture.failure};
  const CoverChange change{record.ASIN, std::move(bytes), std::move(picture.small),
                           std::move(picture.medium)};
  store(options.collection, {&change, 1});
  note(context, fmt::format("{} has a cover of {} x {} pixels", toUtf8(record.ASIN), picture.width,
                            picture.height));
  return kDone;
}

int show(const Options& options, const Context& context) {
  const CRecord record = requireItem(options);
  const CoverSize size = options.size == "small"    ? CoverSize::Small
                         : options.size == "medium" ? CoverSize::Medium
                                                    : CoverSize::Whole;
  const std::string bytes = openCovers(options.collection, context)->read(record.ASIN, size);
  if (bytes.empty())
    throw Failure{kFailed, toUtf8(record.ASIN), "it has no cover; covers fetch gets it"};
  if (options.output.empty() && isTerminal(StandardStream::Out))
    throw Failure{kUsage, {}, "a picture is no text for a terminal; give -o FILE"};
  writeResult(options.output, bytes);
  return kDone;
}

int exportCovers(const Options& options, const Context& context) {
  Selection items(options.collection, options.query);
  const auto covers = openCovers(options.collection, context);
  CoverFolder folder(options.folder);
  std::size_t count = 0;
  items.forEachRecord(false, [&](const CRecord& record) {
    const std::string bytes = covers->read(record.ASIN, CoverSize::Whole);
    if (bytes.empty()) return;
    folder.write(record.ASIN, bytes);
    ++count;
  });
  if (items.count() == 0) throw Failure{kFailed, items.name(), items.emptyReason()};
  note(context, fmt::format("{}: {} {}", options.folder, count, count == 1 ? "cover" : "covers"));
  return count > 0 ? kDone : kFailed;
}

std::set<std::u16string> keysIn(const std::string& collection) {
  std::set<std::u16string> keys;
  CollectionReader(collection).forEachItem([&](const ItemStream& items) {
    keys.insert(items.asin());
  });
  return keys;
}

int prune(const Options& options, const Context& context) {
  std::set<std::u16string> keys = keysIn(options.collection);
  for (const std::string& other : options.others) keys.merge(keysIn(other));
  const std::u16string path = requireCachePath(options.collection);
  std::vector<std::u16string> removed;
  const bool isTrial = editSession().isTrial;
  if (const std::string reason = pruneCovers(path, keys, isTrial, removed); !reason.empty())
    throw Failure{kCannotWrite, toUtf8(path), reason};
  if (isTrial)
    for (const std::u16string& key : removed) print(toUtf8(key) + '\n');
  note(context,
       fmt::format("{} {} removed", removed.size(), removed.size() == 1 ? "cover" : "covers"));
  return kDone;
}

int list(const Options& options, const Context& context) {
  requireOtherFile(options.output, options.collection);
  Selection items(options.collection, options.query);
  const auto covers = openCovers(options.collection, context);
  Output output(options.output);
  Table table({"ASIN", "Title", "Cover", "Bytes", "Address"},
              {Fit::Whole, Fit::Title, Fit::Whole, Fit::Whole, Fit::Wrap});
  if (options.form != Form::Table && options.form != Form::Json)
    output.write(separatedRow(options.form, {"ASIN", "Title", "cover", "bytes", "address"}));
  std::size_t count = 0;
  items.forEachRecord(false, [&](const CRecord& record) {
    const std::uint32_t bytes = covers->sizeOf(record.ASIN);
    if (options.isMissing && bytes > 0) return;
    const std::vector<std::string> addresses = addressesOf(record);
    const std::string address = addresses.empty() ? "" : addresses[0];
    const std::vector<std::string> row = {toUtf8(record.ASIN), toUtf8(record.Title),
                                          bytes > 0 ? "yes" : "no",
                                          bytes > 0 ? std::to_string(bytes) : "", address};
    if (options.form == Form::Json) {
      const nlohmann::ordered_json json = {{"ASIN", row[0]},
                                           {"Title", row[1]},
                                           {"cover", bytes > 0},
                                           {"bytes", bytes},
                                           {"address", address}};
      output.write(count == 0 ? "[\n  " : ",\n  ");
      output.write(indented(jsonText(json), 2));
    } else if (options.form == Form::Table) {
      std::vector<Table::Cell> cells;
      cells.reserve(row.size());
      for (const std::string& text : row) cells.push_back({text});
      table.add(cells);
    } else {
      output.write(separatedRow(options.form, row));
    }
    ++count;
  });
  if (options.form == Form::Json) output.write(count == 0 ? "[]\n" : "\n]\n");
  if (options.form == Form::Table && count > 0) table.print(context, output);
  output.finish();
  if (count > 0) return kDone;
  throw Failure{kFailed, items.name(),
                items.count() == 0 ? items.emptyReason() : "all of these items have covers"};
}

}  // namespace

void addCovers(CLI::App& app, Context& context) {
  const auto options = std::make_shared<Options>();
  CLI::App* verb = app.add_subcommand("covers", "Fetches, attaches and lists the covers of items");
  verb->require_subcommand(1);
  const auto add = [&](const char* name, const char* help, bool isEdit,
                       int (*action)(const Options&, const Context&)) {
    CLI::App* added = verb->add_subcommand(name, help);
    addCollectionOption(*added, options->collection, isEdit);
    added->callback([&context, options, action] {
      context.run = [&context, options, action] { return action(*options, context); };
    });
    return added;
  };

  CLI::App* fetchVerb =
      add("fetch", "Gets covers from the addresses in the collection", true, fetch);
  addQueryArgument(*fetchVerb, options->query);
  fetchVerb->add_flag("--again", options->again, "Also those that are there already");
  fetchVerb->footer(
      "Of each item the largest picture that is at most 1,000 pixels wide is kept, in the file\n"
      "ImageCache.db beside the collection. Exit code 1 when a cover could not be fetched.");

  CLI::App* attachVerb = add("attach", "Makes a picture the cover of an item", true, attach);
  addItemArgument(*attachVerb, options->item);
  attachVerb
      ->add_option("FILE", options->file, "A JPEG, PNG, GIF or WebP picture; - is standard input")
      ->required();

  CLI::App* showVerb = add("show", "Writes the cover of an item", false, show);
  addItemArgument(*showVerb, options->item);
  showVerb->add_option("--size", options->size, "The cover itself or one of its thumbnails")
      ->type_name("whole|medium|small")
      ->check(CLI::IsMember({"whole", "medium", "small"}))
      ->capture_default_str();
  addOutputOption(*showVerb, options->output);

  CLI::App* exportVerb = add("export", "Writes all covers into a folder", false, exportCovers);
  exportVerb->add_option("DIR", options->folder, "The folder; created when it is missing")
      ->required();
  addQueryArgument(*exportVerb, options->query);

  CLI::App* pruneVerb = add("prune", "Removes the covers of items that are gone", true, prune);
  pruneVerb->add_option("OTHER", options->others,
                        "Other collections in the same folder, whose covers stay");

  CLI::App* listVerb = add("list", "Lists which items have covers", false, list);
  addQueryArgument(*listVerb, options->query);
  listVerb->add_flag("--missing", options->isMissing, "Only items without a cover");
  addFormFlags(*listVerb, options->form, {Form::Json, Form::Csv, Form::Tsv});
  addOutputOption(*listVerb, options->output);
}

}  // namespace tessaron::tool
