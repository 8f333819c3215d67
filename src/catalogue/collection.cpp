#include "catalogue/collection.h"

#include <algorithm>
#include <optional>
#include <unordered_map>
#include <utility>

#include "catalogue/item_merge.h"
#include "records/item_scanner.h"
#include "records/record_set.h"
#include "support/text.h"
#include "support/xml/encoding.h"
#include "support/xml/outline.h"
#include "support/xml/scanner.h"

namespace tessaron {
namespace {

using Piece = XmlScanner::Piece;

constexpr std::string_view kUtf8Mark = "\xEF\xBB\xBF";

bool isDetails(std::string_view item) { return item.starts_with("<Details"); }

// An item's text in the form in which the library writes it.
std::string writeItem(CRecord record) {
  record.preProcess();
  TiXmlElement item("Item");
  record.composeItemNode(&item);
  std::string text;
  printXml(item, text);
  return text;
}

CRecord readItem(std::string_view item) {
  TiXmlDocument document;
  parseXml(std::string(item), document);
  CRecord record;
  record.fromXmlNode(document.RootElement());
  return record;
}

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

bool isBlank(std::u16string_view text) { return text.find_first_not_of(u" \t\r\n") == text.npos; }

}  // namespace

// Where the items of a text stand, up to its first fault.
struct Collection::Layout {
  XmlFault fault;
  std::string_view root;
  std::vector<TextRange> items;
  Opening opening;  // in the whole text
};

Collection::Layout Collection::scan(std::string_view text) {
  Layout layout;
  ItemScanner scanner(text);
  std::optional<Opening> opening;
  const auto openTag = [&](std::string before, std::string behind) {
    const std::size_t slash = scanner.end() - 2;
    return Opening{blankBefore(text, slash).begin, scanner.end(), '>' + std::move(before),
                   std::move(behind)};
  };
  const auto openBeforeTag = [&](std::string before, std::string behind) {
    const std::size_t at = blankBefore(text, scanner.begin()).begin;
    return Opening{at, at, std::move(before), std::move(behind)};
  };

  for (;;) {
    const Piece piece = scanner.next();
    const std::size_t depth = scanner.depth();
    if (piece == Piece::Faulty) {
      layout.fault = scanner.fault();
      locate(text, layout.fault);
      return layout;
    }
    if (piece == Piece::Finished) {
      layout.opening = *std::move(opening);
      return layout;
    }
    if (scanner.isItem()) {
      layout.items.push_back({scanner.begin(), scanner.end()});
      opening.reset();  // new items go behind all others
    } else if (piece == Piece::Start) {
      if (depth == 1) layout.root = scanner.name();
    } else if (piece == Piece::Empty) {
      if (depth == 1 && scanner.name() == "Items") {
        opening = openTag("", "</Items>");
      } else if (depth == 0) {
        opening = openTag("<Items>", "</Items></" + std::string(scanner.name()) + '>');
      }
    } else if (piece == Piece::End) {
      if (depth == 1 && scanner.name() == "Items") {
        opening = openBeforeTag("", "");
      } else if (depth == 0 && !opening) {
        opening = openBeforeTag("<Items>", "</Items>");
      }
    }
  }
}

Collection::Collection() {
  std::string text;
  CRecordSet().toString(text);
  parse(std::move(text));
}

XmlFault Collection::parse(std::string text) {
  DecodedXml document = decodeXml(text);
  if (document.fault) return document.fault;
  const std::string& decoded = document.text;
  Layout layout = scan(decoded);
  if (layout.fault) return layout.fault;

  original_ = document.reencoded ? std::move(text) : std::string();
  slots_.clear();
  slots_.reserve(layout.items.size());
  records_.clear();
  records_.reserve(layout.items.size());
  std::size_t at = 0;
  for (const TextRange& item : layout.items) {
    slots_.push_back({decoded.substr(at, item.begin - at), std::string(item.of(decoded))});
    records_.push_back(readItem(slots_.back().item));
    at = item.end;
  }
  tail_ = decoded.substr(at);
  opening_ = std::move(layout.opening);
  opening_.begin -= at;
  opening_.end -= at;
  std::string& head = slots_.empty() ? tail_ : slots_.front().before;
  std::size_t growth = declareUtf8(document, head);
  if (document.marked) {
    head.insert(0, kUtf8Mark);
    growth += kUtf8Mark.size();
  }
  if (slots_.empty()) {
    opening_.begin += growth;
    opening_.end += growth;
  }
  return {};
}

std::size_t Collection::find(std::u16string_view asin) const {
  const auto found = std::find_if(records_.begin(), records_.end(),
                                  [&](const CRecord& record) { return record.ASIN == asin; });
  return found == records_.end() ? npos : static_cast<std::size_t>(found - records_.begin());
}

void Collection::add(const CRecord& record) {
  original_.clear();
  Slot slot{tail_.substr(0, opening_.begin) + opening_.before, writeItem(record)};
  // An indented text goes on as it is.
  if (!slots_.empty()) {
    const std::string& before = slots_.back().before;
    slot.before += blankBefore(before, before.size()).of(before);
  }
  tail_.replace(0, opening_.end, opening_.behind);
  opening_ = {};
  records_.push_back(readItem(slot.item));
  slots_.push_back(std::move(slot));
}

bool Collection::update(std::size_t index, const CRecord& record) {
  const std::string next = writeItem(record);
  std::string base = writeItem(records_[index]);
  if (base == next) return false;
  // What the wanted record comes back as. Offers and folders do not come back.
  const std::string goal = writeItem(readItem(next));
  if (base == goal && record.offers.empty() && record.folders.empty()) return false;

  original_.clear();
  Slot& slot = slots_[index];
  if (isDetails(slot.item)) {
    slot.item = detailsToItem(slot.item);
    slot.before += "<Items>";
    insertBehind(index, "</Items>");
    base = writeItem(readItem(slot.item));
  }
  // Some fields are derived from others when they are missing, so that a change of one may bring
  // about that of another, and a second pass is needed. Where that does not do, as with elements
  // that stand twice, the record's values are written all anew.
  constexpr int kPasses = 4;
  for (int pass = 1; pass <= kPasses; ++pass) {
    slot.item = mergeItem(slot.item, base, next);
    records_[index] = readItem(slot.item);
    base = writeItem(records_[index]);
    if (base == next || base == goal) break;
    if (pass != 2) continue;
    slot.item = stripItem(slot.item, base, next);
    base = writeItem(readItem(slot.item));
  }
  return true;
}

void Collection::remove(std::size_t index) {
  original_.clear();
  std::string before = std::move(slots_[index].before);
  const std::string& behind = index + 1 < slots_.size() ? slots_[index + 1].before : tail_;
  if (!behind.empty() && blankBefore(behind, 1).size() > 0) {
    before.resize(blankBefore(before, before.size()).begin);
  }
  insertBehind(index, before);
  slots_.erase(slots_.begin() + static_cast<std::ptrdiff_t>(index));
  records_.erase(records_.begin() + static_cast<std::ptrdiff_t>(index));
}

// Puts `text` behind the item at `index`, or in front of the tail when there is none.
void Collection::insertBehind(std::size_t index, const std::string& text) {
  if (index + 1 < slots_.size()) {
    slots_[index + 1].before.insert(0, text);
    return;
  }
  tail_.insert(0, text);
  opening_.begin += text.size();
  opening_.end += text.size();
}

XmlFault Collection::import(std::string_view response, std::uint16_t today, ImportCounts& counts,
                            const std::function<void(CRecord&)>& finish) {
  Collection incoming;
  if (XmlFault fault = incoming.parse(std::string(response))) return fault;

  std::unordered_map<std::u16string, std::size_t> places;
  for (std::size_t i = 0; i < records_.size(); ++i) places.emplace(records_[i].ASIN, i);
  for (std::size_t i = 0; i < incoming.records_.size(); ++i) {
    CRecord& record = incoming.records_[i];
    ++counts.read;
    if (isBlank(record.ASIN)) {
      counts.rejected.push_back({i + 1, record.Title, "it has no ASIN"});
      continue;
    }
    const auto [place, isNew] = places.emplace(record.ASIN, records_.size());
    if (isNew) {
      record.DateAdded = today;
    } else {
      copyUserFields(records_[place->second], record);
    }
    if (finish) finish(record);
    if (isNew) {
      add(record);
      ++counts.added;
    } else {
      ++(update(place->second, record) ? counts.updated : counts.skipped);
    }
  }
  return {};
}

std::string Collection::text() const {
  if (!original_.empty()) return original_;
  std::size_t size = tail_.size();
  for (const Slot& slot : slots_) size += slot.before.size() + slot.item.size();
  std::string text;
  text.reserve(size);
  for (const Slot& slot : slots_) (text += slot.before) += slot.item;
  return text += tail_;
}

}  // namespace tessaron
