#include <fmt/format.h>

#include <filesystem>
#include <memory>
#include <string>
#include <string_view>
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

std::string jsonArray(const std::vector<CRecord>& records) {
  std::vector<const CRecord*> all;
  for (const CRecord& record : records) all.push_back(&record);
  std::string out;
  writeJsonArray(all, [&out](std::string_view text) { out += text; });
  return out;
}

/// What a spreadsheet has a column for: all but what only programs read. Objects take a column a
/// member.
std::vector<Column> columns() {
  CRecord sample;
  sample.hasStatus = true;
  const ordered_json record = recordJson(sample);
  std::vector<Column> out;
  for (const auto& [key, value] : record.items()) {
    if (key == "offers" || key == "folders") continue;
    if (!value.is_object()) {
      out.push_back(Column() / key);
      continue;
    }
    for (const auto& [member, ignored] : value.items()) out.push_back(Column() / key / member);
  }
  return out;
}

/// One cell: the parts of a list are put together with semicolons, lists of a list with line ends.
std::string cellText(const ordered_json& value) {
  if (value.is_null()) return {};
  if (value.is_string()) return value.get<std::string>();
  if (!value.is_structured()) return value.dump();
  std::string out;
  bool first = true;
  for (const ordered_json& part : value) {
    if (!std::exchange(first, false))
      out += value.is_object() ? ": " : part.is_array() ? "\n" : "; ";
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

std::string pageText(const std::vector<CRecord>& records, const std::string& collection) {
  const std::string stem =
      collection == "-" ? "" : std::filesystem::path(collection).stem().string();
  return htmlPage(records, stem.empty() ? "Collection" : stem, utcNow());
}

/// Makes the text in which the records of a collection file are written.
using Form = std::string (*)(const std::vector<CRecord>& records, const std::string& collection);

struct Options {
  std::string collection;
  std::string target;
  Form form = nullptr;
};

int run(const Options& options, const Context& context) {
  const std::string& target = options.target;
  std::error_code error;  // one that is not there yet is another file
  if (target != "-" && std::filesystem::equivalent(options.collection, target, error))
    throw Failure{kUsage, target, "the collection cannot be its own export"};

  const Collection collection = loadCollection(options.collection);
  const std::size_t count = collection.records().size();
  const std::string text = options.form(collection.records(), options.collection);
  if (target == "-") {
    print(text);
  } else {
    writeOutput(target, text);
    note(context, fmt::format("{}: {} {}", target, count, count == 1 ? "item" : "items"));
  }
  return kDone;
}

}  // namespace

void addExport(CLI::App& app, Context& context) {
  const auto options = std::make_shared<Options>();
  CLI::App* verb = app.add_subcommand("export", "Writes the collection in another form");
  addCollectionOption(*verb, options->collection, false);
  CLI::Option_group* formats = verb->add_option_group("Form", "One of these; - is standard output");
  const auto add = [&](const std::string& name, const std::string& help, Form form) {
    const auto choose = [options, form](const std::string& target) {
      options->target = target;
      options->form = form;
    };
    formats->add_option_function<std::string>(name, choose, help)->type_name("OUT");
  };
  add("--json", "A JSON document", [](auto& records, auto&) { return jsonArray(records); });
  add("--csv", "A table for spreadsheets", [](auto& records, auto&) { return csvText(records); });
  add("--html", "A page for web browsers", pageText);
  formats->require_option(1);
  verb->callback([options, &context] {
    context.run = [options, &context] { return run(*options, context); };
  });
}

}  // namespace tessaron::tool
