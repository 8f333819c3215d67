#include <fmt/format.h>

#include <algorithm>
#include <memory>

#include "cli/collection.h"
#include "cli/failures.h"
#include "cli/options.h"
#include "cli/output.h"
#include "cli/status_names.h"
#include "output/record_json.h"
#include "output/status.h"
#include "output/table.h"
#include "platform/system.h"
#include "records/due.h"
#include "settings/collation.h"
#include "support/ascii.h"
#include "support/text.h"
#include "verbs/verbs.h"

namespace tessaron::tool {
namespace {

struct Options {
  std::string collection;
  std::string status = "all";
  std::string sort;
  std::string output;
  Form form = Form::Table;
};

/// The columns of an export that JSON, CSV and TSV lists contain.
const std::vector<std::string> kColumns = {
    "ASIN",          "Title",        "ProductGroup", "DateAdded",   "status.name",
    "status.target", "status.begin", "status.end",   "status.text", "status.due"};

/// An item in a sorted list: its sort keys and what is printed of it.
struct Row {
  std::u16string group;
  std::u16string title;
  std::uint16_t added;
  std::int32_t status;
  std::string text;                ///< for JSON, CSV and TSV
  std::vector<Table::Cell> cells;  ///< for a table
};

Row keysOf(const CRecord& record) {
  constexpr std::int32_t kLast = INT32_MAX;  // items without a status come last
  return {record.ProductGroup,
          record.Title,
          record.DateAdded,
          record.hasStatus ? record.status : kLast,
          {},
          {}};
}

void sortRows(std::vector<Row>& rows, const std::string& order) {
  const auto compare = [](const std::u16string& a, const std::u16string& b) {
    return CCollationSystem::CompareStringW(a.c_str(), b.c_str(), true);
  };
  std::stable_sort(rows.begin(), rows.end(), [&](const Row& a, const Row& b) {
    int difference = 0;
    if (order == "added") return a.added < b.added;
    if (order == "group") difference = compare(a.group, b.group);
    if (order == "status" && a.status != b.status) return a.status < b.status;
    if (difference == 0) difference = compare(a.title, b.title);
    return difference < 0;
  });
}

std::vector<Table::Cell> cellsOf(const CRecord& record, const SYSTEMTIME& now) {
  auto [what, who, until] = statusCells(record);
  return {
      {toUtf8(record.ASIN)}, {toUtf8(record.Title)}, {toUtf8(record.ProductGroup)}, std::move(what),
      std::move(who),        std::move(until),       dueCell(dueMark(record, now))};
}

/// The filter for --status. Fails with kUsage for an unknown name.
std::function<bool(const CRecord&)> statusFilter(const std::string& name) {
  if (equalIgnoringCase(name, "all")) return [](const CRecord&) { return true; };
  if (equalIgnoringCase(name, "none"))
    return [](const CRecord& record) { return !record.hasStatus; };
  return [status = parseStatus(name)](const CRecord& record) {
    return record.hasStatus && record.status == status;
  };
}

int run(const Options& options, const Context& context) {
  requireOtherFile(options.output, options.collection);
  const auto wanted = statusFilter(options.status);
  const bool isTable = options.form == Form::Table;
  const SYSTEMTIME now = utcNow();
  CollectionReader collection(options.collection);
  Output output(options.output);
  RecordWriter writer(options.form, kColumns, output);
  Table table({"ASIN", "Title", "Group", "Status", "Who", "Until", "Due"},
              {Fit::Whole, Fit::Title, Fit::Wrap, Fit::Wrap, Fit::Wrap, Fit::Whole, Fit::Whole});
  std::vector<Row> rows;
  std::size_t count = 0;
  collection.forEachRecord(!isTable, [&](const CRecord& record) {
    if (!wanted(record)) return;
    ++count;
    if (options.sort.empty())
      return isTable ? table.add(cellsOf(record, now)) : writer.write(record);
    Row& row = rows.emplace_back(keysOf(record));
    if (isTable)
      row.cells = cellsOf(record, now);
    else
      row.text = writer.text(record);
  });
  sortRows(rows, options.sort);
  for (Row& row : rows) isTable ? table.add(std::move(row.cells)) : writer.writeText(row.text);
  if (!isTable) writer.finish();
  if (isTable && count > 0) table.print(context, output);
  output.finish();
  if (count > 0) return kDone;
  throw Failure{kFailed, collection.name(),
                collection.count() == 0 ? "the collection is empty"
                                        : "no item has the status \"" + options.status + "\""};
}

}  // namespace

void addList(CLI::App& app, Context& context) {
  const auto options = std::make_shared<Options>();
  CLI::App* verb = app.add_subcommand("list", "Lists the items with their status");
  verb->footer("Exit code 1 when there is no such item.");
  addCollectionOption(*verb, options->collection, false);
  verb->add_option("--status", options->status,
                   "Only items with this status: none, all, " + statusChoices())
      ->type_name("NAME")
      ->capture_default_str();
  verb->add_option("--sort", options->sort, "The order, instead of the file's")
      ->check(CLI::IsMember({"title", "added", "group", "status"}))
      ->type_name("title|added|group|status");
  addFormFlags(*verb, options->form, {Form::Json, Form::Csv, Form::Tsv});
  addOutputOption(*verb, options->output);
  verb->callback([&context, options] {
    context.run = [&context, options] { return run(*options, context); };
  });
}

}  // namespace tessaron::tool
