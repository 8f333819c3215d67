#include <fmt/format.h>

#include <algorithm>
#include <memory>

#include "platform/system.h"
#include "record_json.h"
#include "settings/collation.h"
#include "status.h"
#include "support/text.h"
#include "terminal.h"
#include "verbs.h"

namespace tessaron::tool {
namespace {

struct Options {
  std::string collection;
  std::string status = "all";
  std::string sort;
  std::string output;
  Form form = Form::Table;
};

/// What a list for programs tells of an item: these columns of an export.
const std::vector<std::string> kColumns = {
    "ASIN",          "Title",        "ProductGroup", "DateAdded",   "status.name",
    "status.target", "status.begin", "status.end",   "status.text", "status.due"};

using Rows = std::vector<const CRecord*>;

void sortRows(Rows& rows, const std::string& order) {
  if (order.empty()) return;
  const auto compare = [](const std::u16string& a, const std::u16string& b) {
    return CCollationSystem::CompareStringW(a.c_str(), b.c_str(), true);
  };
  const auto statusOf = [](const CRecord& record) {
    return record.hasStatus ? record.status : INT32_MAX;  // those without one come last
  };
  std::stable_sort(rows.begin(), rows.end(), [&](const CRecord* a, const CRecord* b) {
    int difference = 0;
    if (order == "added") return a->DateAdded < b->DateAdded;
    if (order == "group") difference = compare(a->ProductGroup, b->ProductGroup);
    if (order == "status" && statusOf(*a) != statusOf(*b)) return statusOf(*a) < statusOf(*b);
    if (difference == 0) difference = compare(a->Title, b->Title);
    return difference < 0;
  });
}

Rows selectRows(const Collection& collection, const std::function<bool(const CRecord&)>& wanted) {
  Rows rows;
  for (const CRecord& record : collection.records())
    if (wanted(record)) rows.push_back(&record);
  return rows;
}

/// The test for --status. Fails with kUsage for a name that means nothing.
std::function<bool(const CRecord&)> statusFilter(const std::string& name) {
  const std::string plain = plainName(name);
  if (plain == "all") return [](const CRecord&) { return true; };
  if (plain == "none") return [](const CRecord& record) { return !record.hasStatus; };
  return [status = parseStatus(name)](const CRecord& record) {
    return record.hasStatus && record.status == status;
  };
}

int run(const Options& options, const Context& context) {
  requireOtherFile(options.output, options.collection);
  const auto wanted = statusFilter(options.status);
  const Collection collection = loadCollection(options.collection);
  Rows rows = selectRows(collection, wanted);
  sortRows(rows, options.sort);
  const SYSTEMTIME now = utcNow();
  Output output(options.output);
  if (options.form != Form::Table) {
    writeRecords(rows, options.form, kColumns, output);
  } else if (!rows.empty()) {
    Table table({"ASIN", "Title", "Group", "Status", "Who", "Until", "Due"},
                {Fit::Whole, Fit::Title, Fit::Wrap, Fit::Wrap, Fit::Wrap, Fit::Whole, Fit::Whole});
    for (const CRecord* record : rows) {
      auto [what, who, until] = statusCells(*record);
      table.add({{toUtf8(record->ASIN)},
                 {toUtf8(record->Title)},
                 {toUtf8(record->ProductGroup)},
                 std::move(what),
                 std::move(who),
                 std::move(until),
                 dueCell(dueMark(*record, now))});
    }
    table.print(context, output);
  }
  output.finish();
  if (!rows.empty()) return kDone;
  throw Failure{kFailed, displayName(options.collection),
                collection.records().empty() ? "the collection is empty"
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
