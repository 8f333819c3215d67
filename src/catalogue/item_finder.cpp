#include "catalogue/item_finder.h"

#include <algorithm>
#include <optional>

#include "records/product_number.h"
#include "support/fold.h"

namespace tessaron {
namespace {

bool isWordPart(char16_t unit) {
  if (unit < 0x80)
    return (unit >= u'0' && unit <= u'9') || (unit >= u'a' && unit <= u'z') ||
           (unit >= u'A' && unit <= u'Z');
  const bool isLatinSign = unit <= 0xBF;
  const bool isPunctuation = unit >= 0x2000 && unit <= 0x206F;
  const bool isCjkPunctuation = unit >= 0x3000 && unit <= 0x303F;
  return !isLatinSign && !isPunctuation && !isCjkPunctuation;
}

// Scripts that are written without blanks between words.
bool isUnspaced(char16_t unit) { return unit >= 0x2E80 && unit <= 0x9FFF; }

std::vector<std::u16string> wordsOf(std::u16string_view text) {
  const std::u16string folded = foldText(text);
  std::vector<std::u16string> words;
  bool inWord = false;
  for (const char16_t unit : folded) {
    const bool isPart = isWordPart(unit);
    if (isPart && !inWord) words.emplace_back();
    if (isPart) words.back() += unit;
    inWord = isPart;
  }
  return words;
}

bool hasWord(const std::vector<std::u16string>& title, const std::u16string& wanted) {
  return std::ranges::find(title, wanted) != title.end();
}

bool hasBeginning(const std::vector<std::u16string>& title, const std::u16string& wanted) {
  return std::ranges::any_of(title, [&](const std::u16string& word) {
    return isUnspaced(wanted[0]) ? word.find(wanted) != word.npos : word.starts_with(wanted);
  });
}

std::u16string lowerAscii(std::u16string text) {
  for (char16_t& unit : text)
    if (unit >= u'A' && unit <= u'Z') unit = static_cast<char16_t>(unit + 0x20);
  return text;
}

}  // namespace

ItemFinder::ItemFinder(std::span<const std::u16string> names, By by)
    : by_(by), names_(names.size()) {
  for (std::size_t i = 0; i < names.size(); ++i) {
    keys_[names[i]].push_back(i);
    if (by == By::Key) continue;
    lowerKeys_[lowerAscii(names[i])].push_back(i);
    if (const std::optional<std::u16string> number = productNumber(names[i])) {
      numbers_[*number].push_back(i);
    } else {
      names_[i].words = wordsOf(names[i]);
    }
  }
}

std::span<const std::size_t> ItemFinder::see(const ItemStream& items) {
  updated_.clear();
  item_ = items.count();
  Candidate candidate{items.asin(), {}};
  if (!candidate.asin.empty()) {
    offerAll(keys_, candidate.asin, Match::Key, candidate);
    if (by_ == By::Everything)
      offerAll(lowerKeys_, lowerAscii(candidate.asin), Match::KeyInOtherCase, candidate);
  }
  if (by_ == By::Key || hasAllKeys()) return updated_;
  CRecord record;
  record.fullDetail = false;
  items.read(record);
  candidate.title = record.Title;
  matchNumbers(record, candidate);
  matchTitle(candidate);
  return updated_;
}

void ItemFinder::matchNumbers(const CRecord& record, const Candidate& candidate) {
  if (numbers_.empty()) return;
  for (const auto member : kNumbersAndKey) {
    if (const std::optional<std::u16string> number = productNumber(record.*member))
      offerAll(numbers_, *number, Match::Number, candidate);
  }
}

void ItemFinder::matchTitle(const Candidate& candidate) {
  std::vector<std::u16string> title;
  for (std::size_t i = 0; i < names_.size(); ++i) {
    const Name& name = names_[i];
    if (name.words.empty() || name.match < Match::Title) continue;
    if (title.empty()) title = wordsOf(candidate.title);
    const auto isIn = [&](auto has) {
      return std::ranges::all_of(name.words, [&](const auto& word) { return has(title, word); });
    };
    if (!isIn(hasBeginning)) continue;
    const bool isWhole = std::ranges::is_permutation(title, name.words);
    offer(i, isWhole ? Match::Title : isIn(hasWord) ? Match::Words : Match::Beginnings, candidate);
  }
}

void ItemFinder::offerAll(const Index& index, const std::u16string& text, Match match,
                          const Candidate& candidate) {
  const auto found = index.find(text);
  if (found == index.end()) return;
  for (const std::size_t name : found->second) offer(name, match, candidate);
}

void ItemFinder::offer(std::size_t index, Match match, const Candidate& candidate) {
  Name& name = names_[index];
  if (match > name.match) return;
  if (match < name.match) {
    name.match = match;
    name.result = {};
    name.result.isByKey = match <= Match::KeyInOtherCase;
    if (match == Match::Key) ++keysFound_;
  }
  Result& result = name.result;
  if (match == name.match && result.count > 0 && name.lastItem == item_) return;
  name.lastItem = item_;
  const bool isKnown = std::ranges::any_of(result.candidates, [&](const Candidate& known) {
    return !known.asin.empty() && known.asin == candidate.asin;
  });
  if (isKnown) return;
  if (++result.count == 1) updated_.push_back(index);
  if (result.count <= kMaxCandidates) result.candidates.push_back(candidate);
}

}  // namespace tessaron
