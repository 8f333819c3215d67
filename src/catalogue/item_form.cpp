#include "catalogue/item_form.h"

#include <algorithm>
#include <array>
#include <optional>
#include <utility>

#include "catalogue/field_edit.h"
#include "support/text.h"

namespace tessaron {
namespace {

constexpr std::string_view kIndent = "  ";
constexpr std::string_view kExplanation =
    "# Change what you like, save, and close the editor; an unchanged text changes nothing.\n"
    "# A line is \"field: value\". A field without its line becomes empty; a list has a line for\n"
    "# each entry. \"field: |\" begins a text of several lines, each indented by two blanks.\n";

std::string_view columnName(RecordColumn column) {
  return recordColumns()[static_cast<std::size_t>(column)];
}

// The columns in the order of a form: what names the item comes first.
std::vector<RecordColumn> formColumns() {
  constexpr std::array<std::string_view, 7> kLeftOut = {
      "status.value",    "status.text",    "status.due",  "reviewRatings",
      "reviewSummaries", "reviewContents", "customFields"};
  std::vector<RecordColumn> columns = {recordColumn("ASIN"), recordColumn("Title")};
  for (std::size_t i = 0; i < recordColumns().size(); ++i) {
    const auto column = static_cast<RecordColumn>(i);
    const bool isLeftOut = std::ranges::find(kLeftOut, columnName(column)) != kLeftOut.end();
    if (!isLeftOut && std::ranges::find(columns, column) == columns.end())
      columns.push_back(column);
  }
  return columns;
}

bool isBlank(char c) { return c == ' ' || c == '\t'; }

bool isBlankLine(std::string_view line) { return std::ranges::all_of(line, isBlank); }

// Whether a value cannot stand behind its field's name.
bool needsBlock(std::string_view value) {
  return value.find('\n') != value.npos || value == "|" ||
         (!value.empty() && (isBlank(value.front()) || isBlank(value.back())));
}

void appendField(std::string& out, std::string_view name, const std::u16string& text) {
  const std::string value = toUtf8(text);
  (out += name) += ':';
  if (!needsBlock(value)) {
    (out += ' ') += value;
    out += '\n';
    return;
  }
  out += " |\n";
  for (std::size_t at = 0; at <= value.size();) {
    const std::size_t end = std::min(value.find('\n', at), value.size());
    if (end > at) (out += kIndent) += std::string_view(value).substr(at, end - at);
    out += '\n';
    at = end + 1;
  }
}

bool isPlainName(std::string_view name) {
  return !name.empty() && !isBlank(name.front()) && !isBlank(name.back()) &&
         name.find_first_of(":\n\r") == name.npos;
}

// Lists the names of the empty fields in comments of at most 96 columns.
void appendEmptyFields(std::string& out, const std::vector<std::string_view>& names) {
  constexpr std::size_t kWidth = 96;
  std::string line = "# Empty fields:";
  for (std::size_t i = 0; i < names.size(); ++i) {
    if (line.size() + names[i].size() + 2 > kWidth) {
      out += line + '\n';
      line = "#  ";
    }
    (line += ' ') += names[i];
    if (i + 1 < names.size()) line += ',';
  }
  if (!names.empty()) out += line + '\n';
}

// A value in a form.
struct Entry {
  NamedField field;
  std::u16string value;
  std::size_t line;
};

/// Reads the lines of a form.
class FormReader {
 public:
  explicit FormReader(std::string_view text) : rest_(text) {
    constexpr std::string_view kByteOrderMark = "\xEF\xBB\xBF";
    if (rest_.starts_with(kByteOrderMark)) rest_.remove_prefix(kByteOrderMark.size());
  }

  void read() {
    while (std::optional<std::string_view> line = nextLine()) {
      if (isBlankLine(*line) || line->starts_with('#')) continue;
      readField(*line);
    }
  }

  const std::vector<Entry>& entries() const { return entries_; }
  std::vector<FormError>& errors() { return errors_; }

 private:
  std::optional<std::string_view> nextLine() {
    if (rest_.empty()) return std::nullopt;
    const std::size_t end = std::min(rest_.find('\n'), rest_.size());
    std::string_view line = rest_.substr(0, end);
    rest_.remove_prefix(std::min(end + 1, rest_.size()));
    ++line_;
    if (line.ends_with('\r')) line.remove_suffix(1);
    return line;
  }

  void readField(std::string_view line) {
    const std::size_t number = line_;
    const std::size_t colon = line.find(':');
    if (colon == line.npos || isBlank(line.front()))
      return addError("this is no line of the form \"field: value\"");
    const std::u16string name = fromUtf8(line.substr(0, colon));
    std::u16string value = fromUtf8(line.substr(colon + 1));
    value = std::u16string(trimmed(value));
    const bool isBlock = value == u"|";
    if (isBlock) value = readBlock();
    std::optional<NamedField> field = findField(toUtf8(trimmed(name)));
    if (!field) {
      errors_.push_back({number, unknownField(toUtf8(trimmed(name)))});
    } else if (!value.empty()) {
      entries_.push_back({*std::move(field), std::move(value), number});
    }
  }

  static std::string unknownField(const std::string& name) {
    const std::string_view meant = nearestField(name);
    return '"' + name + "\" is no field" +
           (meant.empty() ? "; a field of your own is written custom." + name + ": value"
                          : "; did you mean " + std::string(meant) + '?');
  }

  // The text of the indented lines that follow, without blank lines at its end.
  std::u16string readBlock() {
    std::string text;
    std::string blankLines;
    for (;;) {
      const std::string_view here = rest_;
      const std::size_t line = line_;
      const std::optional<std::string_view> next = nextLine();
      if (!next) break;
      if (next->empty()) {
        blankLines += '\n';
        continue;
      }
      if (!isBlank(next->front())) {
        rest_ = here;
        line_ = line;
        break;
      }
      const std::size_t indent =
          next->starts_with(kIndent) ? kIndent.size() : std::size_t{1};  // a tab, or one blank
      text += std::exchange(blankLines, "\n");
      text += next->substr(indent);
    }
    while (text.ends_with('\n')) text.pop_back();
    return fromUtf8(text);
  }

  void addError(std::string reason) { errors_.push_back({line_, std::move(reason)}); }

  std::string_view rest_;
  std::size_t line_ = 0;
  std::vector<Entry> entries_;
  std::vector<FormError> errors_;
};

CRecord::Strings valuesOf(const std::vector<Entry>& entries, const NamedField& field) {
  CRecord::Strings values;
  for (const Entry& entry : entries)
    if (entry.field == field) values.push_back(entry.value);
  return values;
}

// The line of a field's last value; the first line for a field without one.
std::size_t lineOf(const std::vector<Entry>& entries, const NamedField& field) {
  std::size_t line = 1;
  for (const Entry& entry : entries)
    if (entry.field == field) line = entry.line;
  return line;
}

// All fields of a form in the order in which they can be set: what depends on another field, as a
// date of the status does, comes after it.
std::vector<NamedField> fieldsOf(const std::vector<Entry>& before,
                                 const std::vector<Entry>& after) {
  std::vector<NamedField> fields;
  for (const RecordColumn column : formColumns()) fields.push_back({column, {}});
  for (const std::vector<Entry>* entries : {&before, &after})
    for (const Entry& entry : *entries)
      if (std::ranges::find(fields, entry.field) == fields.end()) fields.push_back(entry.field);
  return fields;
}

}  // namespace

std::string formText(const CRecord& record) {
  std::string text(kExplanation);
  std::string fields;
  std::vector<std::string_view> emptyFields;
  for (const RecordColumn column : formColumns()) {
    const CRecord::Strings values = fieldValues(record, {column, {}});
    for (const std::u16string& value : values) appendField(fields, shortName(column), value);
    if (values.empty()) emptyFields.push_back(shortName(column));
  }
  for (std::size_t i = 0; i < record.customFieldNames.size(); ++i) {
    const std::string name = toUtf8(record.customFieldNames[i]);
    if (isPlainName(name)) appendField(fields, "custom." + name, record.customFieldValues[i]);
  }
  appendEmptyFields(text, emptyFields);
  return text + '\n' + fields;
}

std::vector<FormError> readForm(std::string_view before, std::string_view text, CRecord& record) {
  FormReader old(before);
  FormReader form(text);
  old.read();
  form.read();
  std::vector<FormError> errors = std::move(form.errors());
  const CRecord known = record;
  const NamedField status{recordColumn("status.name"), {}};
  const NamedField end{recordColumn("status.end"), {}};
  bool isStatusNew = false;
  for (const NamedField& field : fieldsOf(old.entries(), form.entries())) {
    const CRecord::Strings values = valuesOf(form.entries(), field);
    const bool isChanged = values != valuesOf(old.entries(), field);
    // A new status has lost the person and the dates of the old one.
    const bool isOfStatus = field.column && columnName(*field.column).starts_with("status.");
    if (!isChanged && !(isStatusNew && isOfStatus && !values.empty())) continue;
    isStatusNew = isStatusNew || field == status;
    const std::string reason = setField(record, field, values);
    if (!reason.empty()) errors.push_back({lineOf(form.entries(), field), reason});
  }
  if (const std::string reason = recordError(known, record); errors.empty() && !reason.empty())
    errors.push_back({lineOf(form.entries(), end), reason});
  std::ranges::stable_sort(errors, {}, &FormError::line);
  return errors;
}

}  // namespace tessaron
