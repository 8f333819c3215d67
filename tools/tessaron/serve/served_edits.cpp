#include "serve/served_edits.h"

#include <fmt/format.h>

#include <functional>
#include <nlohmann/json.hpp>
#include <optional>
#include <utility>
#include <vector>

#include "catalogue/edit.h"
#include "catalogue/import.h"
#include "catalogue/item_addition.h"
#include "catalogue/loans.h"
#include "cli/collection.h"
#include "cli/dates.h"
#include "cli/failures.h"
#include "cli/import_source.h"
#include "cli/item_settings.h"
#include "cli/items.h"
#include "cli/new_item.h"
#include "cli/settings_store.h"
#include "cli/sort_language.h"
#include "cli/undo.h"
#include "records/field_text.h"
#include "serve/request_json.h"
#include "settings/collation.h"
#include "support/text.h"

namespace tessaron::tool {
namespace {

using nlohmann::ordered_json;

/// The client does not know the item as it is.
struct Conflict {
  ItemAnswer item;
};
struct NoSuchItem {};

/// Any text but nothing, trimmed.
std::u16string personOf(const std::string& text) {
  const std::u16string wide = fromUtf8(text);
  return std::u16string(trimmed(wide));
}

std::uint16_t dateOf(const RequestObject& request, const char* name, const char* otherwise) {
  const std::string text = request.text(name).value_or("");
  const std::string_view date = text.empty() ? std::string_view(otherwise) : text;
  return date.empty() ? std::uint16_t{0} : parseDate(date, localToday());
}

/// An object as the answer to an edit of an item.
Response itemResponse(int status, const ItemAnswer& item) {
  Response response = textResponse(status, "application/json", item.json + '\n');
  response.headers.emplace_back("ETag", '"' + item.version + '"');
  return response;
}

void append(std::vector<std::string>& to, std::vector<std::string> more) {
  to.insert(to.end(), std::make_move_iterator(more.begin()), std::make_move_iterator(more.end()));
}

/// The fields of a request: "set" as NAME=VALUE, "fields" as an object.
std::vector<std::string> fieldsOf(const RequestObject& request, const char* list) {
  std::vector<std::string> fields = request.texts(list);
  append(fields, request.assignments("fields"));
  return fields;
}

/// Appends one item and keeps its text.
class WatchedAddition : public ItemEdit {
 public:
  explicit WatchedAddition(ItemAddition& addition) : addition_(addition) {}
  ItemChange change(const ItemStream& items) override { return addition_.change(items); }
  std::string addition() override {
    std::string text = addition_.addition();
    if (!text.empty()) text_ = text;
    return text;
  }
  bool accept() override { return addition_.accept(); }
  const std::string& text() const { return text_; }

 private:
  ItemAddition& addition_;
  std::string text_;
};

}  // namespace

/// Changes or drops the item that a key names, if it has the version that the client knows.
class ServedEdits::KeyedEdit : public ItemEdit {
 public:
  /// Changes a record that was read from the item; without it the item is dropped.
  using Action = std::function<void(CRecord&)>;

  KeyedEdit(ServedCollection& collection, std::string key, std::string_view ifMatch, Action action,
            std::u16string newKey = {})
      : collection_(collection),
        key_(std::move(key)),
        ifMatch_(ifMatch),
        action_(std::move(action)),
        newKey_(std::move(newKey)) {}

  ItemChange change(const ItemStream& items) override {
    const std::u16string& asin = items.asin();
    if (isDone_ || !isMeant(items, toUtf8(asin))) {
      isKeyTaken_ = isKeyTaken_ || (!newKey_.empty() && asin == newKey_);
      return {};
    }
    isDone_ = true;
    text_ = items.item();
    if (!listsTag(ifMatch_, CollectionIndex::versionOf(text_))) throw Conflict{answer()};
    if (!action_) return {ItemChange::Kind::Drop, {}};
    CRecord known;
    items.read(known);
    CRecord record = known;
    action_(record);
    ItemChange change = changeTo(items, known, record);
    if (change.kind == ItemChange::Kind::Replace) text_ = change.text;
    if (!key_.starts_with('@')) key_ = toUtf8(record.ASIN);
    return change;
  }

  std::string addition() override {
    if (!isDone_) throw NoSuchItem{};
    if (isKeyTaken_) throw Failure{kFailed, {}, "another item has the key " + toUtf8(newKey_)};
    return {};
  }

  bool isRemoval() const { return !action_; }
  /// The item as the edit leaves it.
  ItemAnswer answer() const {
    const std::string version = CollectionIndex::versionOf(text_);
    return collection_.answerFor(key_.starts_with('@') ? '@' + version : key_, text_);
  }

 private:
  bool isMeant(const ItemStream& items, const std::string& asin) const {
    if (!asin.empty() && asin == key_) return true;
    return key_.starts_with('@') &&
           CollectionIndex::versionOf(items.item()) == std::string_view(key_).substr(1);
  }

  ServedCollection& collection_;
  std::string key_;
  std::string_view ifMatch_;
  Action action_;
  std::u16string newKey_;
  bool isDone_ = false;
  bool isKeyTaken_ = false;
  std::string text_;
};

Response ServedEdits::run(const char* verb, KeyedEdit& edit) {
  editSession().verb = verb;
  try {
    changeCollection(collection_.path(), EditMode::Existing, edit);
  } catch (const Conflict& conflict) {
    const std::string reason = "the item was changed meanwhile; nothing is changed";
    Response response = textResponse(
        412, "application/json",
        "{\"error\":" + nlohmann::json(reason).dump() + ",\"item\":" + conflict.item.json + "}\n");
    response.headers.emplace_back("ETag", '"' + conflict.item.version + '"');
    return response;
  } catch (const NoSuchItem&) {
    return errorResponse(404, "there is no such item; it may have been removed meanwhile");
  }
  collection_.expire();
  if (edit.isRemoval()) return jsonResponse(200, {{"removed", true}});
  return itemResponse(200, edit.answer());
}

Response ServedEdits::set(const std::string& key, std::string_view ifMatch, std::string_view body) {
  const RequestObject request(
      body, {"set", "fields", "status", "noStatus", "target", "from", "until", "notes"});
  ItemSettings settings;
  settings.status = request.text("status");
  settings.noStatus = request.flag("noStatus");
  settings.target = request.text("target");
  settings.from = request.text("from");
  settings.until = request.text("until");
  settings.notes = request.text("notes");
  settings.fields = fieldsOf(request, "set");
  const SettingsEdit change(settings);
  KeyedEdit edit(
      collection_, key, ifMatch, [&](CRecord& record) { change.apply(record, {}); },
      change.newKey());
  return run("set", edit);
}

Response ServedEdits::lend(const std::string& key, std::string_view ifMatch,
                           std::string_view body) {
  const RequestObject request(body, {"to", "due", "date"});
  CLoan loan;
  loan.status = 0;  // lent
  loan.who = personOf(request.requiredText("to"));
  loan.begin = dateOf(request, "date", "today");
  loan.end = dateOf(request, "due", "");
  KeyedEdit edit(collection_, key, ifMatch, [&](CRecord& record) {
    if (const std::string reason = beginLoan(record, loan); !reason.empty())
      throw Failure{kFailed, {}, reason};
  });
  return run("lend", edit);
}

Response ServedEdits::takeReturn(const std::string& key, std::string_view ifMatch,
                                 std::string_view body) {
  const RequestObject request(body, {"from", "date"});
  const std::u16string who = personOf(request.text("from").value_or(""));
  const std::uint16_t day = dateOf(request, "date", "today");
  KeyedEdit edit(collection_, key, ifMatch, [&](CRecord& record) {
    if (const std::string reason = endLoan(record, who, day); !reason.empty())
      throw Failure{kFailed, {}, reason};
  });
  return run("return", edit);
}

Response ServedEdits::remove(const std::string& key, std::string_view ifMatch) {
  KeyedEdit edit(collection_, key, ifMatch, nullptr);
  return run("remove", edit);
}

Response ServedEdits::add(std::string_view body) {
  const RequestObject request(body, {"title", "authors", "artists", "directors", "group", "ean",
                                     "upc", "isbn", "set", "fields", "again"});
  NewItem item;
  item.title = request.requiredText("title");
  item.authors = request.texts("authors");
  item.artists = request.texts("artists");
  item.directors = request.texts("directors");
  item.group = request.text("group");
  item.ean = request.text("ean");
  item.upc = request.text("upc");
  item.isbn = request.text("isbn");
  item.fields = fieldsOf(request, "set");
  using Copies = ItemAddition::Copies;
  editSession().verb = "add";
  loadSetting(u"CollationOption", _Config);
  ItemAddition addition(makeRecord(item, {}),
                        request.flag("again") ? Copies::Allowed : Copies::Refused,
                        CCollationSystem::ApplyToRecord);
  WatchedAddition edit(addition);
  changeCollection(collection_.path(), EditMode::Create, edit);
  if (addition.known()) {
    const ordered_json refusal{{"error", knownReason(addition)},
                               {"key", toUtf8(addition.known()->key)}};
    return jsonResponse(409, refusal);
  }
  collection_.expire();
  return itemResponse(201, collection_.answerFor(toUtf8(addition.record().ASIN), edit.text()));
}

Response ServedEdits::takeBack(bool redo) {
  const std::vector<PastEdit> edits = tool::takeBack(collection_.path(), 1, redo);
  collection_.expire();
  const PastEdit& edit = edits.front();
  return jsonResponse(200, {{"takenBack", nameOf(edit)}, {"verb", edit.verb}});
}

Response ServedEdits::import(const std::string& name, std::string content) {
  editSession().verb = "import";
  loadSetting(u"CollationOption", _Config);
  Import import(localToday(), sortFormsBy({}));
  std::vector<ImportSource> sources;
  ImportSource& source = sources.emplace_back(sourceOf(name, std::move(content)));
  addSource(import, source, {});
  const std::string remark = source.items == 0 ? emptyReason(source) : std::string();
  changeCollection(collection_.path(), EditMode::Create, import);
  if (import.readFailed()) throw Failure{kNoInput, {}, "the file could not be read a second time"};
  collection_.expire();
  ordered_json document = importJson(sources, import.counts());
  document["changed"] = document["updated"];
  document.erase("dryRun");
  if (!remark.empty()) document["remark"] = remark;
  return jsonResponse(200, document);
}

}  // namespace tessaron::tool
