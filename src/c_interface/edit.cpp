// Edits of collections: several changes that are made at once.

#include "catalogue/edit.h"

#include <algorithm>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <utility>
#include <vector>

#include "c_interface/guard.h"
#include "c_interface/json.h"
#include "catalogue/field_edit.h"
#include "catalogue/history.h"
#include "catalogue/item_addition.h"
#include "catalogue/item_merge.h"
#include "catalogue/loans.h"
#include "platform/system.h"
#include "records/field_text.h"
#include "support/dos_date.h"
#include "support/text.h"

namespace c = tessaron::c;
using tessaron::fromUtf8;
using tessaron::toUtf8;

namespace {

using tessaron::ItemAddition;
using tessaron::ItemChange;
using tessaron::ItemStream;

constexpr std::int32_t kLent = 0;

// Changes a record. Throws a c::Failure when it cannot.
using Step = std::function<void(CRecord&)>;

/// What is to become of one item.
struct Planned {
  std::vector<Step> steps;
  bool isRemoved = false;
  bool isDone = false;
};

std::uint16_t today() {
  const SYSTEMTIME now = tessaron::localNow();
  return tessaron::toDosDate(now.wYear, now.wMonth, now.wDay);
}

std::string reasonFor(const ItemAddition::Known& known) {
  return toUtf8(known.key) + " \"" + toUtf8(known.title) +
         (known.hasSameKey ? "\" is there already" : "\" has that EAN, UPC or ISBN already");
}

}  // namespace

/// Makes the changes in one pass over the collection.
struct tsr_edit : tessaron::ItemEdit {
  explicit tsr_edit(const char* thePath) : path(thePath) {}

  ItemChange change(const ItemStream& items) override {
    for (const auto& addition : additions) addition->change(items);
    const auto plan = plans.find(items.asin());
    if (plan == plans.end() || std::exchange(plan->second.isDone, true)) return {};
    if (plan->second.isRemoved) return {ItemChange::Kind::Drop, {}};
    CRecord known;
    items.read(known);
    CRecord record = known;
    try {
      for (const Step& step : plan->second.steps) step(record);
      const std::string reason = tessaron::recordError(known, record);
      if (!reason.empty()) throw c::Failure{TSR_INVALID_ARGUMENT, reason};
    } catch (const c::Failure& why) {
      failure = why;
      return {ItemChange::Kind::GiveUp, {}};
    }
    record.postProcess();
    auto text = tessaron::updateItem(items.item(), items.version(), known, record);
    return text ? tessaron::replaceItem(items, *std::move(text)) : ItemChange();
  }

  std::string addition() override {
    return next == additions.size() ? std::string() : additions[next++]->addition();
  }

  bool accept() override {
    for (const auto& addition : additions)
      if (addition->known()) failure = {TSR_REFUSED, reasonFor(*addition->known())};
    for (const auto& [key, plan] : plans)
      if (!plan.isDone) failure = {TSR_NOT_FOUND, "there is no item " + toUtf8(key)};
    return !failure;
  }

  Planned& planFor(const char* key) {
    return plans[std::u16string(tessaron::trimmed(fromUtf8(key)))];
  }

  std::string path;
  std::map<std::u16string, Planned> plans;
  std::vector<std::unique_ptr<ItemAddition>> additions;
  std::size_t next = 0;  // of the additions
  std::optional<c::Failure> failure;
};

namespace {

void requireEdited(const std::string& path, const tessaron::EditResult& result) {
  c::requireNone(result.readError, TSR_UNREADABLE, path);
  if (result.xmlError) {
    c::fail(TSR_DAMAGED, path,
            "line " + std::to_string(result.xmlError.line) + ", column " +
                std::to_string(result.xmlError.column) + ": " + result.xmlError.message);
  }
  if (result.isForeign)
    c::fail(TSR_DAMAGED, path, "this is no collection: it has no place for items");
  c::requireNone(result.writeError, TSR_UNWRITABLE, path);
}

// Plans a step for the item `key`.
tsr_status planStep(tsr_edit* edit, const char* key, Step step) {
  Planned& plan = edit->planFor(key);
  if (plan.isRemoved) throw c::Failure{TSR_REFUSED, "the edit removes that item"};
  plan.steps.push_back(std::move(step));
  return TSR_OK;
}

// A history is made of lines, which name the verb.
void requireVerb(std::string_view verb) {
  const auto isPrintable = [](char letter) { return letter > ' ' && letter < 0x7F; };
  if (verb.empty() || verb.size() > 32 || !std::ranges::all_of(verb, isPrintable))
    throw c::Failure{TSR_INVALID_ARGUMENT, "a verb has 1 to 32 printable characters of ASCII"};
}

}  // namespace

tsr_status tsr_edit_begin(const char* path, tsr_edit** edit) {
  return c::guarded([&] {
    c::require(path, edit);
    *edit = new tsr_edit(path);
    return TSR_OK;
  });
}

tsr_status tsr_edit_add(tsr_edit* edit, const char* record, int allow_copy, char** key) {
  return c::guarded([&] {
    c::require(edit, record);
    CRecord item;
    bool isDated = false;
    c::readJson(record, item, &isDated);
    if (tessaron::trimmed(item.Title).empty())
      throw c::Failure{TSR_INVALID_ARGUMENT, "the item has no title"};
    if (!isDated) item.DateAdded = today();
    item.postProcess();
    auto addition = std::make_unique<ItemAddition>(
        std::move(item),
        allow_copy != 0 ? ItemAddition::Copies::Allowed : ItemAddition::Copies::Refused);
    const std::u16string& asin = addition->record().ASIN;
    if (std::ranges::any_of(edit->additions,
                            [&](const auto& other) { return other->record().ASIN == asin; }))
      throw c::Failure{TSR_REFUSED, "the edit adds " + toUtf8(asin) + " already"};
    char* handedOut = key ? c::handOut(toUtf8(asin)) : nullptr;
    edit->additions.push_back(std::move(addition));
    if (key) *key = handedOut;
    return TSR_OK;
  });
}

tsr_status tsr_edit_update(tsr_edit* edit, const char* key, const char* record) {
  return c::guarded([&] {
    c::require(edit, key, record);
    CRecord trial;
    c::readJson(record, trial);
    return planStep(edit, key, [json = std::string(record)](CRecord& item) {
      c::readJson(json, item);
      if (tessaron::trimmed(item.Title).empty())
        throw c::Failure{TSR_INVALID_ARGUMENT, "the item would lose its title"};
    });
  });
}

tsr_status tsr_edit_remove(tsr_edit* edit, const char* key) {
  return c::guarded([&] {
    c::require(edit, key);
    edit->planFor(key).isRemoved = true;
    return TSR_OK;
  });
}

tsr_status tsr_edit_lend(tsr_edit* edit, const char* key, const char* who, const char* until) {
  return c::guarded([&] {
    c::require(edit, key, who);
    CLoan loan;
    loan.status = kLent;
    loan.who = fromUtf8(who);
    loan.begin = today();
    if (until && (loan.end = tessaron::parseIsoDate(until)) == 0)
      throw c::Failure{TSR_INVALID_ARGUMENT, '"' + std::string(until) +
                                                 "\" is no date from 1980 to 2107, written "
                                                 "YYYY-MM-DD"};
    return planStep(edit, key, [loan](CRecord& item) {
      const std::string reason = tessaron::beginLoan(item, loan);
      if (!reason.empty()) throw c::Failure{TSR_REFUSED, toUtf8(item.ASIN) + ": " + reason};
    });
  });
}

tsr_status tsr_edit_return(tsr_edit* edit, const char* key, const char* who) {
  return c::guarded([&] {
    c::require(edit, key);
    return planStep(edit, key, [name = fromUtf8(who ? who : "")](CRecord& item) {
      const std::string reason = tessaron::endLoan(item, name, today());
      if (!reason.empty()) throw c::Failure{TSR_REFUSED, toUtf8(item.ASIN) + ": " + reason};
    });
  });
}

tsr_status tsr_edit_commit(tsr_edit* edit, const char* verb) {
  const std::unique_ptr<tsr_edit> owned(edit);
  return c::guarded([&] {
    c::require(edit);
    const std::string name = verb ? verb : "edit";
    requireVerb(name);
    tessaron::EditOptions options;
    options.mode = tessaron::EditMode::Create;
    options.verb = name;
    const tessaron::EditResult result =
        tessaron::editCollection(fromUtf8(edit->path), options, *edit);
    if (edit->failure) throw c::Failure{edit->failure->status, edit->failure->message};
    requireEdited(edit->path, result);
    return TSR_OK;
  });
}

void tsr_edit_drop(tsr_edit* edit) { delete edit; }

tsr_status tsr_undo(const char* path, size_t count) {
  return c::guarded([&] {
    c::require(path);
    tessaron::EditOptions options;
    options.verb = "undo";
    const tessaron::UndoResult result = tessaron::undoEdits(fromUtf8(path), options, count, false);
    requireEdited(path, result.edit);
    c::requireNone(result.readError, TSR_UNREADABLE, path);
    if (!result.unreadable.empty()) c::fail(TSR_DAMAGED, path, result.unreadable);
    if (result.missing > 0) c::fail(TSR_NOT_FOUND, path, "there are not so many edits");
    if (result.conflictCount > 0)
      c::fail(TSR_REFUSED, path, result.conflicts.front() + " is no more as the edit left it");
    return TSR_OK;
  });
}
