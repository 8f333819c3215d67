#include "catalogue/readers/tellico_source.h"

#include <array>
#include <optional>
#include <utility>
#include <variant>

#include "catalogue/readers/element_stream_internal.h"
#include "catalogue/readers/filling_internal.h"
#include "catalogue/readers/table_columns_internal.h"
#include "catalogue/utf8_copy_internal.h"
#include "records/field_text.h"
#include "support/read_watch.h"
#include "support/text.h"
#include "support/zip_reader.h"

namespace tessaron {
namespace {

using Element = XmlTree::Element;
using Kind = SourceError::Kind;

constexpr std::uint64_t kMaxDocument = std::uint64_t{4} << 30;

// The product group of a collection, by its type's number.
std::string_view groupOf(std::string_view type) {
  constexpr std::array<std::pair<std::string_view, std::string_view>, 6> kGroups = {{
      {"2", "Book"},
      {"3", "DVD"},
      {"4", "Music"},
      {"5", "Book"},
      {"6", "Book"},
      {"11", "Video Games"},
  }};
  for (const auto& [number, group] : kGroups)
    if (number == type) return group;
  return {};
}

// Fields that say nothing about the item itself.
bool isInternal(std::string_view name) {
  return name == "id" || name == "mdate" || name == "cover" || name == "loaned";
}

std::string textOf(Element element) { return toUtf8(prose(element)); }

// The date in the children "year", "month" and "day".
std::string dateOf(Element element) {
  std::string date;
  for (const char* part : {"year", "month", "day"}) {
    const Element child = element.child(part);
    if (!child) break;
    date += (date.empty() ? "" : "-") + textOf(child);
  }
  return plainDate(date);
}

// The values of a field: one text, one per child, or the first column of each row of a table.
std::vector<std::string> valuesOf(Element field) {
  if (field.child("year")) return {dateOf(field)};
  if (!field.firstChild()) return {textOf(field)};
  std::vector<std::string> values;
  for (const Element child : field.children()) {
    const Element column = child.child("column");
    values.push_back(textOf(column ? column : child));
  }
  return values;
}

bool isList(const Field& field) {
  return std::holds_alternative<ListMember>(field.member) ||
         std::holds_alternative<DiscsMember>(field.member);
}

class TellicoSource : public RecordSource {
 public:
  explicit TellicoSource(std::unique_ptr<File> file) {
    summary_.format = "Tellico";
    summary_.program = "Tellico";
    file_ = std::move(file);
    if (unpack() && decode())
      elements_.emplace(*file_, [this](const XmlScanner& scanner, std::string_view text,
                                       std::size_t depth) { return choose(scanner, text, depth); });
  }

  bool next(SourceItem& item) override {
    if (error_ || !elements_) return false;
    if (!elements_->next()) return finish();
    item.line = elements_->line();
    for (const Element field : elements_->element().children()) take(field, item.record);
    item.record.ProductGroup = fromUtf8(group_);
    item.isDated = item.record.DateAdded != 0;
    return true;
  }

 private:
  bool unpack() {
    ReadWatch archive(*file_);
    const bool isPacked = isZip(archive);
    ScratchFile document;
    std::string error;
    if (isPacked)
      error = extractZipEntry(archive, "tellico.xml", kMaxDocument,
                              [&](std::string_view text) { return document.write(text); });
    if (archive.hasFailed()) return fail(Kind::Unreadable, "the file cannot be read");
    if (!isPacked) return true;
    if (!error.empty()) return fail(Kind::Damaged, error);
    file_ = document.take();
    return file_ || fail(Kind::Unreadable, "the file cannot be unpacked");
  }

  // Puts the document into UTF-8.
  bool decode() {
    const std::unique_ptr<XmlDecoder> decoder = makeDecoder(*file_);
    if (!decoder) return fail(Kind::Unreadable, "the file cannot be read");
    if (const XmlError& error = decoder->error())
      return fail(Kind::Damaged, error.message, error.line, error.column);
    if (!decoder->isPlain()) {
      file_ = decodeToScratch(*file_, *decoder, true);
      if (!file_) return fail(Kind::Unreadable, "the file cannot be decoded");
    }
    const std::uint64_t start = decoder->isPlain() && decoder->isMarked() ? 3 : 0;
    return file_->seek(start) || fail(Kind::Unreadable, "the file cannot be read");
  }

  // Chooses the entries, and takes note of the collection's type.
  bool choose(const XmlScanner& scanner, std::string_view text, std::size_t depth) {
    if (depth == 1 && scanner.name() == "collection") {
      for (const XmlScanner::Attribute& attribute : scanner.attributes())
        if (attribute.name.of(text) == "type") group_ = groupOf(attribute.value.of(text));
    }
    return depth == 2 && scanner.name() == "entry";
  }

  bool finish() {
    if (const XmlError& error = elements_->error())
      return fail(error.kind == XmlError::Kind::Unreadable ? Kind::Unreadable : Kind::Damaged,
                  error.message, error.line, error.column);
    if (elements_->rootName() == "tellico") return false;
    return fail(Kind::Foreign, "this is no collection of Tellico's");
  }

  void take(Element element, CRecord& record) {
    const std::string_view whole = element.name();
    const ColumnRule* rule = findRule(tellicoFields(), whole);
    // A field of several values is named in the plural.
    if (!rule && whole.ends_with('s'))
      rule = findRule(tellicoFields(), whole.substr(0, whole.size() - 1));
    if (!rule) {
      if (!isInternal(whole)) ignore(std::string(whole));
      return;
    }
    const Field* const field = fieldOf(*rule);
    std::string joined;
    for (const std::string& value : valuesOf(element)) {
      const std::string_view text = trimmedText(value);
      if (text.empty()) continue;
      if (isList(*field))
        rule->convert({record, field, rule->argument, std::string(text)});
      else
        joined.append(joined.empty() ? "" : "; ").append(text);
    }
    if (!joined.empty()) rule->convert({record, field, rule->argument, joined});
  }

  std::unique_ptr<File> file_;
  std::optional<ElementStream> elements_;
  std::string group_;
};

}  // namespace

std::unique_ptr<RecordSource> openTellico(std::unique_ptr<File> file) {
  return std::make_unique<TellicoSource>(std::move(file));
}

}  // namespace tessaron
