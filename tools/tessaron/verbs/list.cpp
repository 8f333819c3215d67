#include <fmt/format.h>

#include <algorithm>
#include <memory>
#include <utility>

#include "catalogue/item_order.h"
#include "cli/failures.h"
#include "cli/options.h"
#include "cli/output.h"
#include "cli/selection.h"
#include "cli/status_names.h"
#include "cli/terminal.h"
#include "output/record_json.h"
#include "output/row_store.h"
#include "output/status.h"
#include "output/table.h"
#include "platform/system.h"
#include "records/due.h"
#include "support/ascii.h"
#include "support/text.h"
#include "verbs/verbs.h"

namespace tessaron::tool {
namespace {

struct Options {
  std::string collection;
  std::vector<std::string> query;
  std::string status = "all";
  std::optional<std::string> columns;
  std::optional<std::string> format;
  std::optional<std::string> sort;
  std::optional<std::size_t> limit;
  bool isCount = false;
  std::string output;
  Form form = Form::Table;
};

using Row = std::vector<std::string>;

/// How items are listed. Rows are made while the collection is read, and may be put later, in
/// another order.
class Listing {
 public:
  virtual ~Listing() = default;
  /// Whether rows are made of details, see `CRecord::fullDetail`.
  virtual bool needsDetail() const = 0;
  virtual Row rowOf(const CRecord& record) = 0;
  virtual void put(const Row& row) = 0;
  /// Writes what is held back until the end; `isEmpty` when there was no row.
  virtual void finish(bool isEmpty) = 0;
};

/// A table for people: what they want to see first, or the columns of --columns.
class TableListing : public Listing {
 public:
  TableListing(std::vector<ItemField> columns, const Context& context, Output& output)
      : columns_(std::move(columns)),
        context_(context),
        output_(output),
        table_(columns_.empty() ? standardTable() : tableOf(columns_)) {}

  bool needsDetail() const override {
    return std::ranges::any_of(columns_, [](const ItemField& each) { return isDetail(each); });
  }

  Row rowOf(const CRecord& record) override { return Table::kept(cellsOf(record)); }
  void put(const Row& row) override { table_.addKept(row); }

  void finish(bool isEmpty) override {
    if (!isEmpty) table_.print(context_, output_);
  }

 private:
  static Table standardTable() {
    return Table({"ASIN", "Title", "Group", "Status", "Who", "Until", "Due"},
                 {Fit::Whole, Fit::Title, Fit::Wrap, Fit::Wrap, Fit::Wrap, Fit::Whole, Fit::Whole});
  }

  static Table tableOf(const std::vector<ItemField>& columns) {
    std::vector<std::string> heading;
    std::vector<Fit> fits;
    for (const ItemField& column : columns) {
      heading.push_back(printable(column.name));
      const bool isText = valueKind(column) == ValueKind::Text && column.name != "ASIN";
      fits.push_back(!isText ? Fit::Whole : column.name == "Title" ? Fit::Title : Fit::Wrap);
    }
    return Table(std::move(heading), std::move(fits));
  }

  std::vector<Table::Cell> cellsOf(const CRecord& record) const {
    if (columns_.empty()) {
      auto [what, who, until] = statusCells(record);
      return {{toUtf8(record.ASIN)},
              {toUtf8(record.Title)},
              {toUtf8(record.ProductGroup)},
              std::move(what),
              std::move(who),
              std::move(until),
              dueCell(dueMark(record, now_))};
    }
    std::vector<Table::Cell> cells;
    for (const ItemField& column : columns_)
      appendCell(record, column, now_, cells.emplace_back().text);
    return cells;
  }

  std::vector<ItemField> columns_;
  const Context& context_;
  Output& output_;
  Table table_;
  SYSTEMTIME now_ = utcNow();
};

/// JSON, CSV and TSV.
class DataListing : public Listing {
 public:
  DataListing(Form form, std::vector<ItemField> columns, bool isWhole, Output& output)
      : writer_(form, std::move(columns), isWhole, output) {}

  bool needsDetail() const override { return true; }
  Row rowOf(const CRecord& record) override { return {writer_.text(record)}; }
  void put(const Row& row) override { writer_.writeText(row[0]); }
  void finish(bool) override { writer_.finish(); }

 private:
  RecordWriter writer_;
};

/// A line for each item by a template such as "{title} ({authors})".
class FormatListing : public Listing {
 public:
  FormatListing(const std::string& format, Output& output) : output_(output) {
    std::string text;
    for (std::size_t at = 0; at < format.size(); ++at) {
      const char c = format[at];
      const bool isDoubled = at + 1 < format.size() && format[at + 1] == c;
      if (c == '\\' && at + 1 < format.size()) {
        text += escaped(format[++at]);
      } else if (c != '{' && c != '}') {
        text += c;
      } else if (isDoubled) {
        text += format[at++];
      } else {
        const std::size_t end = format.find('}', at);
        if (c == '}' || end == format.npos)
          throw Failure{kUsage,
                        {},
                        fmt::format("--format: the brace at character {} has no partner; double it "
                                    "to print it",
                                    countCharacters(format.substr(0, at)) + 1)};
        parts_.push_back(
            {std::exchange(text, {}), requireField(format.substr(at + 1, end - at - 1))});
        at = end;
      }
    }
    end_ = text + '\n';
  }

  bool needsDetail() const override {
    return std::ranges::any_of(parts_, [](const Part& each) { return isDetail(each.field); });
  }

  Row rowOf(const CRecord& record) override {
    std::string line;
    for (const auto& [before, field] : parts_) {
      std::string cell;
      appendCell(record, field, now_, cell);
      line.append(before).append(printable(cell));
    }
    return {line + end_};
  }

  void put(const Row& row) override { output_.write(row[0]); }
  void finish(bool) override {}

 private:
  struct Part {
    std::string before;
    ItemField field;
  };

  static std::string escaped(char c) {
    if (c == 'n') return "\n";
    if (c == 't') return "\t";
    return c == '\\' ? "\\" : std::string("\\") + c;
  }

  std::vector<Part> parts_;
  std::string end_;
  Output& output_;
  SYSTEMTIME now_ = utcNow();
};

/// Puts rows into a listing: as they come, or with an order at the end. Keeps the keys of an order
/// in memory, the rows in a store.
class Rows {
 public:
  Rows(Listing& listing, std::optional<ItemOrder> order, std::optional<std::size_t> limit)
      : listing_(listing), order_(std::move(order)), limit_(limit.value_or(SIZE_MAX)) {}

  void add(const CRecord& record, const SYSTEMTIME& now) {
    if (order_) {
      const Row row = listing_.rowOf(record);
      entries_.push_back({order_->keyOf(record, now), store_.add(row)});
    } else if (count_ < limit_) {
      put(listing_.rowOf(record));
    }
  }

  void finish() {
    std::ranges::stable_sort(entries_, [this](const Entry& left, const Entry& right) {
      return order_->isBefore(left.key, right.key);
    });
    for (const Entry& entry : entries_)
      if (count_ < limit_) put(store_.read(entry.place));
    listing_.finish(count_ == 0);
  }

 private:
  struct Entry {
    ItemOrder::Key key;
    std::uint64_t place;
  };

  void put(const Row& row) {
    ++count_;
    listing_.put(row);
  }

  Listing& listing_;
  std::optional<ItemOrder> order_;
  std::size_t limit_;
  std::size_t count_ = 0;
  std::vector<Entry> entries_;
  RowStore store_;
};

/// The fields in a list such as "title,authors". Fails with kUsage.
std::vector<ItemField> parseColumns(const std::string& text) {
  std::vector<ItemField> columns;
  for (const std::string& name : CLI::detail::split(text, ',')) {
    ItemField field = requireField(name);
    for (const ItemField& other : columns)
      if (other.name == field.name)
        throw Failure{kUsage, {}, fmt::format("--columns: \"{}\" is there twice", name)};
    columns.push_back(std::move(field));
  }
  return columns;
}

ItemOrder parseSort(const std::string& text) {
  std::string unknown;
  std::optional<ItemOrder> order = ItemOrder::parse(text, unknown);
  if (!order) throwUnknownField("--sort: ", unknown);
  return *std::move(order);
}

std::unique_ptr<Listing> makeListing(const Options& options, const Context& context,
                                     Output& output) {
  if (options.format) return std::make_unique<FormatListing>(*options.format, output);
  std::vector<ItemField> columns;
  if (options.columns) columns = parseColumns(*options.columns);
  if (options.form == Form::Table)
    return std::make_unique<TableListing>(std::move(columns), context, output);
  const bool isWhole = columns.empty();
  if (isWhole)
    columns = parseColumns(
        "ASIN,Title,ProductGroup,DateAdded,status.name,status.target,status.begin,status.end,"
        "status.text,status.due");
  return std::make_unique<DataListing>(options.form, std::move(columns), isWhole, output);
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

/// Whether anything was found. Fails with kFailed, and the reason, when there was nothing.
int endAfter(std::size_t count, const Options& options, const Selection& items) {
  if (count > 0) return kDone;
  throw Failure{kFailed, items.name(),
                items.count() == 0 ? items.emptyReason()
                                   : "no item has the status \"" + options.status + "\""};
}

int run(const Options& options, const Context& context) {
  requireOtherFile(options.output, options.collection);
  const auto wanted = statusFilter(options.status);
  std::optional<ItemOrder> order;
  if (options.sort) order = parseSort(*options.sort);
  Output output(options.output);
  const std::unique_ptr<Listing> listing = makeListing(options, context, output);
  Selection items(options.collection, options.query);
  const SYSTEMTIME now = utcNow();
  const bool needsDetail =
      !options.isCount && (listing->needsDetail() || (order && order->needsDetail()));
  Rows rows(*listing, std::move(order), options.limit);
  std::size_t count = 0;
  items.forEachRecord(needsDetail, [&](const CRecord& record) {
    if (!wanted(record)) return;
    ++count;
    if (!options.isCount) rows.add(record, now);
  });
  if (options.isCount)
    output.write(fmt::format("{}\n", std::min(count, options.limit.value_or(count))));
  else
    rows.finish();
  output.finish();
  return endAfter(count, options, items);
}

}  // namespace

void addList(CLI::App& app, Context& context) {
  const auto options = std::make_shared<Options>();
  CLI::App* verb = app.add_subcommand("list", "Lists the items with their status");
  verb->footer(
      "\"tessaron help query\" tells how to select items, and the names of the fields. Exit code "
      "1\n"
      "when there is no such item.");
  addCollectionOption(*verb, options->collection, false);
  addQueryArgument(*verb, options->query);
  verb->add_option("--status", options->status,
                   "Only items with this status: none, all, " + statusChoices())
      ->type_name("NAME")
      ->capture_default_str();
  verb->add_option("--sort", options->sort,
                   "The order, instead of the file's; a hyphen before a field reverses it; items "
                   "without the field come last")
      ->type_name("FIELD,-FIELD...");
  verb->add_option("--limit", options->limit, "So many items at most")
      ->type_name("N")
      ->check(CLI::PositiveNumber);
  CLI::Option* columns =
      verb->add_option("--columns", options->columns, "These fields as columns, in this order")
          ->type_name("FIELD,FIELD...");
  CLI::Option* format =
      verb->add_option(
              "--format", options->format,
              "A line for each item, such as '{title} ({authors})'; \\n and \\t are a line "
              "end and a tab, {{ and }} are braces")
          ->type_name("TEXT");
  CLI::Option* count = verb->add_flag("--count", options->isCount, "Only their number");
  columns->excludes(format)->excludes(count);
  format->excludes(count);
  addFormFlags(*verb, options->form, {Form::Json, Form::Csv, Form::Tsv});
  for (const char* form : {"--json", "--csv", "--tsv"})
    verb->get_option(form)->excludes(format)->excludes(count);
  addOutputOption(*verb, options->output);
  verb->callback([&context, options] {
    context.run = [&context, options] { return run(*options, context); };
  });
}

}  // namespace tessaron::tool
