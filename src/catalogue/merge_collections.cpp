#include "catalogue/merge_collections.h"

#include <algorithm>
#include <span>
#include <utility>

#include "catalogue/item_file_internal.h"
#include "catalogue/item_key.h"
#include "catalogue/item_numbers_internal.h"

namespace tessaron {
namespace {

constexpr std::size_t kNone = static_cast<std::size_t>(-1);

// What an item is recognized by.
struct Keys {
  std::u16string name;
  ProductNumbers numbers;
};

Keys keysOf(const ItemStream& items) {
  CRecord record;
  record.fullDetail = false;
  items.read(record);
  return {record.ASIN.empty() ? madeKey(record) : record.ASIN, productNumbers(record)};
}

}  // namespace

// Which items belong together, and how far the edit has come.
struct MergeCollections::Plan {
  std::vector<Keys> ours, theirs;  // until they are paired
  ItemFile file;                   // of theirs
  ItemsDigest expected, seen;
  std::vector<std::size_t> partners;  // of ours among theirs, or kNone
  std::vector<bool> isPaired;         // of theirs
  std::size_t index = 0;              // of the next item in the edit
  std::size_t next = 0;               // of theirs to be added

  void pairUp();

 private:
  template <typename Key, typename KeysOf>
  void pairBy(KeysOf keysOf);
};

// Pairs what is not paired yet and has a key in common.
template <typename Key, typename KeysOf>
void MergeCollections::Plan::pairBy(KeysOf keysOf) {
  ItemQueues<Key> queues;
  for (std::size_t i = 0; i < theirs.size(); ++i) {
    if (isPaired[i]) continue;
    for (const Key& key : keysOf(theirs[i])) queues.add(key, i);
  }
  for (std::size_t i = 0; i < ours.size(); ++i) {
    for (const Key& key : keysOf(ours[i])) {
      if (partners[i] != kNone) break;
      partners[i] = queues.take(key, [this](std::size_t other) { return !isPaired[other]; });
      if (partners[i] != kNone) isPaired[partners[i]] = true;
    }
  }
}

void MergeCollections::Plan::pairUp() {
  partners.assign(ours.size(), kNone);
  isPaired.assign(theirs.size(), false);
  pairBy<std::u16string>([](const Keys& keys) { return std::span(&keys.name, 1); });
  pairBy<std::uint64_t>([](const Keys& keys) {
    const auto end = std::find(keys.numbers.begin(), keys.numbers.end(), 0U);
    return std::span(keys.numbers.begin(), end);
  });
  ours = {};
  theirs = {};
}

MergeCollections::MergeCollections(const UnionRule& rule, ConflictReport report)
    : rule_(rule), report_(std::move(report)), plan_(std::make_unique<Plan>()) {}

MergeCollections::~MergeCollections() = default;

XmlError MergeCollections::readOurs(std::unique_ptr<File> ours) {
  ItemStream items(*ours);
  items.parseOnDemand();
  while (items.next()) {
    plan_->expected.add(items.item());
    plan_->ours.push_back(keysOf(items));
  }
  return items.error();
}

XmlError MergeCollections::readTheirs(std::unique_ptr<File> theirs) {
  XmlError error = plan_->file.open(std::move(theirs), [this](const ItemStream& items) {
    plan_->theirs.push_back(keysOf(items));
  });
  if (!error) plan_->pairUp();
  return error;
}

bool MergeCollections::isCollection() const { return plan_->file.canHoldItems(); }

ItemChange MergeCollections::change(const ItemStream& items) {
  plan_->seen.add(items.item());
  const std::size_t index = plan_->index++;
  const std::size_t partner = index < plan_->partners.size() ? plan_->partners[index] : kNone;
  if (partner == kNone) {
    ++counts_.unchanged;
    return {};
  }
  const std::string theirs = plan_->file.read(partner);
  if (readFailed()) return {ItemChange::Kind::GiveUp, {}};
  ItemUnion both = uniteItems(items.item(), theirs, rule_);
  if (!both.conflicts.empty()) {
    counts_.conflicts += both.conflicts.size();
    counts_.openConflicts += static_cast<std::size_t>(
        std::count_if(both.conflicts.begin(), both.conflicts.end(),
                      [](const FieldConflict& each) { return each.taken == Side::None; }));
    CRecord record;
    items.read(record);
    report_({record.ASIN, record.Title, std::move(both.conflicts)});
  }
  if (!both.text) {
    ++counts_.unchanged;
    return {};
  }
  ++counts_.changed;
  return replaceItem(items, *std::move(both.text));
}

std::string MergeCollections::addition() {
  while (plan_->next < plan_->isPaired.size() && plan_->isPaired[plan_->next]) ++plan_->next;
  if (plan_->next == plan_->isPaired.size()) return {};
  ++counts_.added;
  return currentItem(plan_->file.read(plan_->next++));
}

bool MergeCollections::accept() {
  return !readFailed() && !isOutdated() && counts_.openConflicts == 0;
}

bool MergeCollections::readFailed() const { return plan_->file.hasFailed(); }

bool MergeCollections::isOutdated() const { return plan_->seen != plan_->expected; }

}  // namespace tessaron
