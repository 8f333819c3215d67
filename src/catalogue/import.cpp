#include "catalogue/import.h"

#include <iterator>
#include <optional>
#include <span>
#include <utility>

#include "catalogue/item_merge.h"
#include "catalogue/utf8_copy_internal.h"
#include "records/field_text.h"
#include "records/item_text.h"

namespace tessaron {
namespace {

// Gives `fresh`, an item of a response, what the user has added to `known`.
void copyUserFields(const CRecord& known, CRecord& fresh) {
  fresh.hasIcon = known.hasIcon;
  fresh.icon = known.icon;
  fresh.hasStatus = known.hasStatus;
  fresh.status = known.status;
  fresh.StatusTarget = known.StatusTarget;
  fresh.StatusBeginDate = known.StatusBeginDate;
  fresh.StatusEndDate = known.StatusEndDate;
  fresh.hasNotes = known.hasNotes;
  fresh.Notes = known.Notes;
  fresh.customFieldFlags = known.customFieldFlags;
  fresh.customFieldNames = known.customFieldNames;
  fresh.customFieldValues = known.customFieldValues;
  fresh.DateAdded = known.DateAdded;
}

XmlError unreadable() {
  XmlError error;
  error.kind = XmlError::Kind::Unreadable;
  error.message = "the file cannot be read";
  return error;
}

// Puts a response in another encoding into UTF-8. An error when it cannot be read or decoded.
XmlError makeUtf8(std::unique_ptr<File>& response) {
  ItemStream items(*response);
  items.next();
  if (!items.isReencoded()) return response->seek(0) ? XmlError() : unreadable();
  while (items.next()) {
  }
  if (items.badCharacter()) return items.badCharacter();
  if (items.error()) return items.error();
  const std::unique_ptr<XmlDecoder> decoder = makeDecoder(*response);
  if (decoder) response = decodeToScratch(*response, *decoder, true);
  return decoder && response ? XmlError() : unreadable();
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
    std::u16string asin = items.asin();
    if (!asin.empty()) {
      found.emplace_back(std::move(asin),
                         Incoming{response.get(), items.position(), items.item().size()});
      continue;
    }
    CRecord record;
    items.read(record);
    rejected.push_back({responses_.size(), items.count(), record.Title, "it has no ASIN"});
  }
  summary.error = items.error();
  summary.items = items.count();
  summary.canHoldItems = items.canHoldItems();
  if (summary.error) return summary;

  counts_.read += items.count();
  std::move(rejected.begin(), rejected.end(), std::back_inserter(counts_.rejected));
  for (auto& [asin, item] : found) {
    const std::size_t index = items_.size();
    const auto [chain, isNew] = chains_.try_emplace(std::move(asin), Chain{index, index});
    item.isFirst = isNew;
    items_.push_back(item);
    if (!isNew) items_[std::exchange(chain->second.last, index)].next = index;
  }
  responses_.push_back(std::move(response));
  return summary;
}

void Import::read(Incoming& item, CRecord& record) {
  item.done = true;
  text_.resize(item.size);
  const auto bytes = std::as_writable_bytes(std::span(text_));
  readFailed_ = readFully(*item.response, item.offset, bytes) != item.size;
  if (readFailed_ || tree_.parse(text_)) return;
  readItem(tree_.root(), versionOf(tree_.root()), record);
}

// Brings an item up to date by what the response says about it, from `index` on.
void Import::applyFrom(std::size_t index, std::string& text, int& version, CRecord& known) {
  for (; index != kNone; index = items_[index].next) {
    CRecord record;
    read(items_[index], record);
    if (readFailed_) return;
    copyUserFields(known, record);
    if (finish_) finish_(record);
    std::optional<std::string> updated = updateItem(text, version, known, record);
    ++(updated ? counts_.updated : counts_.skipped);
    if (!updated) continue;
    text = *std::move(updated);
    if (items_[index].next == kNone) return;
    version = 4;
    known = recordOf(text);
  }
}

ItemChange Import::change(const ItemStream& items) {
  const auto chain = chains_.find(items.asin());
  if (chain == chains_.end() || items_[chain->second.first].done) return {};
  CRecord known;
  items.read(known);
  std::string text(items.item());
  int version = items.version();
  applyFrom(chain->second.first, text, version, known);
  if (readFailed_) return {ItemChange::Kind::GiveUp, {}};
  if (text == items.item()) return {};
  return replaceItem(items, std::move(text));
}

std::string Import::addition() {
  while (next_ < items_.size() && (items_[next_].done || !items_[next_].isFirst)) ++next_;
  if (next_ == items_.size()) return {};
  Incoming& item = items_[next_++];
  CRecord record;
  read(item, record);
  if (readFailed_) return {};
  record.DateAdded = today_;
  if (finish_) finish_(record);
  ++counts_.added;
  std::string text = itemText(std::move(record));
  if (item.next == kNone) return text;
  CRecord known = recordOf(text);
  int version = 4;
  applyFrom(item.next, text, version, known);
  return text;
}

}  // namespace tessaron
