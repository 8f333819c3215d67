#include "records/record_json.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <utility>
#include <variant>

#include "records/record_fields.h"
#include "support/ascii.h"
#include "support/dos_date.h"
#include "support/escape.h"
#include "support/string_table.h"

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

constexpr std::array<std::string_view, 7> kStatusParts = {"value", "name", "target", "begin",
                                                          "end",   "text", "due"};
constexpr std::array<std::string_view, 7> kStatusShortNames = {"", "status", "who", "from",
                                                               "until"};
constexpr std::array<ValueKind, 7> kStatusKinds = {
    ValueKind::Number, ValueKind::Text, ValueKind::Text,   ValueKind::Date,
    ValueKind::Date,   ValueKind::Text, ValueKind::Number,
};

template <typename Structure>
struct NamedText {
  std::string_view name;
  std::u16string Structure::*member;
};
constexpr auto kOfferTexts = std::to_array<NamedText<COffer>>({
    {"SellerId", &COffer::SellerId},
    {"Nickname", &COffer::Nickname},
    {"State", &COffer::State},
    {"Country", &COffer::Country},
    {"Condition", &COffer::Condition},
    {"ConditionNote", &COffer::ConditionNote},
    {"OfferListingId", &COffer::OfferListingId},
    {"Price", &COffer::Price},
    {"Availability", &COffer::Availability},
});

constexpr auto kListingTexts = std::to_array<NamedText<COfferListing>>({
    {"OfferListingId", &COfferListing::OfferListingId},
    {"Price", &COfferListing::Price},
    {"Availability", &COfferListing::Availability},
});

/// Writes the values of a record to a JsonWriter or a CellWriter.
template <typename Output>
class ValueWriter {
 public:
  ValueWriter(const CRecord& record, const SYSTEMTIME& now, Output& out)
      : record_(record), now_(now), out_(out) {}

  void write(const Field& field) {
    std::visit([this](auto member) { value(member); }, field.member);
  }

  void writeStatus() {
    if (!record_.hasStatus) return out_.null();
    out_.beginObject();
    for (std::size_t part = 0; part < kStatusParts.size(); ++part) {
      out_.key(kStatusParts[part]);
      writeStatusPart(part);
    }
    out_.endObject();
  }

  /// Nothing without a status.
  void writeStatusPart(std::size_t part) {
    if (!record_.hasStatus) return;
    switch (part) {
      case 0:
        return out_.number(record_.status);
      case 1:
        return out_.text(statusLabel(record_.status));
      case 2:
        return out_.text(record_.StatusTarget);
      case 3:
        return date(record_.StatusBeginDate);
      case 4:
        return date(record_.StatusEndDate);
      case 5:
        return out_.text(statusText(record_));
      default:
        return out_.number(dueStateAt(record_, now_));
    }
  }

  void writeListingPart(std::size_t part) {
    out_.text(record_.offerListing.*kListingTexts[part].member);
  }

 private:
  void value(CompositeField field) {
    if (field == CompositeField::Status) return writeStatus();
    if (field == CompositeField::CustomFields) return writeCustomFields();
    record_.hasIcon ? out_.number(record_.icon) : out_.null();
  }
  void value(DateMember member) { date(record_.*member); }
  template <typename Member>
  void value(Member CRecord::*member) {
    item(record_.*member);
  }

  void item(const std::u16string& text) { out_.text(text); }
  void item(const COfferListing& listing) { texts(listing, kListingTexts); }
  void item(const COffer& offer) { texts(offer, kOfferTexts); }
  void item(const CFileInfo& file) {
    out_.beginObject();
    out_.key("path");
    out_.text(file.path);
    out_.key("name");
    out_.text(file.name);
    out_.key("size");
    out_.number(static_cast<std::int64_t>(std::uint64_t{file.sizeHigh} << 32 | file.sizeLow));
    out_.endObject();
  }
  void item(const CFolderInfo& folder) {
    out_.beginObject();
    out_.key("id");
    out_.number(folder.id);
    out_.key("parentId");
    out_.number(folder.parentId);
    out_.key("path");
    out_.text(folder.path);
    out_.key("files");
    item(folder.files);
    out_.endObject();
  }
  template <typename Item>
  void item(const std::vector<Item>& list) {
    out_.beginArray();
    for (const Item& each : list) item(each);
    out_.endArray();
  }

  template <typename Owner, typename Names>
  void texts(const Owner& owner, const Names& names) {
    out_.beginObject();
    for (const auto& [name, member] : names) {
      out_.key(name);
      out_.text(owner.*member);
    }
    out_.endObject();
  }

  void date(std::uint16_t date) {
    SYSTEMTIME time{};
    if (!DosDateTimeToSystemTime(date, &time)) return out_.null();
    const auto digit = [](int number) { return static_cast<char16_t>(u'0' + number % 10); };
    const int year = time.wYear, month = time.wMonth, day = time.wDay;
    const std::array<char16_t, 10> text = {digit(year / 1000),
                                           digit(year / 100),
                                           digit(year / 10),
                                           digit(year),
                                           u'-',
                                           digit(month / 10),
                                           digit(month),
                                           u'-',
                                           digit(day / 10),
                                           digit(day)};
    out_.text({text.data(), text.size()});
  }

  void writeCustomFields() {
    const std::size_t slots =
        std::min(record_.customFieldNames.size(), record_.customFieldValues.size());
    out_.beginArray();
    for (std::size_t i = 0; i < slots; ++i) {
      const std::u16string& name = record_.customFieldNames[i];
      const std::u16string& value = record_.customFieldValues[i];
      if (name.empty() && value.empty()) continue;
      out_.beginObject();
      out_.key("name");
      out_.text(name);
      out_.key("value");
      out_.text(value);
      out_.endObject();
    }
    out_.endArray();
  }

  const CRecord& record_;
  const SYSTEMTIME& now_;
  Output& out_;
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
          std::holds_alternative<FoldersMember>(field.member)) {
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

}  // namespace

void writeRecord(const CRecord& record, const SYSTEMTIME& now, JsonWriter& json) {
  ValueWriter writer(record, now, json);
  json.beginObject();
  for (const Field& field : kFields) {
    if (field.isPart) continue;
    json.key(field.name);
    writer.write(field);
  }
  json.endObject();
}

void writeStatus(const CRecord& record, const SYSTEMTIME& now, JsonWriter& json) {
  ValueWriter(record, now, json).writeStatus();
}

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
  const auto& [field, part] = columnTable().columns.at(static_cast<std::size_t>(column));
  CellWriter cell(out);
  ValueWriter writer(record, now, cell);
  if (Columns::isStatus(*field)) {
    writer.writeStatusPart(part);
  } else if (Columns::isListing(*field)) {
    writer.writeListingPart(part);
  } else {
    writer.write(*field);
  }
}

}  // namespace tessaron
