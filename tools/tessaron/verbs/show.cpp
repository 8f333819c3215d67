#include <algorithm>
#include <memory>
#include <nlohmann/json.hpp>
#include <optional>

#include "cli/failures.h"
#include "cli/items.h"
#include "cli/options.h"
#include "cli/output.h"
#include "cli/selection.h"
#include "cli/terminal.h"
#include "output/table.h"
#include "platform/system.h"
#include "records/record_json.h"
#include "verbs/verbs.h"

namespace tessaron::tool {
namespace {

using nlohmann::ordered_json;

struct Options {
  std::string collection;
  std::vector<std::string> items;
  std::optional<std::string> query;
  std::string output;
  Form form = Form::Table;
};

/// Whether a value has nothing to show: null, empty, or only such parts.
bool isEmpty(const ordered_json& value) {
  if (!value.is_structured())
    return value.is_null() || (value.is_string() && value.get_ref<const std::string&>().empty());
  return std::all_of(value.begin(), value.end(), isEmpty);
}

/// Writes "name: value" lines; the parts of objects and lists go below their name, indented by two
/// columns. Leaves out empty values.
void writeValue(const std::string& name, const ordered_json& value, std::size_t indent, bool color,
                Output& output) {
  if (isEmpty(value)) return;
  const std::string lead = std::string(indent, ' ') + styled(name, Style::Bold, color);
  if (!value.is_structured()) {
    std::string text = value.is_string() ? value.get<std::string>() : value.dump();
    text = printable(text, true);
    const std::string nextLine = '\n' + std::string(indent + 2, ' ');
    for (std::size_t at = 0; (at = text.find('\n', at)) != std::string::npos; at += nextLine.size())
      text.replace(at, 1, nextLine);
    output.write(lead + ' ' + text + '\n');
    return;
  }
  output.write(lead + '\n');
  for (const auto& [key, part] : value.items())
    writeValue(value.is_array() ? "-" : key + ':', part, indent + 2, color, output);
}

int run(const Options& options, const Context& context) {
  requireItems(options.items, options.query);
  requireOtherFile(options.output, options.collection);
  const bool isOne = options.items.size() == 1 && options.items[0] != "-";
  const bool isJson = options.form == Form::Json;
  const SYSTEMTIME now = utcNow();
  std::vector<CRecord> named;
  if (!options.query) named = readItems(options.collection, itemNames(options.items));
  Output output(options.output);
  const bool color = useColor(context, output);
  std::size_t count = 0;
  const auto show = [&](const CRecord& record) {
    std::string text;
    JsonWriter json(text);
    writeRecord(record, now, json);
    const bool isFirst = count++ == 0;
    if (isJson) return output.write((isFirst ? isOne ? "" : "[" : ",\n") + text);
    if (!isFirst) output.write("\n");
    const auto shown = ordered_json::parse(text);
    for (const auto& [key, value] : shown.items()) writeValue(key + ':', value, 0, color, output);
  };
  for (const CRecord& record : named) show(record);
  if (options.query) {
    Selection selection(options.collection, {*options.query});
    selection.forEachRecord(true, show);
    if (count == 0) throw Failure{kFailed, selection.name(), selection.emptyReason()};
  }
  if (isJson) output.write(isOne ? "\n" : "]\n");
  output.finish();
  return kDone;
}

}  // namespace

void addShow(CLI::App& app, Context& context) {
  const auto options = std::make_shared<Options>();
  CLI::App* verb = app.add_subcommand("show", "Prints everything about items");
  verb->footer(std::string(kItemHelp) +
               "\n- stands for names on standard input, one a line. For one ITEM the JSON is an "
               "object, for\nseveral, for - and for a query an array of them.");
  addCollectionOption(*verb, options->collection, false);
  addItemArguments(*verb, options->items);
  addQueryOption(*verb, options->query);
  addFormFlags(*verb, options->form, {Form::Json});
  addOutputOption(*verb, options->output);
  verb->callback([&context, options] {
    context.run = [&context, options] { return run(*options, context); };
  });
}

}  // namespace tessaron::tool
