#include "records/record.h"

#include "records/record_fields.h"
#include "support/text.h"

namespace {

constexpr std::size_t kCustomFieldSlots = 7;

bool replaceFirst(std::u16string& text, std::u16string_view what, std::u16string_view by) {
  const std::size_t at = text.find(what);
  if (at == text.npos) return false;
  text.replace(at, what.size(), by);
  return true;
}

// The fields with a presence flag.
constexpr auto kFlagged = [] {
  std::array<const tessaron::Field*, 18> flagged{};
  std::size_t count = 0;
  for (const tessaron::Field& field : tessaron::kFields) {
    if (field.flag) flagged[count++] = &field;
  }
  if (count != flagged.size()) throw "the table has another number of rows";
  return flagged;
}();

// Calls `visit` with each of these flags and the value that it describes.
template <typename Visit>
void forEachFlagged(CRecord& record, Visit visit) {
  for (const tessaron::Field* field : kFlagged) {
    bool& flag = record.*field->flag;
    if (const auto* text = std::get_if<tessaron::TextMember>(&field->member)) {
      visit(flag, record.**text);
    } else if (const auto* list = std::get_if<tessaron::ListMember>(&field->member)) {
      visit(flag, record.**list);
    } else {
      visit(flag, record.*std::get<tessaron::DiscsMember>(field->member));
    }
  }
}

}  // namespace

CRecord::CRecord()
    : customFieldFlags(kCustomFieldSlots),
      customFieldNames(kCustomFieldSlots),
      customFieldValues(kCustomFieldSlots) {
  postProcess();
}

CRecord::CRecord(const CRecord&) = default;
CRecord::CRecord(CRecord&&) noexcept = default;
CRecord& CRecord::operator=(const CRecord&) = default;
CRecord& CRecord::operator=(CRecord&&) noexcept = default;
CRecord::~CRecord() = default;

void CRecord::preProcess() {
  forEachFlagged(*this, [](bool& flag, auto& value) {
    if (!flag) value.clear();
  });
}

void CRecord::postProcess() {
  forEachFlagged(*this, [](bool& flag, auto& value) { flag = !value.empty(); });

  if (hasDiscs && NumberOfDiscs.empty()) {
    NumberOfDiscs = tessaron::fromUtf8(std::to_string(discs.size()));
  }
  fixunicode(Title);
  if (hasDescription) fixunicode(description);
  for (std::u16string& summary : reviewSummaries) fixunicode(summary);
  for (std::u16string& content : reviewContents) fixunicode(content);

  // QUIRK: a mark in the other two prices is only shortened when the list price has it. Each price
  // could be taken by itself. Kept: price comparisons tell by it which prices share a currency.
  for (const auto& [mark, sign] :
       {std::pair(u"EUR ", u"\u20AC"), std::pair(u"\uFFE5 ", u"\u00A5")}) {
    if (!replaceFirst(ListPrice, mark, sign)) continue;
    replaceFirst(LowestNewPrice, mark, sign);
    replaceFirst(LowestUsedPrice, mark, sign);
  }
}
