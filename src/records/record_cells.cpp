#include "records/record_cells.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cstdint>
#include <functional>
#include <utility>
#include <variant>

#include "records/due.h"
#include "records/price.h"
#include "records/record_fields.h"
#include "records/record_values_internal.h"
#include "support/ascii.h"
#include "support/dos_date.h"
#include "support/escape.h"
#include "support/string_table.h"
#include "support/text.h"

namespace tessaron {
namespace {

// What a JsonWriter does, for the text of one cell.
class CellWriter {
 public:
  explicit CellWriter(std::string& out) : out_(out) {}

  void beginObject() { begin(": ", {}); }
  void endObject() { end(); }
  void beginArray() { begin("; ", "\n"); }
  void endArray() { end(); }
  void key(std::string_view) {}
  void text(std::u16string_view value) {
    beginValue({});
    appendEscaped(out_, value, [](char16_t) { return std::string_view(); });
  }
  void number(std::int64_t value) {
    beginValue({});
    out_ += std::to_string(value);
  }
  void null() { beginValue({}); }

 private:
  struct Level {
    std::string_view separator;
    bool isEmpty = true;
  };

  // `apart` separates the value from its neighbors instead of what others are separated by.
  void beginValue(std::string_view apart) {
    if (levels_.empty()) return;
    Level& level = levels_.back();
    if (!level.isEmpty) out_ += apart.empty() ? level.separator : apart;
    level.isEmpty = false;
  }
  void begin(std::string_view separator, std::string_view apart) {
    beginValue(apart);
    levels_.push_back({separator});
  }
  void end() { levels_.pop_back(); }

  std::string& out_;
  std::vector<Level> levels_;
};

// What a JsonWriter does, for one who visits the texts alone.
class TextVisitor {
 public:
  explicit TextVisitor(const std::function<void(std::u16string_view)>& visit) : visit_(visit) {}

  void beginObject() {}
  void endObject() {}
  void beginArray() {}
  void endArray() {}
  void key(std::string_view) {}
  void text(std::u16string_view value) {
    if (!value.empty()) visit_(value);
  }
  void number(std::int64_t value) { visit_(fromUtf8(std::to_string(value))); }
  void null() {}

 private:
  const std::function<void(std::u16string_view)>& visit_;
};

constexpr std::array<std::string_view, 7> kStatusShortNames = {"", "status", "who", "from",
                                                               "until"};
constexpr std::array<ValueKind, 7> kStatusKinds = {
    ValueKind::Number, ValueKind::Text, ValueKind::Text,   ValueKind::Date,
    ValueKind::Date,   ValueKind::Text, ValueKind::Number,
};

// A column: a field, or a part of one.
struct Column {
  const Field* field;
  std::size_t part = 0;
};

struct Columns {
  std::vector<std::string> names;
  std::vector<Column> columns;

  Columns() {
    for (const Field& field : kFields) {
      if (field.isPart || std::holds_alternative<OffersMember>(field.member) ||
          std::holds_alternative<FoldersMember>(field.member) ||
          std::holds_alternative<LoansMember>(field.member) ||
          std::holds_alternative<FilesMember>(field.member)) {
        continue;
      }
      if (isStatus(field)) {
        for (std::size_t i = 0; i < kStatusParts.size(); ++i) add(field, i, kStatusParts[i]);
      } else if (isListing(field)) {
        for (std::size_t i = 0; i < kListingTexts.size(); ++i) add(field, i, kListingTexts[i].name);
      } else {
        add(field, 0, {});
      }
    }
  }

  static bool isStatus(const Field& field) {
    const auto* composite = std::get_if<CompositeField>(&field.member);
    return composite && *composite == CompositeField::Status;
  }
  static bool isListing(const Field& field) {
    return std::holds_alternative<ListingMember>(field.member);
  }

 private:
  void add(const Field& field, std::size_t part, std::string_view partName) {
    std::string name(field.name);
    if (!partName.empty()) (name += '.') += partName;
    names.push_back(std::move(name));
    columns.push_back({&field, part});
  }
};

const Columns& columnTable() {
  static const Columns table;
  return table;
}

/// Writes a cell to an output with the members of a JsonWriter; nothing for a part of no status.
template <typename Output>
void writeTo(Output& output, const CRecord& record, RecordColumn column, const SYSTEMTIME& now) {
  const auto& [field, part] = columnTable().columns.at(static_cast<std::size_t>(column));
  ValueWriter writer(record, now, output);
  if (Columns::isStatus(*field)) {
    writer.writeStatusPart(part);
  } else if (Columns::isListing(*field)) {
    writer.writeListingPart(part);
  } else {
    writer.write(*field);
  }
}

// The parts of a list. `AnyText` takes back exactly what `appendCell` has joined.
CRecord::Strings splitList(std::u16string_view text, CellCheck check, std::size_t maxParts) {
  CRecord::Strings parts;
  if (text.empty()) return parts;
  const bool isTyped = check == CellCheck::Typed;
  const std::u16string_view separator = isTyped ? u";" : u"; ";
  for (;;) {
    const bool isLast = parts.size() + 1 == maxParts;
    const std::size_t end = isLast ? text.npos : text.find(separator);
    const std::u16string_view part = text.substr(0, end);
    const std::u16string_view kept = isTyped ? trimmed(part) : part;
    if (!isTyped || !kept.empty()) parts.emplace_back(kept);
    if (end == text.npos) return parts;
    text.remove_prefix(end + separator.size());
  }
}

std::string quoted(std::u16string_view text) { return '"' + toUtf8(text) + '"'; }

bool isDigits(std::string_view text) {
  return !text.empty() && std::ranges::all_of(text, [](char c) { return c >= '0' && c <= '9'; });
}

// "2024", "2024-05" or "2024-05-31".
bool isPartialDate(const std::string& text) {
  constexpr std::string_view kWhole = "2000-01-01";
  if (text.size() != 4 && text.size() != 7 && text.size() != kWhole.size()) return false;
  if (!isDigits(std::string_view(text).substr(0, 4))) return false;
  // A leap year within the range of date words stands in for the year.
  const std::string rest = text.substr(4) + std::string(kWhole.substr(text.size()));
  return parseIsoDate("2000" + rest) != 0;
}

// Why a text is not of its kind, empty when it is.
std::string kindError(std::u16string_view text, ValueKind kind) {
  const std::string plain = toUtf8(text);
  switch (kind) {
    case ValueKind::Number:
      return isDigits(plain.substr(0, 1)) ? "" : quoted(text) + " is no number";
    case ValueKind::Date:
      return isPartialDate(plain)
                 ? ""
                 : quoted(text) + " is no date, written YYYY, YYYY-MM or YYYY-MM-DD";
    case ValueKind::Price:
      return parsePrice(text) ? "" : quoted(text) + " is no price, such as $12.99";
    default:
      return {};
  }
}

/// Reads a cell into a record.
class CellReader {
 public:
  CellReader(CRecord& record, std::u16string_view text, CellCheck check)
      : record_(record), text_(text), check_(check) {}

  std::string read(const Field& field) {
    std::string error =
        std::visit([&](auto member) { return value(member, field.kind); }, field.member);
    if (error.empty() && field.flag) record_.*field.flag = !text_.empty();
    return error;
  }

  std::string readStatusPart(std::size_t part) {
    // A status without a name keeps its number.
    if (part == 1 && text_.empty() && check_ == CellCheck::AnyText) return {};
    if (part < 2) return readStatus(part);
    if (part > 4) return "it is made of the other columns of the status";
    if (!record_.hasStatus) return text_.empty() ? "" : "the item has no status";
    if (part == 2) return value(&CRecord::StatusTarget, ValueKind::Text);
    return value(part == 3 ? &CRecord::StatusBeginDate : &CRecord::StatusEndDate, ValueKind::Date);
  }

  std::string readListingPart(std::size_t part) {
    record_.offerListing.*kListingTexts[part].member = text_;
    return {};
  }

 private:
  std::string readStatus(std::size_t part) {
    std::optional<std::int32_t> status;
    if (part == 0) {
      if (!text_.empty() && !(status = number())) return quoted(text_) + " is no number";
    } else if (!text_.empty() && !(status = statusNamed(toUtf8(text_)))) {
      return quoted(text_) + " is no status";
    }
    if (status == (record_.hasStatus ? std::optional(record_.status) : std::nullopt)) return {};
    // A different status drops the person and the dates of the old one.
    record_.hasStatus = status.has_value();
    record_.status = status.value_or(0);
    record_.StatusTarget.clear();
    record_.StatusBeginDate = record_.StatusEndDate = 0;
    return {};
  }

  std::optional<std::int32_t> number() const {
    const std::string digits = toUtf8(text_);
    std::int32_t number = 0;
    const auto [end, error] = std::from_chars(digits.data(), digits.data() + digits.size(), number);
    if (error != std::errc() || end != digits.data() + digits.size()) return std::nullopt;
    return number;
  }

  std::string value(TextMember member, ValueKind kind) {
    if (check_ == CellCheck::Typed && !text_.empty())
      if (std::string error = kindError(text_, kind); !error.empty()) return error;
    record_.*member = text_;
    return {};
  }
  std::string value(ListMember member, ValueKind kind) {
    const bool isReview = member == &CRecord::reviewSummaries || member == &CRecord::reviewContents;
    // There are as many reviews as ratings; a single one may be without.
    const std::size_t reviews = std::max<std::size_t>(record_.reviewRatings.size(), 1);
    CRecord::Strings parts = splitList(text_, check_, isReview ? reviews : 0);
    if (check_ == CellCheck::Typed)
      for (const std::u16string& part : parts)
        if (std::string error = kindError(part, kind); !error.empty()) return error;
    record_.*member = std::move(parts);
    if (isReview && !text_.empty()) resizeReviews(reviews);
    if (member == &CRecord::reviewRatings) resizeReviews(record_.reviewRatings.size());
    return {};
  }
  void resizeReviews(std::size_t count) {
    for (auto list : {&CRecord::reviewRatings, &CRecord::reviewSummaries, &CRecord::reviewContents})
      (record_.*list).resize(count);
  }
  std::string value(DateMember member, ValueKind) {
    const std::uint16_t date = parseIsoDate(toUtf8(text_));
    if (date == 0 && !text_.empty())
      return quoted(text_) + " is no date from 1980 to 2107, written YYYY-MM-DD";
    record_.*member = date;
    return {};
  }
  std::string value(DiscsMember member, ValueKind) {
    std::vector<CRecord::Strings> discs;
    for (std::size_t at = 0; !text_.empty() && at <= text_.size();) {
      const std::size_t end = std::min(text_.find(u'\n', at), text_.size());
      discs.push_back(splitList(text_.substr(at, end - at), check_, 0));
      at = end + 1;
    }
    record_.*member = std::move(discs);
    return {};
  }
  std::string value(CompositeField field, ValueKind) {
    if (field == CompositeField::CustomFields) return readCustomFields();
    const std::optional<std::int32_t> icon = number();
    if (!icon && !text_.empty()) return quoted(text_) + " is no number";
    record_.hasIcon = icon.has_value();
    record_.icon = icon.value_or(0);
    return {};
  }
  std::string value(CountMember member, ValueKind) {
    const std::optional<std::int32_t> count = text_.empty() ? 1 : number();
    if (!count || *count < 1) return quoted(text_) + " is no number from 1 on";
    record_.*member = *count;
    return {};
  }
  // No columns are made of them.
  std::string value(OffersMember, ValueKind) { return {}; }
  std::string value(ListingMember, ValueKind) { return {}; }
  std::string value(FoldersMember, ValueKind) { return {}; }
  std::string value(LoansMember, ValueKind) { return {}; }
  std::string value(FilesMember, ValueKind) { return {}; }

  std::string readCustomFields() {
    CRecord::Strings names, values;
    const bool isTyped = check_ == CellCheck::Typed;
    std::u16string pending;  // a name with a semicolon, up to the semicolon
    for (const std::u16string& part : splitList(text_, check_, 0)) {
      const std::size_t colon = part.find(isTyped ? u":" : u": ");
      if (colon == part.npos) {  // a semicolon in the value before
        if (values.empty())
          pending += part + u"; ";
        else
          values.back() += u"; " + part;
        continue;
      }
      names.push_back(std::exchange(pending, {}) + part.substr(0, colon));
      const std::u16string_view value = std::u16string_view(part).substr(colon + 1);
      values.emplace_back(isTyped ? trimmed(value) : value.substr(1));
    }
    if (!pending.empty()) return quoted(text_) + " is no field of your own, written name: value";
    const std::size_t slots = record_.customFieldFlags.size();
    if (names.size() > slots)
      return "there is room for " + std::to_string(slots) + " fields of your own only";
    names.resize(slots);
    values.resize(slots);
    for (std::size_t i = 0; i < slots; ++i)
      record_.customFieldFlags[i] = !(names[i].empty() && values[i].empty());
    record_.customFieldNames = std::move(names);
    record_.customFieldValues = std::move(values);
    return {};
  }

  CRecord& record_;
  std::u16string_view text_;
  CellCheck check_;
};

}  // namespace

const std::vector<std::string>& recordColumns() { return columnTable().names; }

RecordColumn recordColumn(std::string_view name) {
  const std::vector<std::string>& names = recordColumns();
  return static_cast<RecordColumn>(std::find(names.begin(), names.end(), name) - names.begin());
}

std::string_view shortName(RecordColumn column) {
  const auto index = static_cast<std::size_t>(column);
  const auto& [field, part] = columnTable().columns.at(index);
  const std::string_view name =
      Columns::isStatus(*field) ? kStatusShortNames.at(part) : field->shortName;
  return name.empty() ? std::string_view(recordColumns()[index]) : name;
}

std::optional<RecordColumn> findColumn(std::string_view name) {
  for (std::size_t i = 0; i < recordColumns().size(); ++i) {
    const auto column = static_cast<RecordColumn>(i);
    if (equalIgnoringCase(recordColumns()[i], name) || equalIgnoringCase(shortName(column), name))
      return column;
  }
  return std::nullopt;
}

ValueKind valueKind(RecordColumn column) {
  const auto& [field, part] = columnTable().columns.at(static_cast<std::size_t>(column));
  return Columns::isStatus(*field) ? kStatusKinds.at(part) : field->kind;
}

void appendCell(const CRecord& record, RecordColumn column, const SYSTEMTIME& now,
                std::string& out) {
  CellWriter cell(out);
  writeTo(cell, record, column, now);
}

void writeCell(const CRecord& record, RecordColumn column, const SYSTEMTIME& now,
               JsonWriter& json) {
  const bool isPart =
      Columns::isStatus(*columnTable().columns.at(static_cast<std::size_t>(column)).field);
  if (isPart && !record.hasStatus) return json.null();
  writeTo(json, record, column, now);
}

void forEachText(const CRecord& record, RecordColumn column, const SYSTEMTIME& now,
                 const std::function<void(std::u16string_view)>& visit) {
  TextVisitor visitor(visit);
  writeTo(visitor, record, column, now);
}

bool isDetail(RecordColumn column) {
  const Field& field = *columnTable().columns.at(static_cast<std::size_t>(column)).field;
  const auto* composite = std::get_if<CompositeField>(&field.member);
  if (field.name == "NumberOfDiscs") return true;  // the discs are counted where it is not given
  // Icon and status are attributes of an item; the other structures are read on demand.
  return !std::holds_alternative<CountMember>(field.member) &&
         field.xml.place == XmlPlace::Composite &&
         !(composite && *composite != CompositeField::CustomFields);
}

std::string setCell(CRecord& record, RecordColumn column, std::u16string_view text,
                    CellCheck check) {
  const auto& [field, part] = columnTable().columns.at(static_cast<std::size_t>(column));
  CellReader reader(record, check == CellCheck::Typed ? trimmed(text) : text, check);
  if (Columns::isStatus(*field)) return reader.readStatusPart(part);
  if (Columns::isListing(*field)) return reader.readListingPart(part);
  return reader.read(*field);
}

}  // namespace tessaron
