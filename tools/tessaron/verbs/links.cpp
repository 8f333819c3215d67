#include <fmt/format.h>

#include <memory>
#include <nlohmann/json.hpp>

#include "catalogue/file_links.h"
#include "cli/failures.h"
#include "cli/options.h"
#include "cli/output.h"
#include "cli/paths.h"
#include "cli/selection.h"
#include "output/csv.h"
#include "output/json.h"
#include "output/table.h"
#include "support/dos_date.h"
#include "support/text.h"
#include "verbs/verbs.h"

namespace tessaron::tool {
namespace {

struct Options {
  std::string collection;
  std::vector<std::string> query;
  std::string output;
  bool missing = false;
  Form form = Form::Table;
};

const char* nameOf(LinkState state) {
  switch (state) {
    case LinkState::Present:
      return "present";
    case LinkState::Changed:
      return "changed";
    case LinkState::Missing:
      break;
  }
  return "missing";
}

/// Writes the links of items as they come.
class LinkWriter {
 public:
  LinkWriter(Form form, Output& output) : form_(form), output_(output) {
    if (form_ == Form::Json) output_.write("[");
    if (form_ == Form::Csv || form_ == Form::Tsv)
      output_.write(separatedRow(
          form_, {"ASIN", "Title", "state", "path", "file", "size", "checksum", "added"}));
  }

  /// `path` is where the file is opened.
  void write(const CRecord& record, const CLinkedFile& file, LinkState state,
             const std::u16string& path) {
    const std::vector<std::string> texts = {
        toUtf8(record.ASIN), toUtf8(record.Title),      nameOf(state),         toUtf8(file.path),
        toUtf8(path),        std::to_string(file.size), toUtf8(file.checksum), isoDate(file.added)};
    if (form_ == Form::Table)
      table_.add({{texts[0]}, {texts[1]}, {texts[2]}, {texts[5]}, {texts[7]}, {texts[3]}});
    else if (form_ == Form::Json)
      writeJson(texts, file.size);
    else
      output_.write(separatedRow(form_, texts));
    ++count_;
  }

  void finish(const Context& context) {
    if (form_ == Form::Json) output_.write(count_ == 0 ? "]\n" : "\n]\n");
    if (form_ == Form::Table && count_ > 0) table_.print(context, output_);
  }
  std::size_t count() const { return count_; }

 private:
  void writeJson(const std::vector<std::string>& texts, std::uint64_t size) {
    nlohmann::ordered_json row = {{"ASIN", texts[0]},     {"Title", texts[1]}, {"state", texts[2]},
                                  {"path", texts[3]},     {"file", texts[4]},  {"size", size},
                                  {"checksum", texts[6]}, {"added", texts[7]}};
    if (texts[7].empty()) row["added"] = nullptr;
    output_.write(count_ == 0 ? "\n  " : ",\n  ");
    output_.write(indented(jsonText(row), 2));
  }

  Form form_;
  Output& output_;
  Table table_{{"ASIN", "Title", "State", "Bytes", "Linked", "File"},
               {Fit::Whole, Fit::Title, Fit::Whole, Fit::Whole, Fit::Whole, Fit::Whole}};
  std::size_t count_ = 0;
};

int run(const Options& options, const Context& context) {
  requireOtherFile(options.output, options.collection);
  const std::u16string folder = linkFolder(widePath(options.collection));
  Selection items(options.collection, options.query);
  Output output(options.output);
  LinkWriter writer(options.form, output);
  items.forEachRecord(false, [&](const CRecord& record) {
    for (const CLinkedFile& file : record.files) {
      const LinkState state = linkState(folder, file);
      if (!options.missing || state == LinkState::Missing)
        writer.write(record, file, state, linkedPath(folder, file.path));
    }
  });
  writer.finish(context);
  output.finish();
  if (writer.count() > 0) return kDone;
  throw Failure{kFailed, items.name(),
                !items.isWhole() && items.count() == 0 ? items.emptyReason()
                : options.missing                      ? "no linked file is missing"
                                                       : "no files are linked"};
}

}  // namespace

void addLinks(CLI::App& app, Context& context) {
  const auto options = std::make_shared<Options>();
  CLI::App* verb = app.add_subcommand("links", "Lists the files that are linked to items");
  verb->footer(
      "A file is present, changed when its size or checksum is another than when it was linked, "
      "or\n"
      "missing when it cannot be opened. A QUERY selects items (help query).\n"
      "Exit code 1 when there is no such link.");
  addCollectionOption(*verb, options->collection, false);
  addQueryArgument(*verb, options->query);
  verb->add_flag("--missing", options->missing, "Only files that cannot be opened");
  addFormFlags(*verb, options->form, {Form::Json, Form::Csv, Form::Tsv});
  addOutputOption(*verb, options->output);
  verb->callback([&context, options] {
    context.run = [&context, options] { return run(*options, context); };
  });
}

}  // namespace tessaron::tool
