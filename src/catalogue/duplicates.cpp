#include "catalogue/duplicates.h"

#include <algorithm>
#include <cstdint>
#include <set>
#include <unordered_map>
#include <utility>

#include "catalogue/item_file_internal.h"
#include "catalogue/item_merge.h"
#include "catalogue/item_numbers_internal.h"
#include "catalogue/title_key.h"
#include "platform/system.h"
#include "support/fold.h"

namespace tessaron {
namespace {

// A key in 64 bits. Among a million keys two are the same by chance once in 30 million collections.
std::uint64_t shortKey(std::u16string_view key) {
  std::uint64_t hash = 0xCBF29CE484222325U;  // FNV-1a over units
  for (const char16_t unit : key) hash = (hash ^ unit) * 0x100000001B3U;
  return hash;
}

// What a record has in common with others of the same title: one key for each person.
std::set<std::uint64_t> titleKeys(const CRecord& record) {
  const std::u16string title = titleKey(record.Title);
  std::set<std::uint64_t> keys;
  if (title.empty()) return keys;
  const std::u16string group = foldText(record.ProductGroup);
  const auto add = [&](const std::u16string& person) {
    const std::u16string name = wordsKey(person);
    if (!name.empty()) keys.insert(shortKey(title + u'\n' + group + u'\n' + name));
  };
  for (const CRecord::Strings* people : {&record.authors, &record.artists, &record.directors})
    for (const std::u16string& person : *people) add(person);
  if (keys.empty() && !record.actors.empty()) add(record.actors.front());
  for (const std::u16string* maker : {&record.Publisher, &record.Studio, &record.Label})
    if (keys.empty()) add(*maker);
  return keys;
}

}  // namespace

struct Duplicates::Parts {
  ItemFile file;
  ItemsDigest digest;
  // The first items of each key, by their places.
  std::unordered_map<std::uint64_t, std::uint32_t> byName, byNumber, byTitle;
  std::vector<ProductNumbers> numbers;  // of all items
};

Duplicates::Duplicates() : parts_(std::make_unique<Parts>()) {}
Duplicates::~Duplicates() = default;

XmlError Duplicates::find(std::unique_ptr<File> collection) {
  using Reason = DuplicatePair::Reason;
  XmlError error = parts_->file.open(std::move(collection), [this](const ItemStream& items) {
    const std::size_t place = items.count() - 1;
    parts_->digest.add(items.item());
    CRecord record;
    record.fullDetail = false;
    items.read(record);
    const ProductNumbers& numbers = parts_->numbers.emplace_back(productNumbers(record));
    const std::size_t known = pairs_.size();
    // Makes a pair with the first item of the key, unless there is one for another reason.
    const auto see = [&](auto& firsts, std::uint64_t key, Reason reason, std::u16string number) {
      const std::size_t first =
          firsts.try_emplace(key, static_cast<std::uint32_t>(place)).first->second;
      const bool isKnown =
          std::any_of(pairs_.begin() + static_cast<std::ptrdiff_t>(known), pairs_.end(),
                      [&](const DuplicatePair& pair) { return pair.first == first; });
      if (first != place && !isKnown) pairs_.push_back({first, place, reason, std::move(number)});
    };
    if (!record.ASIN.empty()) see(parts_->byName, shortKey(record.ASIN), Reason::Key, {});
    for (const std::uint64_t number : numbers)
      if (number != 0) see(parts_->byNumber, number, Reason::Number, digitsOf(number));
    for (const std::uint64_t key : titleKeys(record)) see(parts_->byTitle, key, Reason::Title, {});
    for (std::size_t i = known; i < pairs_.size(); ++i)
      pairs_[i].isContrary = pairs_[i].reason == Reason::Title &&
                             isContrary(parts_->numbers[pairs_[i].first], numbers);
  });
  parts_->byName = {};
  parts_->byNumber = {};
  parts_->byTitle = {};
  return error;
}

bool Duplicates::isCollection() const { return parts_->file.canHoldItems(); }

std::size_t Duplicates::itemCount() const { return parts_->file.size(); }

CRecord Duplicates::item(std::size_t place) { return recordOf(parts_->file.read(place)); }

struct JoinDuplicates::Walk {
  ItemsDigest seen;
  std::size_t place = 0;                                            // of the next item
  std::unordered_map<std::size_t, std::vector<std::size_t>> pairs;  // by their first items
  std::vector<bool> isJoined;
};

JoinDuplicates::JoinDuplicates(Duplicates& duplicates, const UnionRule& rule, ConflictReport report)
    : duplicates_(duplicates),
      rule_(rule),
      report_(std::move(report)),
      walk_(std::make_unique<Walk>()) {
  walk_->isJoined.resize(duplicates.itemCount());
  for (std::size_t i = 0; i < duplicates_.pairs().size(); ++i)
    walk_->pairs[duplicates_.pairs()[i].first].push_back(i);
}

JoinDuplicates::~JoinDuplicates() = default;

// Completes `text` by the second item of a pair. False when they are to stay apart.
bool JoinDuplicates::join(std::string& text, const DuplicatePair& pair) {
  const CRecord record = recordOf(text);
  // The text may have got another number meanwhile, from a third item.
  const bool isContraryNow =
      pair.reason == DuplicatePair::Reason::Title &&
      isContrary(productNumbers(record), duplicates_.parts_->numbers[pair.second]);
  if (pair.isContrary || isContraryNow) {
    ++counts_.editions;
    return false;
  }
  const std::string other = duplicates_.parts_->file.read(pair.second);
  if (readFailed()) return false;
  ItemUnion both = uniteItems(text, other, rule_);
  const bool isSettled = both.isSettled();
  if (!both.conflicts.empty()) report_({record.ASIN, record.Title, std::move(both.conflicts)});
  ++(isSettled ? counts_.joined : counts_.conflicts);
  if (isSettled && both.text) text = *std::move(both.text);
  return isSettled;
}

// Joins the item at `place`, whose text is `text`, with those that are like it, and with those
// that are like them.
void JoinDuplicates::joinAll(std::string& text, std::size_t place) {
  std::vector<std::size_t> places = {place};
  for (std::size_t i = 0; i < places.size() && !readFailed(); ++i) {
    const auto found = walk_->pairs.find(places[i]);
    if (found == walk_->pairs.end()) continue;
    for (const std::size_t index : found->second) {
      const DuplicatePair& pair = duplicates_.pairs()[index];
      if (walk_->isJoined[pair.second] || !join(text, pair)) continue;
      walk_->isJoined[pair.second] = true;
      places.push_back(pair.second);
    }
  }
}

ItemChange JoinDuplicates::change(const ItemStream& items) {
  walk_->seen.add(items.item());
  const std::size_t place = walk_->place++;
  if (place >= walk_->isJoined.size()) return {};
  if (walk_->isJoined[place]) return {ItemChange::Kind::Drop, {}};
  std::string text(items.item());
  joinAll(text, place);
  if (readFailed()) return {ItemChange::Kind::GiveUp, {}};
  if (text == items.item()) return {};
  return replaceItem(items, std::move(text));
}

bool JoinDuplicates::accept() {
  if (readFailed() || isOutdated()) return false;
  if (!replacesOpenFiles()) duplicates_.parts_->file.close();
  return true;
}

bool JoinDuplicates::readFailed() const { return duplicates_.parts_->file.hasFailed(); }

bool JoinDuplicates::isOutdated() const { return walk_->seen != duplicates_.parts_->digest; }

}  // namespace tessaron
