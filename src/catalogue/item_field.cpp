#include "catalogue/item_field.h"

#include <algorithm>
#include <array>

#include "records/due.h"
#include "support/ascii.h"
#include "support/dos_date.h"
#include "support/fold.h"
#include "support/text.h"

namespace tessaron {
namespace {

using Kind = ItemField::Kind;

constexpr std::string_view kCustom = "custom.";

const std::array<RecordColumn, 5>& peopleColumns() {
  static const std::array columns = {recordColumn("authors"), recordColumn("artists"),
                                     recordColumn("directors"), recordColumn("actors"),
                                     recordColumn("translators")};
  return columns;
}

/// The first number of four digits in a date; empty when there is none.
std::u16string_view yearIn(std::u16string_view date) {
  constexpr std::u16string_view kDigits = u"0123456789";
  for (std::size_t at = 0; (at = date.find_first_of(kDigits, at)) != date.npos;) {
    const std::size_t end = std::min(date.find_first_not_of(kDigits, at), date.size());
    if (end - at == 4) return date.substr(at, 4);
    at = end;
  }
  return {};
}

void forEachCustom(const CRecord& record, const std::u16string& name,
                   const std::function<void(std::u16string_view)>& visit) {
  const std::size_t slots =
      std::min(record.customFieldNames.size(), record.customFieldValues.size());
  for (std::size_t i = 0; i < slots; ++i)
    if (!record.customFieldValues[i].empty() && foldText(record.customFieldNames[i]) == name)
      visit(record.customFieldValues[i]);
}

}  // namespace

const std::vector<MadeField>& madeFields() {
  static const std::vector<MadeField> fields = {
      {"due", Kind::Due, ValueKind::Date, "when what is lent, borrowed or rented is due"},
      {"file", Kind::File, ValueKind::Text, "paths of the files that are linked to it"},
      {"people", Kind::People, ValueKind::Text, "authors, artists, directors, actors, translators"},
      {"year", Kind::Year, ValueKind::Number, "of release, publication or premiere"},
  };
  return fields;
}

std::optional<ItemField> findItemField(std::string_view name) {
  for (const MadeField& made : madeFields())
    if (equalIgnoringCase(made.name, name))
      return ItemField{made.kind, {}, {}, std::string(made.name)};
  if (const auto column = findColumn(name))
    return ItemField{Kind::Column, *column, {}, recordColumns()[static_cast<std::size_t>(*column)]};
  const bool isCustom =
      name.size() > kCustom.size() && equalIgnoringCase(name.substr(0, kCustom.size()), kCustom);
  if (!isCustom) return std::nullopt;
  const std::string_view custom = name.substr(kCustom.size());
  return ItemField{
      Kind::Custom, {}, foldText(fromUtf8(custom)), std::string(kCustom).append(custom)};
}

std::vector<std::string> itemFieldNames() {
  std::vector<std::string> names;
  for (const MadeField& made : madeFields()) names.emplace_back(made.name);
  for (const std::string& name : recordColumns()) {
    const std::string_view shorter = shortName(recordColumn(name));
    if (shorter != name) names.emplace_back(shorter);
    names.push_back(name);
  }
  return names;
}

ValueKind valueKind(const ItemField& field) {
  if (field.kind == Kind::Column) return valueKind(field.column);
  for (const MadeField& made : madeFields())
    if (made.kind == field.kind) return made.values;
  return ValueKind::Text;
}

bool isDetail(const ItemField& field) {
  return field.kind == Kind::Column ? isDetail(field.column) : field.kind == Kind::Custom;
}

void forEachText(const CRecord& record, const ItemField& field, const SYSTEMTIME& now,
                 const std::function<void(std::u16string_view)>& visit) {
  switch (field.kind) {
    case Kind::Column:
      return forEachText(record, field.column, now, visit);
    case Kind::People:
      for (const RecordColumn column : peopleColumns()) forEachText(record, column, now, visit);
      return;
    case Kind::File:
      for (const CLinkedFile& file : record.files) visit(file.path);
      return;
    case Kind::Custom:
      return forEachCustom(record, field.custom, visit);
    case Kind::Due:
      if (daysLeft(record, now)) visit(fromUtf8(isoDate(record.StatusEndDate)));
      return;
    case Kind::Year:
      if (const std::u16string year = yearOf(record); !year.empty()) visit(year);
      return;
  }
}

void appendCell(const CRecord& record, const ItemField& field, const SYSTEMTIME& now,
                std::string& out) {
  if (field.kind == Kind::Column) return appendCell(record, field.column, now, out);
  std::string_view separator;
  forEachText(record, field, now, [&](std::u16string_view text) {
    out.append(separator).append(toUtf8(text));
    separator = "; ";
  });
}

void writeCell(const CRecord& record, const ItemField& field, const SYSTEMTIME& now,
               JsonWriter& json) {
  if (field.kind == Kind::Column) return writeCell(record, field.column, now, json);
  std::vector<std::u16string> texts;
  forEachText(record, field, now, [&](std::u16string_view text) { texts.emplace_back(text); });
  if (field.kind == Kind::People || field.kind == Kind::File) {
    json.beginArray();
    for (const std::u16string& text : texts) json.text(text);
    json.endArray();
  } else if (texts.empty()) {
    json.null();
  } else if (field.kind == Kind::Year) {
    json.number(std::stoi(toUtf8(texts[0])));
  } else {
    json.text(texts[0]);
  }
}

std::u16string yearOf(const CRecord& record) {
  for (const auto* date :
       {&record.ReleaseDate, &record.PublicationDate, &record.TheatricalReleaseDate})
    if (const std::u16string_view year = yearIn(*date); !year.empty()) return std::u16string(year);
  return {};
}

}  // namespace tessaron
