#include <filesystem>
#include <string>
#include <utility>
#include <vector>

#include "csv.h"
#include "html.h"
#include "platform/system.h"
#include "record_json.h"
#include "verbs.h"

namespace tessaron::tool {

namespace {

using nlohmann::ordered_json;
using Column = ordered_json::json_pointer;

std::string jsonText(const std::vector<CRecord>& records) {
  std::string out = "[";
  for (const CRecord& record : records) {
    out += out.size() == 1 ? "\n" : ",\n";
    out += recordJson(record).dump(1);
  }
  return out + "\n]\n";
}

/// What a spreadsheet has a column for: all but what only programs read. Objects take a column a
/// member.
std::vector<Column> columns() {
  CRecord sample;
  sample.hasStatus = true;
  std::vector<Column> out;
  for (const auto& [key, value] : recordJson(sample).items()) {
    if (key == "offers" || key == "folders") continue;
    if (!value.is_object()) out.push_back(Column() / key);
    for (const auto& member : value.items())
      if (value.is_object()) out.push_back(Column() / key / member.key());
  }
  return out;
}

/// One cell: the parts of a list are put together with semicolons, lists of a list with line ends.
std::string cellText(const ordered_json& value) {
  if (value.is_null()) return {};
  if (value.is_string()) return value.get<std::string>();
  if (!value.is_structured()) return value.dump();
  std::string out;
  for (const ordered_json& part : value) {
    if (!out.empty()) out += value.is_object() ? ": " : part.is_array() ? "\n" : "; ";
    out += cellText(part);
  }
  return out;
}

std::string csvText(const std::vector<CRecord>& records) {
  const std::vector<Column> all = columns();
  std::vector<std::string> row;
  for (const Column& column : all) {
    std::string name = column.to_string().substr(1);
    if (const auto slash = name.find('/'); slash != name.npos) name[slash] = '.';
    row.push_back(std::move(name));
  }
  std::string out = csvRow(row);
  for (const CRecord& record : records) {
    const ordered_json json = recordJson(record);
    row.clear();
    for (const Column& column : all)
      row.push_back(json.contains(column) ? cellText(json.at(column)) : std::string());
    out += csvRow(row);
  }
  return out;
}

std::string pageTitle(const std::string& collection) {
  const std::string stem =
      collection == "-" ? "" : std::filesystem::path(collection).stem().string();
  return stem.empty() ? "Collection" : stem;
}

struct Options {
  std::string collection;
  std::string json;
  std::string csv;
  std::string html;
};

int run(const Options& options, const Context& context) {
  const std::string& target = !options.json.empty()  ? options.json
                              : !options.csv.empty() ? options.csv
                                                     : options.html;
  std::error_code unknown;  // then they are two files
  if (target != "-" && std::filesystem::equivalent(options.collection, target, unknown))
    throw Failure{kUsage, displayName(target), "the collection cannot be its own export"};

  const Collection collection = loadCollection(options.collection);
  const std::vector<CRecord>& records = collection.records();
  const std::string text = !options.json.empty() ? jsonText(records)
                           : !options.csv.empty()
                               ? csvText(records)
                               : htmlPage(records, pageTitle(options.collection), utcNow());
  if (target == "-") {
    print(text);
  } else {
    writeOutput(target, text);
    note(context, "wrote " + std::to_string(records.size()) +
                      (records.size() == 1 ? " item" : " items") + " to " + target);
  }
  return kDone;
}

}  // namespace

void addExport(CLI::App& app, Context& context) {
  auto options = std::make_shared<Options>();
  CLI::App* verb = app.add_subcommand("export", "Write the collection as JSON, CSV or a web page");
  addCollectionOption(*verb, options->collection, false);
  CLI::Option_group* format = verb->add_option_group("Format");
  format->add_option("--json", options->json, "Write a JSON document; - is standard output")
      ->type_name("OUT");
  format->add_option("--csv", options->csv, "Write a table for spreadsheets")->type_name("OUT");
  format->add_option("--html", options->html, "Write a page for web browsers")->type_name("OUT");
  format->require_option(1);
  verb->callback([options, &context] {
    context.run = [options, &context] { return run(*options, context); };
  });
}

}  // namespace tessaron::tool
