#include "catalogue/readers/table_source.h"

#include <algorithm>
#include <array>
#include <functional>
#include <unordered_map>
#include <utility>

#include "catalogue/readers/filling_internal.h"
#include "catalogue/readers/table_columns_internal.h"
#include "catalogue/text_encoding.h"
#include "support/ascii.h"
#include "support/formulas.h"
#include "support/spelling.h"
#include "support/table_reader.h"
#include "support/text.h"

namespace tessaron {
namespace {

using Kind = SourceError::Kind;
using Quoting = TableReader::Quoting;

constexpr std::size_t kMaxListed = 60;  // columns in an error message

struct Separator {
  char character;
  std::string_view name;
};
constexpr std::array<Separator, 3> kSeparators = {
    {{',', "comma"}, {';', "semicolon"}, {'\t', "tab"}}};

// What happens with the cells of a column.
struct Column {
  enum class Kind { Ignored, Own, Typed, Custom, Rule };
  Kind kind = Kind::Ignored;
  RecordColumn field{};              // of Own and Typed
  const ColumnRule* rule = nullptr;  // of Rule
  const Field* ruleField = nullptr;
};

// Whether the column is made of others.
bool isDerived(RecordColumn column) {
  return column == recordColumn("status.text") || column == recordColumn("status.due");
}

bool isTitle(RecordColumn column) { return column == recordColumn("Title"); }

bool isIn(std::span<const std::string_view> names, std::string_view name) {
  return std::ranges::any_of(names,
                             [&](std::string_view each) { return equalIgnoringCase(each, name); });
}

// The program that writes tables with such a heading; null when it is none of the known ones.
const TableProgram* programOf(const std::vector<std::string>& heading) {
  const TableProgram* best = nullptr;
  std::ptrdiff_t most = 0;
  for (const TableProgram& program : tablePrograms()) {
    if (std::ranges::none_of(heading, [&](const auto& name) { return isIn(program.signs, name); }))
      continue;
    const auto known = std::ranges::count_if(
        heading, [&](const auto& name) { return findRule(program.columns, name); });
    if (known <= most) continue;
    most = known;
    best = &program;
  }
  return best;
}

// Whether the columns are those of our own exports, which always have the key.
bool isOwnHeading(const std::vector<std::string>& heading) {
  const std::vector<std::string>& own = recordColumns();
  return std::ranges::find(heading, "ASIN") != heading.end() &&
         std::ranges::all_of(
             heading, [&](const auto& name) { return std::ranges::find(own, name) != own.end(); });
}

// The texts in quotation marks, with commas between them.
std::string listed(const std::vector<std::string>& names) {
  std::string list;
  for (std::size_t i = 0; i < std::min(names.size(), kMaxListed); ++i)
    list += (i > 0 ? ", \"" : "\"") + names[i] + '"';
  return names.size() > kMaxListed ? list + ", ..." : list;
}

class TableSource : public RecordSource {
 public:
  TableSource(std::unique_ptr<File> text, const TableOptions& options) {
    Utf8Text utf8 = asUtf8(std::move(text), Unmarked::Guess);
    summary_.format = "CSV";
    summary_.encoding = encodingName(utf8.encoding);
    file_ = std::move(utf8.file);
    if (!file_) {
      fail(Kind::Unreadable, "the file cannot be read");
      return;
    }
    start_ = utf8.start;
    if (readHeading(options.separator) && bind(options.mappings)) list();
  }

  bool next(SourceItem& item) override {
    if (error_ || !reader_) return false;
    std::vector<std::string>& cells = cells_;
    if (!reader_->next(cells)) return reader_->error().empty() ? false : failReading();
    item.line = reader_->line();
    item.isDated = isDated_;
    for (std::size_t i = 0; i < std::min(cells.size(), columns_.size()); ++i) take(i, item);
    for (std::size_t i = columns_.size(); i < cells.size(); ++i) {
      if (cells[i].empty() || !item.error.empty()) continue;
      item.error = "it has " + std::to_string(cells.size()) + " cells, the heading " +
                   std::to_string(columns_.size());
    }
    if (program_) finish(item);
    return true;
  }

 private:
  bool failReading() {
    return fail(reader_->isUnreadable() ? Kind::Unreadable : Kind::Damaged, reader_->error(),
                reader_->line());
  }

  // Opens the table at its heading, read with that separator.
  bool open(const Separator& separator) {
    if (!file_->seek(start_)) return fail(Kind::Unreadable, "the file cannot be read");
    reader_.emplace(*file_, separator.character, Quoting::Marks);
    heading_.clear();
    reader_->next(heading_);
    for (std::string& name : heading_) name = trimmedText(name);
    return true;
  }

  // Recognizes the separator: it makes the most columns of the first row.
  bool readHeading(std::optional<char> given) {
    const Separator* best = nullptr;
    std::size_t most = 0;
    for (const Separator& separator : kSeparators) {
      if (given && separator.character != *given) continue;
      if (!open(separator)) return false;
      if (reader_->isUnreadable()) return failReading();
      const std::size_t count = reader_->error().empty() ? heading_.size() : 0;
      if (best && count <= most) continue;
      best = &separator;
      most = count;
    }
    if (!open(*best)) return false;
    if (!reader_->error().empty()) return failReading();
    if (heading_.empty()) return fail(Kind::Foreign, "the table has no heading");
    summary_.separator = best->name;
    if (best->character == '\t') summary_.format = "TSV";
    summary_.isOwn = isOwnHeading(heading_);
    if (!summary_.isOwn || best->character != '\t') return true;
    if (!file_->seek(start_)) return fail(Kind::Unreadable, "the file cannot be read");
    reader_.emplace(*file_, '\t', Quoting::Escapes);
    reader_->next(heading_);
    return true;
  }

  // Decides what happens with each column.
  bool bind(const std::vector<ColumnMapping>& mappings) {
    if (!mappings.empty()) summary_.isOwn = false;
    program_ = summary_.isOwn ? nullptr : programOf(heading_);
    if (program_) summary_.program = program_->name;
    if (summary_.isOwn) summary_.program = "TessaronBF";
    columns_.resize(heading_.size());
    for (std::size_t i = 0; i < heading_.size(); ++i) columns_[i] = columnFor(heading_[i]);
    dropRepeated();
    for (const ColumnMapping& mapping : mappings)
      if (!map(mapping)) return false;
    const bool hasTitle = std::ranges::any_of(columns_, [](const Column& column) {
      return column.rule ? column.rule->field == "Title"
                         : column.kind != Column::Kind::Ignored && isTitle(column.field);
    });
    return hasTitle ||
           fail(Kind::Foreign, "no column of the table is known to be the title; it has " +
                                   listed(heading_) + "; name the columns with --map");
  }

  Column columnFor(const std::string& name) const {
    Column column;
    if (program_) {
      column.rule = findRule(program_->columns, name);
      if (!column.rule) return column;
      column.kind = Column::Kind::Rule;
      column.ruleField = fieldOf(*column.rule);
      return column;
    }
    const auto field = findColumn(name);
    if (!field || isDerived(*field)) return column;
    column.kind = summary_.isOwn ? Column::Kind::Own : Column::Kind::Typed;
    column.field = *field;
    return column;
  }

  // Of columns with the same name the first one counts.
  void dropRepeated() {
    for (std::size_t i = 0; i < heading_.size(); ++i)
      for (std::size_t j = 0; j < i; ++j)
        if (equalIgnoringCase(heading_[i], heading_[j])) columns_[i] = {};
  }

  bool map(const ColumnMapping& mapping) {
    const auto found = std::ranges::find_if(
        heading_, [&](const std::string& name) { return equalIgnoringCase(name, mapping.column); });
    if (found == heading_.end()) {
      return fail(Kind::Foreign, "there is no column \"" + mapping.column + "\"; the table has " +
                                     listed(heading_));
    }
    for (Column& column : columns_) {  // instead of the column that was recognized
      const bool isSame = column.rule ? column.rule->field == recordColumnName(mapping.field)
                                      : column.field == mapping.field;
      const bool isList = recordColumnName(mapping.field) == "customFields";
      if (column.kind != Column::Kind::Ignored && isSame && !isList) column = {};
    }
    Column& column = columns_[static_cast<std::size_t>(found - heading_.begin())];
    column = {};
    column.kind = recordColumnName(mapping.field) == "customFields" ? Column::Kind::Custom
                                                                    : Column::Kind::Typed;
    column.field = mapping.field;
    return true;
  }

  static std::string_view recordColumnName(RecordColumn column) {
    return recordColumns()[static_cast<std::size_t>(column)];
  }

  // Tells what is taken and what is not.
  void list() {
    for (std::size_t i = 0; i < heading_.size(); ++i) {
      const Column& column = columns_[i];
      if (column.kind == Column::Kind::Ignored) {
        ignore(heading_[i]);
        continue;
      }
      std::string field(column.rule ? column.rule->field : recordColumnName(column.field));
      if (field == "DateAdded") isDated_ = summary_.isOwn;
      if (column.rule && field == "customFields")
        field += ": " + std::string(column.rule->argument);
      if (column.kind == Column::Kind::Custom) field += ": " + heading_[i];
      summary_.columns.emplace_back(heading_[i], std::move(field));
    }
  }

  void take(std::size_t index, SourceItem& item) {
    const Column& column = columns_[index];
    std::string& text = cells_[index];
    if (column.kind == Column::Kind::Ignored || !item.error.empty()) return;
    if (column.kind == Column::Kind::Own) return takeOwn(index, item);
    text = trimmedText(text);
    if (text.empty()) return;
    if (program_ && equalIgnoringCase(heading_[index], program_->identifier))
      item.distinction = fromUtf8(text);
    if (column.kind == Column::Kind::Custom) {
      addCustomField(item.record, heading_[index], text);
    } else if (column.kind == Column::Kind::Rule) {
      column.rule->convert({item.record, column.ruleField, column.rule->argument, text});
    } else {
      if (valueKind(column.field) == ValueKind::Date) text = plainDate(text);
      refuse(index, setCell(item.record, column.field, fromUtf8(text), CellCheck::Typed), item);
    }
  }

  // A cell of our own export.
  void takeOwn(std::size_t index, SourceItem& item) {
    const RecordColumn field = columns_[index].field;
    const std::string text =
        unguardFormulas(cells_[index], summary_.separator == "tab" ? kTsvDividers : kCsvDividers);
    refuse(index, setCell(item.record, field, fromUtf8(text), CellCheck::AnyText), item);
  }

  void refuse(std::size_t index, const std::string& reason, SourceItem& item) const {
    if (!reason.empty()) item.error = "column \"" + heading_[index] + "\": " + reason;
  }

  // Completes an item by what the program tells of all of its items.
  void finish(SourceItem& item) const {
    item.isDated = item.record.DateAdded != 0;
    if (item.record.ProductGroup.empty()) item.record.ProductGroup = fromUtf8(program_->group);
  }

  std::unique_ptr<File> file_;
  std::uint64_t start_ = 0;
  std::optional<TableReader> reader_;
  const TableProgram* program_ = nullptr;
  std::vector<std::string> heading_;
  std::vector<Column> columns_;
  std::vector<std::string> cells_;
  bool isDated_ = false;
};

}  // namespace

std::unique_ptr<RecordSource> openTable(std::unique_ptr<File> text, const TableOptions& options) {
  return std::make_unique<TableSource>(std::move(text), options);
}

}  // namespace tessaron
