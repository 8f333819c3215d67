#include "cli/items.h"

#include <fmt/format.h>

#include <CLI/CLI.hpp>
#include <algorithm>
#include <filesystem>
#include <iterator>
#include <optional>
#include <sstream>
#include <unordered_map>

#include "catalogue/item_finder.h"
#include "catalogue/item_merge.h"
#include "cli/collection.h"
#include "cli/failures.h"
#include "cli/input.h"
#include "cli/paths.h"
#include "records/field_text.h"
#include "records/product_number.h"
#include "support/text.h"

namespace tessaron::tool {
namespace {

constexpr const char* kNothingChanged = "; nothing is changed";

std::u16string trimmedName(const std::string& argument) {
  const std::u16string name = fromUtf8(argument);
  return std::u16string(trimmed(name));
}

std::vector<std::u16string> wideNames(const std::vector<std::string>& names) {
  std::vector<std::u16string> wide;
  std::ranges::transform(names, std::back_inserter(wide), trimmedName);
  return wide;
}

std::string nameError(const std::string& name) {
  return trimmedName(name).empty() ? "an item's name cannot be empty" : "";
}

/// Whether a name has the shape of a product number, right or wrong.
bool looksLikeNumber(const std::u16string& name) {
  const auto isDigit = [](char16_t c) { return c >= u'0' && c <= u'9'; };
  const auto isOther = [&](char16_t c) { return !isDigit(c) && c != u'-' && c != u' '; };
  const bool endsInX = !name.empty() && (name.back() == u'X' || name.back() == u'x');
  const std::u16string_view digits(name.data(), name.size() - (endsInX ? 1 : 0));
  const auto count = std::ranges::count_if(digits, isDigit) + (endsInX ? 1 : 0);
  return std::ranges::none_of(digits, isOther) &&
         (count == 10 || (!endsInX && (count == 12 || count == 13)));
}

std::string missingReason(const std::string& name) {
  const std::u16string wide = trimmedName(name);
  const bool isMistyped = looksLikeNumber(wide) && !productNumber(wide);
  return "no item " + name +
         (isMistyped ? ": as an EAN, UPC or ISBN its check digit is wrong" : "");
}

/// Lists the items that a name may mean, at most `room` of them, which is reduced by their number.
void listCandidates(const std::string& where, const std::string& name,
                    const ItemFinder::Result& result, std::size_t& room) {
  const std::size_t count = std::min(room, result.candidates.size());
  room -= count;
  for (std::size_t i = 0; i < count; ++i) {
    const auto& [key, title] = result.candidates[i];
    warn(fmt::format("{}: \"{}\" may be {}  {}", where, name,
                     key.empty() ? "(without a key)" : toUtf8(key), toUtf8(title)));
  }
  if (count > 0 && count < result.count)
    warn(fmt::format("{}: \"{}\" may be one of {} others", where, name, result.count - count));
}

/// Fails unless every name was found once.
void requireFound(const ItemFinder& finder, const std::vector<std::string>& names,
                  const std::string& path, const char* consequence) {
  const std::string where = displayName(path);
  std::size_t room = ItemFinder::kMaxCandidates;
  std::string reason;
  for (std::size_t i = 0; i < names.size(); ++i) {
    const ItemFinder::Result& result = finder.result(i);
    if (result.count == 1) continue;
    if (!reason.empty()) warn(fmt::format("{}: {}", where, reason));
    listCandidates(where, names[i], result, room);
    reason = result.count == 0 ? missingReason(names[i])
                               : fmt::format("\"{}\" matches {} items; name one by its key",
                                             names[i], result.count);
  }
  if (!reason.empty()) throw Failure{kFailed, where, reason + consequence};
}

/// An item that is to be changed, and the numbers of the names that mean it.
struct Target {
  std::u16string key;
  std::optional<std::u16string> title;  ///< nothing: the key alone was named
  std::vector<std::size_t> names;
  bool isDone = false;
};

void addTarget(std::vector<Target>& targets, Target target) {
  const auto same = std::ranges::find_if(targets, [&](const Target& known) {
    return known.key == target.key && known.title == target.title;
  });
  if (same == targets.end()) return targets.push_back(std::move(target));
  same->names.push_back(target.names.front());
}

/// Passes the items that are named to an action.
class NamedEdit : public ItemEdit {
 public:
  /// `missing` is called at the end unless all were found, and throws.
  NamedEdit(std::string path, std::vector<Target> targets, SameKey sameKey,
            const ItemAction& action, std::u16string newKey, std::function<void()> missing)
      : path_(std::move(path)),
        targets_(std::move(targets)),
        sameKey_(sameKey),
        action_(action),
        newKey_(std::move(newKey)),
        missing_(std::move(missing)) {
    for (std::size_t i = 0; i < targets_.size(); ++i) byKey_[targets_[i].key].push_back(i);
  }

  ItemChange change(const ItemStream& items) override {
    const std::u16string& key = items.asin();
    std::vector<std::size_t> names;
    if (const auto found = byKey_.find(key); found != byKey_.end()) {
      for (const std::size_t index : found->second) {
        Target& target = targets_[index];
        if (!isMeant(target, items)) continue;
        target.isDone = true;
        names.insert(names.end(), target.names.begin(), target.names.end());
      }
    }
    if (!names.empty()) {
      keys_.push_back(key);
      return action_(items, names);
    }
    isKeyTaken_ = isKeyTaken_ || (!newKey_.empty() && key == newKey_);
    return {};
  }

  /// Of the items that the action was asked about.
  const std::vector<std::u16string>& keys() const { return keys_; }

  std::string addition() override {
    if (!std::ranges::all_of(targets_, &Target::isDone)) missing_();
    if (isKeyTaken_)
      throw Failure{kFailed, path_,
                    "another item has the key " + toUtf8(newKey_) + kNothingChanged};
    return {};
  }

 private:
  bool isMeant(const Target& target, const ItemStream& items) const {
    if (!target.title) return !target.isDone || sameKey_ == SameKey::All;
    if (target.isDone) return false;
    CRecord record;
    record.fullDetail = false;
    items.read(record);
    return record.Title == *target.title;
  }

  std::string path_;
  std::vector<Target> targets_;
  SameKey sameKey_;
  const ItemAction& action_;
  std::u16string newKey_;
  std::function<void()> missing_;
  std::unordered_map<std::u16string, std::vector<std::size_t>> byKey_;
  std::vector<std::u16string> keys_;
  bool isKeyTaken_ = false;
};

/// Whether names may all be keys, so that a search for anything else can wait.
bool mayBeKeys(const std::vector<std::u16string>& names) {
  return std::ranges::all_of(
      names, [](const std::u16string& name) { return name.find(u' ') == name.npos; });
}

std::vector<Target> resolve(const std::string& path, const std::vector<std::string>& names) {
  ItemFinder finder(wideNames(names), ItemFinder::By::Everything);
  CollectionReader(path).forEachItem([&](const ItemStream& items) { finder.see(items); });
  requireFound(finder, names, path, kNothingChanged);
  std::vector<Target> targets;
  for (std::size_t i = 0; i < names.size(); ++i) {
    const ItemFinder::Result& result = finder.result(i);
    const auto& [key, title] = result.candidates.front();
    addTarget(targets, {key, result.isByKey ? std::nullopt : std::optional(title), {i}, false});
  }
  return targets;
}

}  // namespace

const char* const kItemHelp =
    "ITEM is a key (the ASIN), an EAN, UPC or ISBN with or without hyphens, or words of the title\n"
    "that only one item has. Where several may be meant, they are listed.";
const char* const kItemsHelp =
    "ITEM is a key (the ASIN), an EAN, UPC or ISBN with or without hyphens, or words of the title\n"
    "that only one item has; - stands for names on standard input, one a line. All items are\n"
    "changed in one step: when a name is unknown, or several items may be meant (which are "
    "listed),\n"
    "nothing is changed.";

void addItemArgument(CLI::App& verb, std::string& name) {
  verb.add_option("ITEM", name, "The item's key, EAN, UPC or ISBN, or words of its title")
      ->required()
      ->check(nameError);
}

void addItemArguments(CLI::App& verb, std::vector<std::string>& names) {
  verb.add_option("ITEM", names,
                  "The items' keys, EAN, UPC or ISBN, or words of their titles; - for a list")
      ->required()
      ->check(nameError);
}

std::vector<std::string> itemNames(const std::vector<std::string>& arguments) {
  std::vector<std::string> names;
  for (const std::string& argument : arguments) {
    if (argument != "-") {
      names.push_back(argument);
      continue;
    }
    std::istringstream lines(readInput("-"));
    for (std::string line; std::getline(lines, line);)
      if (nameError(line).empty()) names.push_back(toUtf8(trimmedName(line)));
  }
  if (names.empty()) throw Failure{kFailed, "standard input", "no item is named there"};
  return names;
}

void findItems(const std::string& path, const std::vector<std::string>& names,
               const std::function<void(const ItemStream&, std::size_t)>& found,
               const char* consequence) {
  const std::vector<std::u16string> wide = wideNames(names);
  CollectionReader reader(path);
  const auto search = [&](ItemFinder& finder) {
    reader.forEachItem([&](const ItemStream& items) {
      for (const std::size_t name : finder.see(items)) found(items, name);
    });
  };
  std::error_code error;
  if (std::filesystem::is_regular_file(filePath(path), error) && mayBeKeys(wide)) {
    ItemFinder keys(wide, ItemFinder::By::Key);
    search(keys);
    if (keys.hasAllKeys()) return;
  }
  ItemFinder finder(wide, ItemFinder::By::Everything);
  search(finder);
  requireFound(finder, names, path, consequence);
}

std::vector<CRecord> readItems(const std::string& path, const std::vector<std::string>& names) {
  std::vector<CRecord> records(names.size());
  findItems(path, names, [&](const ItemStream& items, std::size_t name) {
    records[name] = CRecord();
    items.read(records[name]);
  });
  return records;
}

std::vector<std::u16string> changeItems(const std::string& path,
                                        const std::vector<std::string>& names, SameKey sameKey,
                                        const ItemAction& action, const std::u16string& newKey) {
  const std::vector<std::u16string> wide = wideNames(names);
  struct NotAllAreKeys {};
  if (mayBeKeys(wide)) {
    std::vector<Target> targets;
    for (std::size_t i = 0; i < wide.size(); ++i)
      addTarget(targets, {wide[i], std::nullopt, {i}, false});
    try {
      NamedEdit edit(path, std::move(targets), sameKey, action, newKey,
                     [] { throw NotAllAreKeys{}; });
      changeCollection(path, EditMode::Existing, edit);
      return edit.keys();
    } catch (const NotAllAreKeys&) {  // nothing was written
    }
  }
  NamedEdit edit(path, resolve(path, names), sameKey, action, newKey, [&] {
    throw Failure{
        kFailed, path,
        std::string("the items were changed by another program meanwhile") + kNothingChanged};
  });
  changeCollection(path, EditMode::Existing, edit);
  return edit.keys();
}

ItemChange changeTo(const ItemStream& items, const CRecord& known, const CRecord& record) {
  auto text = updateItem(items.item(), items.version(), known, record);
  return text ? replaceItem(items, *std::move(text)) : ItemChange();
}

}  // namespace tessaron::tool
