#include <fmt/format.h>

#include <filesystem>
#include <memory>
#include <string>
#include <vector>

#include "html.h"
#include "platform/system.h"
#include "record_json.h"
#include "verbs.h"

namespace tessaron::tool {

namespace {

std::string pageText(const std::vector<CRecord>& records, const std::string& collection) {
  const std::string stem =
      collection == "-" ? "" : std::filesystem::path(collection).stem().string();
  return htmlPage(records, stem.empty() ? "Collection" : stem, utcNow());
}

std::vector<const CRecord*> pointersTo(const std::vector<CRecord>& records) {
  std::vector<const CRecord*> pointers;
  for (const CRecord& record : records) pointers.push_back(&record);
  return pointers;
}

struct Options {
  std::string collection;
  std::string output;
  Form form = Form::Table;
};

int run(const Options& options, const Context& context) {
  if (options.form == Form::Table)
    throw Failure{kUsage, {}, "one of --json, --csv, --tsv and --html is required"};
  requireOtherFile(options.output, options.collection);
  const Collection collection = loadCollection(options.collection);
  const std::vector<CRecord>& records = collection.records();
  Output output(options.output);
  if (options.form == Form::Html)
    output.write(pageText(records, options.collection));
  else
    writeRecords(pointersTo(records), options.form, recordColumns(), output);
  output.finish();
  if (output.isFile())
    note(context, fmt::format("{}: {} {}", options.output, records.size(),
                              records.size() == 1 ? "item" : "items"));
  return kDone;
}

}  // namespace

void addExport(CLI::App& app, Context& context) {
  const auto options = std::make_shared<Options>();
  CLI::App* verb = app.add_subcommand("export", "Writes the collection in another form");
  verb->footer("One of the forms is required.");
  addCollectionOption(*verb, options->collection, false);
  addFormFlags(*verb, options->form, {Form::Json, Form::Csv, Form::Tsv, Form::Html});
  addOutputOption(*verb, options->output);
  verb->callback([options, &context] {
    context.run = [options, &context] { return run(*options, context); };
  });
}

}  // namespace tessaron::tool
