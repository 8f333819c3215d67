#include "records/record_from_json.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cstdint>
#include <limits>
#include <optional>
#include <utility>
#include <variant>

#include "records/item_stream.h"
#include "records/record_fields.h"
#include "records/record_values_internal.h"
#include "support/dos_date.h"
#include "support/name_table.h"
#include "support/text.h"

namespace tessaron {
namespace {

using Token = JsonReader::Token;

constexpr NameTable kFieldNames = [] {
  std::array<std::string_view, kFields.size()> names{};
  std::ranges::transform(kFields, names.begin(), &Field::name);
  return NameTable(names);
}();

constexpr std::string_view kindOf(Token token) {
  switch (token) {
    case Token::Text:
      return "a text";
    case Token::Number:
      return "a number";
    case Token::True:
    case Token::False:
      return "true or false";
    case Token::Null:
      return "null";
    case Token::BeginArray:
      return "a list";
    default:
      return "an object";
  }
}

/// Reads the values of a record; the counterpart of ValueWriter.
class ValueReader {
 public:
  ValueReader(JsonReader& json, CRecord& record,
              const std::function<void(const std::string&)>& onUnknown)
      : json_(json), record_(record), onUnknown_(onUnknown), begin_(json.position()) {}

  void readRecord() {
    readMembers([this](const std::string& key) {
      const std::size_t index = kFieldNames.find(key);
      if (index == kFieldNames.size() || kFields[index].isPart) return false;
      readField(kFields[index]);
      return true;
    });
    const std::size_t reviews = record_.reviewRatings.size();
    if (record_.reviewSummaries.size() != reviews || record_.reviewContents.size() != reviews)
      refuse("the lists of the reviews differ in length");
  }

  const std::string& error() const { return error_; }
  bool sawDate() const { return sawDate_; }

 private:
  void readField(const Field& field) {
    path_ = field.name;
    sawDate_ = sawDate_ || path_ == "DateAdded";
    std::visit([this](auto member) { value(member); }, field.member);
    if (!field.flag) return;
    std::visit(
        [&](auto member) {
          if constexpr (requires { (record_.*member).empty(); })
            record_.*field.flag = !(record_.*member).empty();
        },
        field.member);
  }

  void value(CompositeField field) {
    if (field == CompositeField::Status) return readStatus();
    if (field == CompositeField::CustomFields) return readCustomFields();
    record_.hasIcon = false;
    record_.icon = 0;
    if (json_.token() != Token::Null) record_.hasIcon = integer(record_.icon);
  }
  void value(DateMember member) { date(record_.*member); }
  template <typename Member>
  void value(Member CRecord::*member) {
    item(record_.*member);
  }

  void item(std::u16string& text) {
    if (expect(Token::Text)) text = fromUtf8(json_.text());
  }
  void item(COfferListing& listing) { texts(listing, kListingTexts); }
  void item(COffer& offer) { texts(offer, kOfferTexts); }
  void item(CFileInfo& file) {
    readObject([&](const std::string& key) {
      if (key == "path") return item(file.path), true;
      if (key == "name") return item(file.name), true;
      if (key != "size") return false;
      std::uint64_t size = 0;
      integer(size);
      file.sizeLow = static_cast<std::uint32_t>(size);
      file.sizeHigh = static_cast<std::uint32_t>(size >> 32);
      return true;
    });
  }
  void item(CFolderInfo& folder) {
    readObject([&](const std::string& key) {
      if (key == "id") return integer(folder.id), true;
      if (key == "parentId") return integer(folder.parentId), true;
      if (key == "path") return item(folder.path), true;
      if (key != "files") return false;
      item(folder.files);
      return true;
    });
  }
  void item(std::int32_t& count) {
    if (integer(count) && count >= 1) return;
    refuse('"' + path_ + "\" is no number from 1 on");
    count = 1;
  }
  void item(CLoan& loan) {
    readObject([&](const std::string& key) {
      if (key == "value") return integer(loan.status), true;
      if (key == "target") return item(loan.who), true;
      if (key == "begin") return date(loan.begin), true;
      if (key == "end") return date(loan.end), true;
      if (key == "returned") return date(loan.returned), true;
      if (key != "name") return false;
      json_.skipValue();  // derived
      return true;
    });
  }
  void item(CLinkedFile& file) {
    readObject([&](const std::string& key) {
      if (key == "path") return item(file.path), true;
      if (key == "checksum") return item(file.checksum), true;
      if (key == "added") return date(file.added), true;
      if (key != "size") return false;
      std::int64_t size = 0;
      if (integer(size) && size < 0) refuse('"' + path_ + "\" is no number from 0 on");
      file.size = static_cast<std::uint64_t>(size);
      return true;
    });
    if (file.path.empty()) refuse("a file has no \"path\"");
  }
  template <typename Item>
  void item(std::vector<Item>& list) {
    list.clear();
    if (!expect(Token::BeginArray)) return;
    const std::string path = path_;
    while (nextIsValue(Token::EndArray)) {
      if (!isInBounds()) {
        json_.skipValue();
        continue;
      }
      path_ = path + '[' + std::to_string(list.size()) + ']';
      item(list.emplace_back());
    }
    path_ = path;
  }
  template <typename Owner, typename Names>
  void texts(Owner& owner, const Names& names) {
    readObject([&](const std::string& key) {
      const auto found = std::ranges::find(names, key, [](const auto& text) { return text.name; });
      if (found == names.end()) return false;
      item(owner.*found->member);
      return true;
    });
  }

  void date(std::uint16_t& date) {
    date = 0;
    if (json_.token() == Token::Null || !expect(Token::Text)) return;
    date = parseIsoDate(json_.text());
    if (date == 0) refuse('"' + path_ + "\" is no date from 1980 to 2107, written YYYY-MM-DD");
  }

  template <typename Number>
  bool integer(Number& number) {
    if (!expect(Token::Number)) return false;
    const std::string& digits = json_.text();
    const char* const end = digits.data() + digits.size();
    const auto [last, error] = std::from_chars(digits.data(), end, number);
    if (error == std::errc() && last == end) return true;
    refuse('"' + path_ + "\" is no whole number in its range");
    return false;
  }

  void readStatus() {
    if (json_.token() == Token::Null) {
      record_.hasStatus = false;
      record_.status = 0;
      record_.StatusTarget.clear();
      record_.StatusBeginDate = record_.StatusEndDate = 0;
      return;
    }
    readObject([this](const std::string& key) {
      if (key == "value") return record_.hasStatus = integer(record_.status), true;
      if (key == "target") return item(record_.StatusTarget), true;
      if (key == "begin") return date(record_.StatusBeginDate), true;
      if (key == "end") return date(record_.StatusEndDate), true;
      if (std::ranges::find(kStatusParts, key) == kStatusParts.end()) return false;
      json_.skipValue();  // derived
      return true;
    });
    if (!record_.hasStatus) refuse("\"status\" has no \"value\"");
  }

  void readCustomFields() {
    if (!expect(Token::BeginArray)) return;
    const std::size_t slots = record_.customFieldFlags.size();
    record_.customFieldFlags.assign(slots, false);
    record_.customFieldNames.assign(slots, {});
    record_.customFieldValues.assign(slots, {});
    std::size_t count = 0;
    while (nextIsValue(Token::EndArray)) {
      std::u16string name, text;
      path_ = "customFields[" + std::to_string(count) + ']';
      readObject([&](const std::string& key) {
        if (key != "name" && key != "value") return false;
        item(key == "name" ? name : text);
        return true;
      });
      if (count < slots) {
        record_.customFieldFlags[count] = !name.empty();
        record_.customFieldNames[count] = std::move(name);
        record_.customFieldValues[count] = std::move(text);
      }
      ++count;
    }
    if (count > slots) {
      refuse("it has " + std::to_string(count) + " fields of its owner's; there is room for " +
             std::to_string(slots));
    }
  }

  /// Reads an object whose values `take(key)` reads; false from it: the key is unknown.
  template <typename Take>
  void readObject(Take take) {
    if (expect(Token::BeginObject)) readMembers(take);
  }
  template <typename Take>
  void readMembers(Take take) {
    const std::string path = path_;
    while (nextIsValue(Token::EndObject)) {
      const std::string key = json_.text();
      path_ = path;
      if (!path.empty()) path_ += '.';
      path_ += key;
      const std::string known = path_;
      json_.next();
      if (json_.token() == Token::Error || take(key)) continue;
      if (onUnknown_) onUnknown_(known);
      json_.skipValue();
    }
    path_ = path;
  }

  /// Moves to the next key or entry. False at the end of the object or list, and at an error.
  bool nextIsValue(Token end) {
    const Token token = json_.next();
    return token != end && token != Token::Error && token != Token::End;
  }

  bool isInBounds() {
    if (json_.position() - begin_ <= ItemStream::kMaxItem) return true;
    refuse("it has more than 64 MiB");
    return false;
  }

  /// Whether the value is of that kind. Otherwise passes over it.
  bool expect(Token kind) {
    if (json_.token() == kind && (kind != Token::Text || isInBounds())) return true;
    if (json_.token() == Token::Error) return false;
    refuse('"' + path_ + "\" is " + std::string(kindOf(json_.token())) + ", not " +
           std::string(kindOf(kind)));
    json_.skipValue();
    return false;
  }

  void refuse(std::string reason) {
    if (error_.empty()) error_ = std::move(reason);
  }

  JsonReader& json_;
  CRecord& record_;
  const std::function<void(const std::string&)>& onUnknown_;
  std::uint64_t begin_;  // of the record
  std::string path_;     // of the value
  std::string error_;
  bool sawDate_ = false;
};

}  // namespace

std::string recordFromJson(JsonReader& json, CRecord& record,
                           const std::function<void(const std::string&)>& onUnknown,
                           bool* sawDate) {
  ValueReader reader(json, record, onUnknown);
  reader.readRecord();
  if (sawDate) *sawDate = reader.sawDate();
  return reader.error();
}

}  // namespace tessaron
