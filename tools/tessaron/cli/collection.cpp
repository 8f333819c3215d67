#include "cli/collection.h"

#include <fmt/format.h>

#include <set>
#include <utility>
#include <vector>

#include "catalogue/item_merge.h"
#include "cli/failures.h"
#include "cli/input.h"
#include "cli/output.h"
#include "cli/paths.h"
#include "cli/terminal.h"
#include "platform/system.h"
#include "records/record_cells.h"
#include "support/dos_date.h"
#include "support/text.h"

namespace tessaron::tool {

CollectionReader::CollectionReader(std::string path, bool twice) : path_(std::move(path)) {
  input_ = std::make_unique<Input>(path_);
  if (!twice || input_->isRegular()) return;
  readToEnd(*input_, content_.emplace());
  input_->requireRead();
}

CollectionReader::~CollectionReader() = default;

void CollectionReader::forEachItem(const std::function<void(const ItemStream&)>& visit) {
  walk(visit, true);
}

void CollectionReader::walk(const std::function<void(const ItemStream&)>& visit, bool onDemand) {
  if (walked_ && !content_) input_->seek(0);
  walked_ = true;
  const std::unique_ptr<File> memory = content_ ? memoryFile(*content_) : nullptr;
  ItemStream items(memory ? *memory : *input_);
  if (onDemand) items.parseOnDemand();
  while (items.next()) visit(items);
  input_->requireRead();
  requireSound(path_, items.badCharacter());
  requireSound(path_, items.error());
  count_ = items.count();
  if (!items.canHoldItems())
    throw Failure{kBadData, name(), "this is no collection: it has no place for items"};
}

void CollectionReader::forEachRecord(bool detail,
                                     const std::function<void(const CRecord&)>& visit) {
  const auto visitRecord = [&](const ItemStream& items) {
    CRecord record;
    record.fullDetail = detail;
    items.read(record);
    visit(record);
  };
  walk(visitRecord, false);
}

namespace {

struct Change {
  std::string_view field;
  std::string before, after;
};

std::string orNone(const std::string& text) { return text.empty() ? "(none)" : printable(text); }

/// Such as "Lent Mira 2026-11-22 - 2026-12-06, returned 2026-12-01".
std::string loanText(const CLoan& loan) {
  std::string text = toUtf8(statusLabel(loan.status)) + ' ' + toUtf8(loan.who);
  if (loan.begin != 0 || loan.end != 0)
    text += ' ' + isoDate(loan.begin) + " - " + isoDate(loan.end);
  if (loan.returned != 0) text += ", returned " + isoDate(loan.returned);
  return text;
}

std::string loansText(const CRecord& record) {
  std::string text;
  for (const CLoan& loan : record.loans) text += (text.empty() ? "" : "; ") + loanText(loan);
  return text;
}

std::string filesText(const CRecord& record) {
  std::string text;
  for (const CLinkedFile& file : record.files) {
    (text += text.empty() ? "" : "; ") += toUtf8(file.path);
    if (!file.checksum.empty()) text += " (" + toUtf8(file.checksum) + ')';
  }
  return text;
}

/// The fields in which the records differ.
std::vector<Change> changesOf(const CRecord& before, const CRecord& after) {
  // These say again what others say.
  static const std::set<std::string_view> kDerived = {"status.value", "status.text", "status.due"};
  static const SYSTEMTIME now = utcNow();
  std::vector<Change> changes;
  const auto add = [&](std::string_view field, std::string old, std::string changed) {
    if (old != changed) changes.push_back({field, std::move(old), std::move(changed)});
  };
  for (std::size_t i = 0; i < recordColumns().size(); ++i) {
    const auto column = static_cast<RecordColumn>(i);
    if (kDerived.contains(recordColumns()[i]) && !statusLabel(before.status).empty() &&
        !statusLabel(after.status).empty())
      continue;
    std::string old, changed;
    appendCell(before, column, now, old);
    appendCell(after, column, now, changed);
    add(shortName(column), std::move(old), std::move(changed));
  }
  add("loans", loansText(before), loansText(after));
  add("files", filesText(before), filesText(after));
  return changes;
}

}  // namespace

void TrialListing::add(const EditedItem& item) {
  if (item.before == item.after) return;
  const CRecord before = item.before.empty() ? CRecord() : recordOf(item.before);
  const CRecord after = item.after.empty() ? CRecord() : recordOf(item.after);
  const CRecord& named = item.after.empty() ? before : after;
  const char* what = item.before.empty() ? "added" : item.after.empty() ? "removed" : "changed";
  std::string text = fmt::format("{}  {}  {}\n", what, printable(toUtf8(named.ASIN)),
                                 printable(toUtf8(named.Title)));
  if (!item.before.empty() && !item.after.empty()) {
    const std::vector<Change> changes = changesOf(before, after);
    for (const auto& [field, old, changed] : changes)
      text += fmt::format("  {}: {} -> {}\n", field, orNone(old), orNone(changed));
    if (changes.empty()) text += "  (the same fields, written in another way)\n";
  }
  rows_.add({text});
}

void TrialListing::print() const {
  rows_.forEach([](const std::vector<std::string_view>& row) { tool::print(row.front()); });
}

void requireEdited(const std::string& path, const EditResult& result) {
  if (result.readError) {
    const bool special = result.readError == std::errc::no_such_device_or_address;
    throw Failure{kNoInput, path,
                  special ? "only a regular file can be edited; this is a pipe or a device"
                          : result.readError.message()};
  }
  if (result.xmlError.kind == XmlError::Kind::Unreadable)
    throw Failure{kNoInput, path, result.xmlError.message};
  requireSound(path, result.xmlError);
  if (result.isForeign)
    throw Failure{kBadData, path, "this is no collection: it has no place for items"};
  if (result.writeError) throwWriteFailure(path, result.writeError);
  if (!result.historyError.empty()) warn(path + ": " + result.historyError);
}

void changeCollection(const std::string& path, EditMode mode, ItemEdit& edit, bool isListed) {
  EditOptions options;
  options.mode = mode;
  options.verb = editSession().verb;
  options.isTrial = editSession().isTrial;
  TrialListing listing;
  if (isListed && options.isTrial)
    options.watch = [&](const EditedItem& item) { listing.add(item); };
  const EditResult result = editCollection(widePath(path), options, edit);
  requireEdited(path, result);
  if (result) listing.print();
}

}  // namespace tessaron::tool
