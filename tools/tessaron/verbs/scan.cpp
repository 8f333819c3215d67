#include <fmt/format.h>
#include <unistd.h>

#include <memory>
#include <new>
#include <optional>
#include <system_error>
#include <utility>
#include <vector>

#include "cli/failures.h"
#include "cli/inventory.h"
#include "cli/options.h"
#include "cli/ordered_work.h"
#include "cli/output.h"
#include "cli/paths.h"
#include "cli/progress.h"
#include "cli/terminal.h"
#include "mediainfo/category.h"
#include "mediainfo/file_info.h"
#include "output/description.h"
#include "output/thumbnails.h"
#include "platform/directory.h"
#include "platform/file.h"
#include "scan/described.h"
#include "support/pictures/picture_memory.h"
#include "support/text.h"
#include "verbs/verbs.h"

namespace tessaron::tool {
namespace {

struct Options {
  std::vector<std::string> paths;
  std::vector<std::string> detect;
  std::string output;
  std::string thumbnails;
  bool recursive = false;
  bool byName = false;
  bool location = false;
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

/// The result of describing one file.
struct Result {
  CFileInfo info;
  std::string thumbnail;  ///< path of the file that was written
  std::string failure;
  bool isUndecodable = false;  ///< only the picture's header could be read
};

std::string reasonFor(const std::u16string& path) {
  std::error_code error;
  const bool isOpened = static_cast<bool>(openFile(path, {}, error));
  return isOpened ? "it cannot be read" : error.message();
}

/// Describes a file, and writes its thumbnail to `thumbnail` unless that is empty.
Result describe(const std::u16string& path, std::int32_t mask, const std::string& thumbnail,
                const Options& options) {
  Result result;
  const PictureMemoryScope memory;  // covers decoding and writing the thumbnail
  Described file({!thumbnail.empty(), options.byName, options.location});
  file.setDetectType(mask);
  if (!file.fromFile(path)) {
    result.failure = reasonFor(path);
  } else if (file.isUnreadable()) {
    result.failure = "its content cannot be read";
  } else if (!thumbnail.empty()) {
    if (writeThumbnail(file, thumbnail)) result.thumbnail = thumbnail;
    result.isUndecodable = file.isUndecodable();
  }
  file.thumbnails = {};  // waiting results must not hold pictures
  result.info = std::move(file);
  return result;
}

/// One run of the verb: writes the descriptions in the inventory's order.
class Scan {
 public:
  Scan(const Options& options, const Context& context)
      : options_(options),
        context_(context),
        inventory_(options.paths, options.recursive),
        output_(options.output),
        description_(newDescription(options.form, context, output_)) {}

  int run() {
    describeAll();
    while (folder_ < inventory_.folders().size()) nextFolder();
    for (const std::string& remark : remarks_) warn(remark);
    std::vector<Failure> failures = inventory_.failures();
    failures.insert(failures.end(), failures_.begin(), failures_.end());
    for (const Failure& failure : failures) warn(failure.where + ": " + failure.reason);
    // Do not replace an earlier description with an empty one.
    if (count_ == 0 && !failures.empty()) return kNoInput;
    description_->finish();
    output_.finish();
    if (output_.isFile())
      note(context_,
           fmt::format("{}: {} {}", options_.output, count_, count_ == 1 ? "file" : "files"));
    return failures.empty() ? kDone : kNoInput;
  }

 private:
  void describeAll() {
    const std::vector<Inventory::Entry>& files = inventory_.files();
    const std::int32_t mask = maskOf(options_.detect);
    const std::vector<std::string> thumbnails = thumbnailPaths();
    std::vector<Result> results(OrderedWork::kWindow);
    const auto resultOf = [&](std::size_t index) -> Result& {
      return results[index % OrderedWork::kWindow];
    };
    std::optional<Progress> progress;
    if (!sharesTerminal()) progress.emplace(context_, "describing", files.size());

    OrderedWork work;
    work.count = files.size();
    work.work = [&](std::size_t index) {
      try {
        resultOf(index) =
            describe(inventory_.pathOf(files[index]), mask,
                     thumbnails.empty() ? std::string() : thumbnails[index], options_);
      } catch (const std::bad_alloc&) {
        resultOf(index).failure = "there is not enough memory to describe it";
      }
    };
    work.wait = [&](std::size_t done) {
      if (progress) progress->showPace(done, toUtf8(inventory_.pathOf(files[done])));
    };
    work.deliver = [&](std::size_t index) {
      add(files[index], std::exchange(resultOf(index), {}));
    };
    work.run();
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
    return !isKept && !output_.isFile() && terminalWidth(STDOUT_FILENO).has_value();
  }

  void nextFolder() { description_->addFolder(inventory_.folders()[folder_++]); }

  void add(const Inventory::Entry& file, Result&& result) {
    while (folder_ <= file.folder) nextFolder();
    if (!result.failure.empty()) {
      failures_.push_back({kNoInput, toUtf8(inventory_.pathOf(file)), result.failure});
      return;
    }
    if (result.isUndecodable)
      remarks_.push_back(toUtf8(inventory_.pathOf(file)) +
                         ": the picture cannot be decoded; its measures are those in its header");
    description_->addFile(std::move(result.info), result.thumbnail);
    ++count_;
  }

  const Options& options_;
  const Context& context_;
  Inventory inventory_;
  Output output_;
  std::unique_ptr<Description> description_;
  std::size_t folder_ = 0;  // the next folder to start
  std::size_t count_ = 0;   // files in the description
  std::vector<std::string> remarks_;
  std::vector<Failure> failures_;
};

int scan(const Options& options, const Context& context) {
  for (const std::string& path : options.paths) requireOtherFile(options.output, path);
  if (!options.thumbnails.empty()) {
    if (const std::error_code error = createFolder(widePath(options.thumbnails)))
      throw Failure{kCannotCreate, options.thumbnails, error.message()};
  }
  return Scan(options, context).run();
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
  verb->footer(
      "In folders files come first, sorted by name as your language does, with numbers by value.\n"
      "What cannot be read is told on standard error, the rest goes on, and the exit code is 66;\n"
      "when nothing can be read, nothing is written.");
  verb->callback([&context, options] {
    context.run = [&context, options] { return scan(*options, context); };
  });
}

}  // namespace tessaron::tool
