#include <fmt/format.h>

#include <filesystem>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "catalogue/covers.h"
#include "cli/failures.h"
#include "cli/options.h"
#include "cli/output.h"
#include "cli/paths.h"
#include "cli/selection.h"
#include "covers/cover_cache.h"
#include "covers/cover_folder.h"
#include "output/html.h"
#include "output/html_text.h"
#include "output/record_json.h"
#include "output/table.h"
#include "platform/system.h"
#include "verbs/verbs.h"

namespace tessaron::tool {

namespace {

struct Options {
  std::string collection;
  std::vector<std::string> query;
  std::string output;
  Form form = Form::Table;
  std::optional<std::string> covers;
};

/// Writes the page with its covers from the cache, inside of it or in a folder beside it.
class PageExport {
 public:
  PageExport(const Options& options, const Context& context) : options_(options) {
    if (!options.covers) return;
    covers_ = *options.covers == "embed"    ? PageCovers::Embedded
              : *options.covers == "folder" ? PageCovers::Folder
                                            : PageCovers::None;
    if (covers_ == PageCovers::None) return;
    cache_ = openCovers(options.collection, context);
    if (covers_ != PageCovers::Folder) return;
    if (options.output.empty() || options.output == "-")
      throw Failure{kUsage, {}, "--covers folder needs -o FILE: the folder is beside the page"};
    const std::filesystem::path page = filePath(options.output);
    name_ = pathText(page.stem()) + "_covers";
    folder_ = std::make_unique<CoverFolder>(pathText(page.parent_path() / filePath(name_)));
  }

  void write(Selection& items, Output& output) {
    const std::string stem =
        options_.collection == "-" ? "" : pathText(filePath(options_.collection).stem());
    writeHtmlPage(
        items, stem.empty() ? "Collection" : stem, utcNow(), covers_,
        [this](const CRecord& record) { return addressOf(record); }, output);
  }

 private:
  std::string addressOf(const CRecord& record) {
    const bool isEmbedded = covers_ == PageCovers::Embedded;
    const std::string bytes =
        cache_->read(record.ASIN, isEmbedded ? CoverSize::Medium : CoverSize::Whole);
    const auto format = coverFormat(std::as_bytes(std::span(bytes)));
    if (!format) return {};
    if (isEmbedded) return fmt::format("data:{};base64,{}", format->mediaType, base64(bytes));
    return addressPart(name_) + '/' + folder_->write(record.ASIN, bytes);
  }

  const Options& options_;
  PageCovers covers_ = PageCovers::Addresses;
  std::unique_ptr<CoverReader> cache_;
  std::string name_;
  std::unique_ptr<CoverFolder> folder_;
};

int run(const Options& options, const Context& context) {
  if (options.form == Form::Table)
    throw Failure{kUsage, {}, "one of --json, --csv, --tsv and --html is required"};
  if (options.covers && options.form != Form::Html)
    throw Failure{kUsage, {}, "--covers is for --html"};
  requireOtherFile(options.output, options.collection);
  Selection items(options.collection, options.query);
  Output output(options.output);
  if (options.form == Form::Html) {
    PageExport(options, context).write(items, output);
  } else {
    RecordWriter writer(options.form, output);
    items.forEachRecord(true, [&](const CRecord& record) { writer.write(record); });
    writer.finish();
  }
  if (items.count() == 0 && !items.isWhole())
    throw Failure{kFailed, items.name(), items.emptyReason()};
  output.finish();
  const std::size_t count = items.count();
  if (output.isFile())
    note(context, fmt::format("{}: {} {}", options.output, count, count == 1 ? "item" : "items"));
  return kDone;
}

}  // namespace

void addExport(CLI::App& app, Context& context) {
  const auto options = std::make_shared<Options>();
  CLI::App* verb = app.add_subcommand("export", "Writes the collection in another form");
  verb->footer("One of the forms is required. Exit code 1, and no file, when no item matches.");
  addCollectionOption(*verb, options->collection, false);
  addQueryArgument(*verb, options->query);
  addFormFlags(*verb, options->form, {Form::Json, Form::Csv, Form::Tsv, Form::Html});
  addOutputOption(*verb, options->output);
  verb->add_option("--covers", options->covers,
                   "Covers of the page from the cache, so that it needs no host: in the page, in a "
                   "folder beside it, or only drawn ones; see covers")
      ->type_name("embed|folder|none")
      ->check(CLI::IsMember({"embed", "folder", "none"}));
  verb->callback([options, &context] {
    context.run = [options, &context] { return run(*options, context); };
  });
}

}  // namespace tessaron::tool
