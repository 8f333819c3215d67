#include <fmt/format.h>

#include <filesystem>
#include <memory>
#include <string>
#include <vector>

#include "cli/failures.h"
#include "cli/options.h"
#include "cli/output.h"
#include "cli/paths.h"
#include "cli/selection.h"
#include "output/html.h"
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
};

int run(const Options& options, const Context& context) {
  if (options.form == Form::Table)
    throw Failure{kUsage, {}, "one of --json, --csv, --tsv and --html is required"};
  requireOtherFile(options.output, options.collection);
  Selection items(options.collection, options.query);
  Output output(options.output);
  if (options.form == Form::Html) {
    const std::string stem =
        options.collection == "-" ? "" : pathText(filePath(options.collection).stem());
    writeHtmlPage(items, stem.empty() ? "Collection" : stem, utcNow(), PageCovers::Addresses, {},
                  output);
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
  verb->callback([options, &context] {
    context.run = [options, &context] { return run(*options, context); };
  });
}

}  // namespace tessaron::tool
