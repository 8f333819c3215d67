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
  for (const auto& [flag, text] : tessaron::kFlaggedTexts) {
    if (!(this->*flag)) (this->*text).clear();
  }
  for (const auto& [flag, list] : tessaron::kFlaggedLists) {
    if (!(this->*flag)) (this->*list).clear();
  }
  if (!hasDiscs) discs.clear();
}

void CRecord::postProcess() {
  for (const auto& [flag, text] : tessaron::kFlaggedTexts) this->*flag = !(this->*text).empty();
  for (const auto& [flag, list] : tessaron::kFlaggedLists) this->*flag = !(this->*list).empty();
  hasDiscs = !discs.empty();

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
