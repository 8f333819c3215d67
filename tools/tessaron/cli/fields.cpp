#include "cli/fields.h"

#include <fmt/format.h>

#include <algorithm>

#include "cli/dates.h"
#include "cli/failures.h"
#include "support/dos_date.h"
#include "support/text.h"

namespace tessaron::tool {
namespace {

bool isKindOfDay(const std::string& text) {
  return text == "today" || text == "tomorrow" || text.starts_with('+');
}

std::u16string valueOf(const NamedField& field, const std::string& text) {
  const bool isDate = field.column && valueKind(*field.column) == ValueKind::Date;
  return fromUtf8(isDate && isKindOfDay(text) ? isoDate(parseDate(text, localToday())) : text);
}

/// Columns in their order, a status before what depends on it; then the other fields.
std::size_t orderOf(const FieldValues& values) {
  return values.field.column ? static_cast<std::size_t>(*values.field.column)
                             : recordColumns().size();
}

const std::string& columnName(RecordColumn column) {
  return recordColumns()[static_cast<std::size_t>(column)];
}

bool hasOwnField(const CRecord& record, const std::u16string& name) {
  return std::ranges::find(record.customFieldNames, name) != record.customFieldNames.end();
}

}  // namespace

std::vector<FieldValues> parseFields(const std::vector<std::string>& arguments) {
  std::vector<FieldValues> fields;
  for (const std::string& argument : arguments) {
    const std::size_t sign = argument.find('=');
    if (sign == std::string::npos || sign == 0)
      throw Failure{kUsage, {}, fmt::format("--field takes NAME=VALUE, not \"{}\"", argument)};
    const std::string name = argument.substr(0, sign);
    const std::optional<NamedField> known = findField(name);
    const NamedField field = known.value_or(NamedField{{}, fromUtf8(name)});
    auto place = std::ranges::find(fields, field, &FieldValues::field);
    if (place == fields.end())
      place = fields.insert(fields.end(), FieldValues{name, field, {}, !known});
    place->values.push_back(valueOf(field, argument.substr(sign + 1)));
  }
  std::ranges::stable_sort(fields, {}, orderOf);
  return fields;
}

void setFieldOf(CRecord& record, const FieldValues& field, const std::string& where) {
  if (field.isUnknown && !hasOwnField(record, field.field.own)) {
    if (const std::string_view meant = nearestField(field.name); !meant.empty())
      throw Failure{kUsage,
                    {},
                    fmt::format("there is no field \"{}\"; did you mean {}? A field of your own by "
                                "that name is custom.{}",
                                field.name, meant, field.name)};
  }
  if (field.field.column && hasOwnField(record, fromUtf8(field.name)))
    throw Failure{
        kUsage,
        {},
        fmt::format("{0} is a field of your own as well as one that every item has; write "
                    "custom.{0} for yours, {1} for the other",
                    field.name, columnName(*field.field.column))};
  std::string reason;
  if (field.values.size() == 1 && field.field.column) {
    reason = setCell(record, *field.field.column, field.values[0], CellCheck::Typed);
  } else {
    std::vector<std::u16string> values = field.values;
    std::erase(values, std::u16string());
    reason = setField(record, field.field, values);
  }
  if (reason.empty()) return;
  if (!field.field.column) throw Failure{kFailed, where, toUtf8(record.ASIN) + ": " + reason};
  throw Failure{kUsage, {}, fmt::format("--field {}: {}", field.name, reason)};
}

}  // namespace tessaron::tool
