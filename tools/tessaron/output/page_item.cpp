#include "output/page_item.h"

#include <fmt/format.h>

#include <cstdint>
#include <utility>
#include <vector>

#include "catalogue/item_field.h"
#include "records/due.h"
#include "records/record_fields.h"
#include "records/record_values_internal.h"
#include "support/escape.h"
#include "support/text.h"

namespace tessaron::tool {
namespace {

/// The replacement of a character in a JSON text inside a script element; empty when it is kept.
std::string_view escapeOf(char16_t unit) {
  static const std::vector<std::string> kNumbered = [] {
    constexpr int kControls = 0xA0;  // and what is below the last of them
    std::vector<std::string> escapes;
    escapes.reserve(kControls);
    for (int number = 0; number < kControls; ++number)
      escapes.push_back(fmt::format("\\u{:04x}", number));
    return escapes;
  }();
  if (unit == u'"') return "\\\"";
  if (unit == u'\\') return "\\\\";
  if (unit == u'\n') return "\\n";
  return unit < kNumbered.size() ? std::string_view(kNumbered[unit]) : std::string_view();
}

/// Has the members of a JsonWriter. Writes on one line, and leaves out the members of objects that
/// are null or empty.
class SparseWriter {
 public:
  explicit SparseWriter(std::string& out) : out_(out) {}

  void beginObject() { begin('{', '}'); }
  void endObject() { end(); }
  void beginArray() { begin('[', ']'); }
  void endArray() { end(); }
  void key(std::string_view name) { key_ = name; }
  void text(std::u16string_view value) {
    if (value.empty() && isMember()) return;
    beginValue();
    out_ += '"';
    appendEscaped<'"', '\\', '<'>(out_, value, escapeOf);
    out_ += '"';
  }
  void number(std::int64_t value) {
    beginValue();
    out_ += std::to_string(value);
  }
  void truth() {
    beginValue();
    out_ += "true";
  }
  void null() {
    if (isMember()) return;
    beginValue();
    out_ += "null";
  }

 private:
  struct Level {
    char open;
    char close;
    std::string_view key;  ///< of the member that it is; empty in an array
    bool isWritten = false;
    bool hasParts = false;
  };

  bool isMember() const { return !levels_.empty() && levels_.back().open == '{'; }

  /// Writes the brackets of all objects and arrays around the value that are not written yet.
  void beginValue() {
    for (std::size_t i = 0; i < levels_.size(); ++i) {
      Level& level = levels_[i];
      if (level.isWritten) continue;
      if (i > 0) beginPart(levels_[i - 1], level.key);
      out_ += level.open;
      level.isWritten = true;
    }
    if (!levels_.empty()) beginPart(levels_.back(), key_);
  }
  void beginPart(Level& level, std::string_view key) {
    if (level.hasParts) out_ += ',';
    level.hasParts = true;
    if (level.open == '{') ((out_ += '"') += key) += "\":";
  }
  void begin(char open, char close) { levels_.push_back({open, close, key_}); }
  void end() {
    // What is empty is left out as a member; as an element it keeps the places of the others.
    if (!levels_.back().isWritten &&
        (levels_.size() == 1 || levels_[levels_.size() - 2].open == '['))
      writeEmpty();
    const Level level = levels_.back();
    levels_.pop_back();
    if (level.isWritten) out_ += level.close;
  }
  void writeEmpty() {
    const Level level = levels_.back();
    levels_.pop_back();
    beginValue();
    out_ += level.open;
    levels_.push_back(level);
    levels_.back().isWritten = true;
  }

  std::string& out_;
  std::string_view key_;
  std::vector<Level> levels_;
};

std::string_view kindName(ValueKind kind) {
  switch (kind) {
    case ValueKind::Number:
      return "number";
    case ValueKind::Date:
      return "date";
    case ValueKind::Price:
      return "price";
    default:
      return "text";
  }
}

/// Describes a field that queries know.
void writeField(SparseWriter& json, std::string_view name, std::string_view shortName,
                ValueKind kind, const Field::Page& page) {
  json.beginObject();
  json.key("name");
  json.text(fromUtf8(name));
  json.key("short");
  json.text(fromUtf8(shortName));
  json.key("kind");
  json.text(fromUtf8(kindName(kind)));
  json.key("label");
  json.text(fromUtf8(page.label));
  if (!page.label.empty()) {
    json.key("order");
    json.number(static_cast<std::int64_t>(page.order));
  }
  json.endObject();
}

Field::Page pageOf(std::string_view name) {
  for (const Field& field : kFields)
    if (field.name == name) return field.page;
  return {};
}

}  // namespace

void appendPageItem(const CRecord& record, const SYSTEMTIME& now, const PageItemExtras& extras,
                    std::string& out) {
  SparseWriter json(out);
  json.beginObject();
  json.key("key");
  json.text(extras.key.empty() ? record.ASIN : fromUtf8(extras.key));
  json.key("version");
  json.text(fromUtf8(extras.version));
  if (daysLeft(record, now)) {
    json.key("due");
    json.text(fromUtf8(isoDate(record.StatusEndDate)));
  }
  json.key("cover");
  if (extras.cover.empty() && extras.hasCover)
    json.truth();
  else
    json.text(fromUtf8(extras.cover));
  ValueWriter writer(record, now, json);
  for (const Field& field : kFields) {
    if (field.isPart) continue;
    json.key(field.name);
    writer.write(field);
  }
  json.endObject();
}

void appendPageFacts(std::string_view title, const SYSTEMTIME& now, bool isServed,
                     std::string& out) {
  SparseWriter json(out);
  json.beginObject();
  json.key("title");
  json.text(fromUtf8(title));
  if (isServed) {
    json.key("isServed");
    json.truth();
  }
  json.key("day");
  json.text(fromUtf8(fmt::format("{:04}-{:02}-{:02}", now.wYear, now.wMonth, now.wDay)));
  json.key("fields");
  json.beginArray();
  for (const MadeField& made : madeFields()) writeField(json, made.name, {}, made.values, {});
  for (const std::string& name : recordColumns()) {
    const RecordColumn column = recordColumn(name);
    const std::string_view shorter = shortName(column);
    writeField(json, name, shorter == name ? std::string_view() : shorter, valueKind(column),
               pageOf(name));
  }
  json.endArray();
  json.key("statuses");
  json.beginArray();
  for (std::int32_t status = 0; status < kStatusCount; ++status) json.text(statusLabel(status));
  json.endArray();
  json.endObject();
}

}  // namespace tessaron::tool
