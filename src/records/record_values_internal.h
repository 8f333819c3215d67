#pragma once
// How the values of a record are written, to JSON and to the cells of a table.

#include <algorithm>
#include <array>
#include <cstdint>
#include <string>
#include <string_view>
#include <variant>

#include "records/record_fields.h"
#include "support/dos_date.h"
#include "support/string_table.h"

namespace tessaron {

inline constexpr std::array<std::string_view, 7> kStatusParts = {"value", "name", "target", "begin",
                                                                 "end",   "text", "due"};
template <typename Structure>
struct NamedText {
  std::string_view name;
  std::u16string Structure::*member;
};
inline constexpr auto kOfferTexts = std::to_array<NamedText<COffer>>({
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

inline constexpr auto kListingTexts = std::to_array<NamedText<COfferListing>>({
    {"OfferListingId", &COfferListing::OfferListingId},
    {"Price", &COfferListing::Price},
    {"Availability", &COfferListing::Availability},
});

/// Writes the values of a record to an output with the members of a JsonWriter.
template <typename Output>
class ValueWriter {
 public:
  ValueWriter(const CRecord& record, const SYSTEMTIME& now, Output& out)
      : record_(record), now_(now), out_(out) {}

  void write(const Field& field) {
    std::visit([this](auto member) { this->value(member); }, field.member);
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
  void item(std::int32_t count) { out_.number(count); }
  void item(const CLoan& loan) {
    out_.beginObject();
    out_.key("value");
    out_.number(loan.status);
    out_.key("name");
    out_.text(statusLabel(loan.status));
    out_.key("target");
    out_.text(loan.who);
    out_.key("begin");
    date(loan.begin);
    out_.key("end");
    date(loan.end);
    out_.key("returned");
    date(loan.returned);
    out_.endObject();
  }
  void item(const CLinkedFile& file) {
    out_.beginObject();
    out_.key("path");
    out_.text(file.path);
    out_.key("size");
    out_.number(static_cast<std::int64_t>(file.size));
    out_.key("checksum");
    out_.text(file.checksum);
    out_.key("added");
    date(file.added);
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

}  // namespace tessaron
