#include "catalogue/import.h"

#include <algorithm>
#include <iterator>
#include <optional>
#include <span>
#include <utility>
#include <variant>

#include "catalogue/item_key.h"
#include "catalogue/item_merge.h"
#include "catalogue/utf8_copy_internal.h"
#include "records/field_text.h"
#include "records/item_text.h"
#include "records/record_fields.h"

namespace tessaron {
namespace {

bool hasStatus(const CRecord& record) {
  return record.hasStatus || !record.StatusTarget.empty() || record.StatusBeginDate != 0 ||
         record.StatusEndDate != 0;
}

// Adds to the custom fields of `known` those of `fresh` that it has not, as far as there is room.
// Those without a name are told apart by their values.
void mergeCustomFields(const CRecord& known, CRecord& fresh) {
  const CRecord::Strings newNames = std::exchange(fresh.customFieldNames, known.customFieldNames);
  const CRecord::Strings newValues =
      std::exchange(fresh.customFieldValues, known.customFieldValues);
  fresh.customFieldFlags = known.customFieldFlags;
  CRecord::Strings& names = fresh.customFieldNames;
  CRecord::Strings& values = fresh.customFieldValues;
  for (std::size_t i = 0; i < std::min(newNames.size(), newValues.size()); ++i) {
    if (newValues[i].empty()) continue;
    std::size_t slot = names.size();
    bool isKnown = false;
    for (std::size_t j = 0; j < names.size(); ++j) {
      const bool isNamed = !newNames[i].empty() && names[j] == newNames[i];
      isKnown = isKnown || (isNamed && !values[j].empty()) ||
                (names[j] == newNames[i] && values[j] == newValues[i]);
      const bool isBetter = slot == names.size() || (isNamed && names[slot].empty());
      if (values[j].empty() && (isNamed || names[j].empty()) && isBetter) slot = j;
    }
    if (isKnown || slot == names.size()) continue;
    names[slot] = newNames[i];
    values[slot] = newValues[i];
    fresh.customFieldFlags[slot] = !names[slot].empty();
  }
}

// Gives `fresh`, an incoming item, what the user has added to `known`; what the user has not, it
// keeps.
void copyUserFields(const CRecord& known, CRecord& fresh) {
  if (known.hasIcon) {
    fresh.hasIcon = true;
    fresh.icon = known.icon;
  }
  if (hasStatus(known) || !known.loans.empty()) {
    fresh.hasStatus = known.hasStatus;
    fresh.status = known.status;
    fresh.StatusTarget = known.StatusTarget;
    fresh.StatusBeginDate = known.StatusBeginDate;
    fresh.StatusEndDate = known.StatusEndDate;
    fresh.loans = known.loans;
  }
  if (known.copies != 1) fresh.copies = known.copies;
  if (!known.files.empty()) fresh.files = known.files;
  if (!known.Notes.empty()) {
    fresh.hasNotes = known.hasNotes;
    fresh.Notes = known.Notes;
  }
  mergeCustomFields(known, fresh);
  if (known.DateAdded != 0) fresh.DateAdded = known.DateAdded;
}

// Gives `fresh` the product data of `known` where it has none itself; with `fillOnly` wherever
// `known` has some.
void keepProductData(const CRecord& known, CRecord& fresh, bool fillOnly) {
  // A reader puts the product group there when there is no binding.
  if (fresh.Binding == fresh.ProductGroup) fresh.Binding.clear();
  for (const Field& field : kFields) {
    if (field.member == FieldMember(&CRecord::Notes) || field.isPart) continue;
    std::visit(
        [&](auto member) {
          if constexpr (requires { (fresh.*member).empty(); }) {
            if (!(fresh.*member).empty() && !(fillOnly && !(known.*member).empty())) return;
            fresh.*member = known.*member;
            if (field.flag) fresh.*field.flag = known.*field.flag;
          }
        },
        field.member);
  }
  if (fresh.offerListing == COfferListing() || fillOnly) fresh.offerListing = known.offerListing;
}

// An ASIN as a collection has it: what XML cannot hold comes back as another character.
std::u16string keptAsin(std::u16string asin) {
  const auto isPlain = [](char16_t c) { return c > 0x20 && c < 0x7F; };
  if (std::ranges::all_of(asin, isPlain)) return asin;
  CRecord record;
  record.ASIN = std::move(asin);
  return recordOf(itemText(std::move(record))).ASIN;
}

// The key of a record without an ASIN.
std::u16string keyOf(const SourceItem& item) {
  if (item.distinction.empty() || productNumberOf(item.record)) return madeKey(item.record);
  CRecord apart = item.record;
  apart.Title += u'\n' + item.distinction;
  return madeKey(apart);
}

}  // namespace

Import::Import(std::uint16_t today, std::function<void(CRecord&)> finish)
    : today_(today), finish_(std::move(finish)) {}

ResponseSummary Import::add(std::unique_ptr<File> response) {
  ResponseSummary summary;
  summary.error = makeUtf8(response);
  if (summary.error) return summary;
  std::vector<ImportCounts::Rejection> rejected;
  std::vector<std::pair<std::u16string, Incoming>> found;
  ItemStream items(*response);
  items.parseOnDemand();
  while (items.next()) {
    if (!items.asin().empty()) {
      found.emplace_back(keptAsin(items.asin()),
                         Incoming{response.get(), items.position(), items.item().size()});
      continue;
    }
    CRecord record;
    items.read(record);
    rejected.push_back({responses_.size(), items.count(), 0, record.Title, "it has no ASIN"});
  }
  summary.error = items.error();
  summary.items = items.count();
  summary.canHoldItems = items.canHoldItems();
  if (summary.error) return summary;

  counts_.read += items.count();
  std::move(rejected.begin(), rejected.end(), std::back_inserter(counts_.rejected));
  for (auto& [asin, item] : found) enlist(std::move(asin), item);
  responses_.push_back(std::move(response));
  return summary;
}

// Makes the item of a source what is stored of it.
Import::Found Import::prepare(SourceItem& item, bool isOwn, std::string& text) const {
  CRecord& record = item.record;
  Found found;
  found.item.isRecord = true;
  found.item.isOwn = isOwn;
  found.item.isDated = item.isDated;
  record.ASIN = trimmed(record.ASIN);
  found.item.isKeyMade = record.ASIN.empty() || isMadeKey(record.ASIN);
  if (record.ASIN.empty()) record.ASIN = keyOf(item);
  record.postProcess();
  if (found.item.isKeyMade) found.number = productNumberOf(record);
  found.key = keptAsin(record.ASIN);
  text = itemText(std::move(record));
  found.item.size = text.size();
  return found;
}

std::size_t Import::add(RecordSource& source) {
  std::vector<Found> found;
  std::vector<ImportCounts::Rejection> rejected;
  ScratchFile scratch;
  std::string text;
  std::size_t count = 0;
  for (SourceItem item; source.next(item); item = {}) {
    ++count;
    if (item.error.empty() && trimmed(item.record.Title).empty()) item.error = "it has no title";
    if (!item.error.empty()) {
      rejected.push_back(
          {responses_.size(), count, item.line, item.record.Title, std::move(item.error)});
      continue;
    }
    found.push_back(prepare(item, source.summary().isOwn, text));
    found.back().item.offset = scratch.size();
    readFailed_ = readFailed_ || !scratch.write(text);
    if (readFailed_) break;
  }
  if (source.error()) return count;
  std::unique_ptr<File> file = scratch.take();
  readFailed_ = readFailed_ || !file;
  counts_.read += count;
  std::ranges::move(rejected, std::back_inserter(counts_.rejected));
  for (Found& each : found) {
    each.item.response = file.get();
    hasMadeKeys_ = hasMadeKeys_ || each.item.isKeyMade;
    const std::size_t index = items_.size();
    enlist(std::move(each.key), each.item);
    if (each.number && items_[index].isFirst) numbers_.try_emplace(*std::move(each.number), index);
  }
  responses_.push_back(std::move(file));
  return count;
}

// Takes note of an item with that key.
void Import::enlist(std::u16string key, Incoming item) {
  const std::size_t index = items_.size();
  const auto [chain, isNew] = chains_.try_emplace(std::move(key), Chain{index, index});
  item.isFirst = isNew;
  items_.push_back(item);
  if (!isNew) items_[std::exchange(chain->second.last, index)].next = index;
}

// Takes note of the product numbers of the items that have an ASIN.
void Import::noteResponses() {
  if (std::exchange(areResponsesNoted_, true)) return;
  for (std::size_t i = 0; i < items_.size() && !readFailed_; ++i) {
    if (!items_[i].isFirst || items_[i].isKeyMade) continue;
    CRecord record;
    const bool isDone = items_[i].done;
    read(items_[i], record);
    items_[i].done = isDone;
    if (auto number = productNumberOf(record)) numbers_.try_emplace(*std::move(number), i);
  }
}

// Appends the first of the items that have the product number of `known`, if it may be the same.
void Import::findNumber(const CRecord& known, bool isKeyMade, std::vector<std::size_t>& found) {
  const auto number = numbers_.empty() ? std::nullopt : productNumberOf(known);
  const auto item = number ? numbers_.find(*number) : numbers_.end();
  if (item != numbers_.end() && (isKeyMade || items_[item->second].isKeyMade))
    found.push_back(item->second);
}

// The first of each chain of incoming items that are the current one of the collection.
std::vector<std::size_t> Import::find(const ItemStream& items) {
  std::vector<std::size_t> found;
  const std::u16string& asin = items.asin();
  const auto addChain = [&](const std::u16string& key) {
    const auto chain = chains_.find(key);
    if (chain != chains_.end()) found.push_back(chain->second.first);
  };
  addChain(keptAsin(asin));
  const bool isKeyMade = asin.empty() || isMadeKey(asin);
  if (isKeyMade && found.empty()) noteResponses();
  if (!numbers_.empty() || hasMadeKeys_) {
    CRecord known;
    items.read(known);
    findNumber(known, isKeyMade, found);
    if (hasMadeKeys_ && !isMadeKey(asin)) addChain(madeKey(known));
  }
  std::erase_if(found, [this](std::size_t index) { return items_[index].done; });
  return found;
}

void Import::read(Incoming& item, CRecord& record) {
  item.done = true;
  tree_.parse(textOf(item));
  if (const XmlTree::Element root = tree_.root()) readItem(root, versionOf(root), record);
}

// The text of an item, until the next call. Where items come in the order of their file, some of
// what follows is read with them.
std::string_view Import::textOf(const Incoming& item) {
  constexpr std::size_t kAhead = std::size_t{128} << 10, kGap = 1024;
  const std::uint64_t end = block_.begin + block_.text.size();
  const bool isInFile = item.response == block_.file && item.offset >= block_.begin;
  if (!isInFile || item.offset + item.size > end) {
    const bool isNext = isInFile && item.offset <= end + kGap;
    block_.text.resize(isNext ? std::max(item.size, kAhead) : item.size);
    block_.file = item.response;
    block_.begin = item.offset;
    const auto bytes = std::as_writable_bytes(std::span(block_.text));
    const std::size_t got = readFully(*item.response, item.offset, bytes).value_or(0);
    block_.text.resize(got);
    readFailed_ = got < item.size;
    if (readFailed_) return {};
  }
  const auto at = static_cast<std::size_t>(item.offset - block_.begin);
  return std::string_view(block_.text).substr(at, item.size);
}

// Completes `record`, the incoming `item`, by what is known of it.
void Import::merge(const Incoming& item, const CRecord& known, CRecord& record) const {
  if (finish_ && !item.isOwn) finish_(record);
  copyUserFields(known, record);
  if (!known.ASIN.empty()) record.ASIN = known.ASIN;
  if (!item.isRecord) return;
  const bool isNumbered = !known.ASIN.empty() && !isMadeKey(known.ASIN);
  keepProductData(known, record, isNumbered && item.isKeyMade);
}

// Brings an item up to date by what the response says about it, from `index` on.
void Import::applyFrom(std::size_t index, std::string& text, int& version, CRecord& known) {
  for (; index != kNone; index = items_[index].next) {
    CRecord record;
    read(items_[index], record);
    if (readFailed_) return;
    merge(items_[index], known, record);
    std::optional<std::string> updated = updateItem(text, version, known, record);
    ++(updated ? counts_.updated : counts_.skipped);
    if (!updated) continue;
    text = *std::move(updated);
    version = 4;
    if (items_[index].next == kNone) return;  // `known` is read anew by those who need it
    known = recordOf(text);
  }
}

// Brings an item, whose record is `known`, up to date by several chains.
void Import::applyAll(const std::vector<std::size_t>& chains, std::string& text, int& version,
                      CRecord& known) {
  for (std::size_t i = 0; i < chains.size() && !readFailed_; ++i) {
    if (items_[chains[i]].done) continue;
    if (i > 0) known = recordOf(text);
    applyFrom(chains[i], text, version, known);
  }
}

ItemChange Import::change(const ItemStream& items) {
  const std::vector<std::size_t> found = find(items);
  if (readFailed_) return {ItemChange::Kind::GiveUp, {}};
  if (found.empty()) return {};
  CRecord known;
  items.read(known);
  std::string text(items.item());
  int version = items.version();
  applyAll(found, text, version, known);
  if (readFailed_) return {ItemChange::Kind::GiveUp, {}};
  return replaceItem(items, std::move(text));
}

std::string Import::addition() {
  while (next_ < items_.size() && (items_[next_].done || !items_[next_].isFirst)) ++next_;
  if (next_ == items_.size()) return {};
  Incoming& item = items_[next_++];
  CRecord record;
  read(item, record);
  if (readFailed_) return {};
  if (!item.isDated) record.DateAdded = today_;
  if (finish_ && !item.isOwn) finish_(record);
  ++counts_.added;
  std::string text = itemText(std::move(record));
  if (item.next == kNone && numbers_.empty()) return text;
  CRecord known = recordOf(text);
  std::vector<std::size_t> more;
  if (item.next != kNone) more.push_back(item.next);
  findNumber(known, item.isKeyMade, more);
  int version = 4;
  applyAll(more, text, version, known);
  return text;
}

}  // namespace tessaron
