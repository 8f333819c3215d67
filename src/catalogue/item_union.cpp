#include "catalogue/item_union.h"

#include <algorithm>
#include <type_traits>
#include <utility>
#include <variant>

#include "catalogue/item_key.h"
#include "catalogue/item_merge.h"
#include "catalogue/title_key.h"
#include "records/item_text.h"
#include "records/record_cells.h"
#include "records/record_fields.h"
#include "support/text.h"

namespace tessaron {
namespace {

using Element = XmlTree::Element;

bool hasNoShopKey(const CRecord& record) { return record.ASIN.empty() || isMadeKey(record.ASIN); }

bool isSame(const std::u16string& a, const std::u16string& b) {
  return a == b || wordsKey(a) == wordsKey(b);
}

bool isSame(const CRecord::Strings& a, const CRecord::Strings& b) {
  const auto keysOf = [](const CRecord::Strings& texts) {
    CRecord::Strings keys;
    for (const std::u16string& text : texts) keys.push_back(wordsKey(text));
    std::sort(keys.begin(), keys.end());
    return keys;
  };
  return keysOf(a) == keysOf(b);
}

template <typename Value>
bool isSame(const Value& a, const Value& b) {
  return a == b;
}

std::string cellOf(const CRecord& record, std::string_view column) {
  std::string cell;
  appendCell(record, recordColumn(column), SYSTEMTIME{}, cell);
  return cell;
}

// Completes a record by another.
class RecordUnion {
 public:
  RecordUnion(CRecord& ours, const CRecord& theirs, const UnionRule& rule,
              std::vector<FieldConflict>& conflicts)
      : ours_(ours),
        theirs_(theirs),
        rule_(rule),
        conflicts_(conflicts),
        isHandmade_(hasNoShopKey(theirs)) {}

  void unite() {
    uniteKey();
    const bool hasReviews = !(ours_.reviewRatings.empty() && ours_.reviewSummaries.empty() &&
                              ours_.reviewContents.empty());
    for (const Field& field : kFields) {
      const auto* list = std::get_if<ListMember>(&field.member);
      const bool isReview =
          list && (*list == &CRecord::reviewRatings || *list == &CRecord::reviewSummaries ||
                   *list == &CRecord::reviewContents);
      if (field.isPart || field.name == "ASIN" || (isReview && hasReviews)) continue;
      std::visit([&](auto member) { uniteField(field, member); }, field.member);
    }
    ours_.postProcess();
  }

 private:
  // The side that counts for a conflict; takes note of it.
  Side settle(std::string field, std::string ours, std::string theirs, Side preferred) {
    conflicts_.push_back({std::move(field), std::move(ours), std::move(theirs), preferred});
    return preferred;
  }

  void uniteKey() {
    if (!theirs_.ASIN.empty() && (ours_.ASIN.empty() || (hasNoShopKey(ours_) && !isHandmade_)))
      ours_.ASIN = theirs_.ASIN;
  }

  void uniteField(const Field& /*field*/, CompositeField field) {
    if (field == CompositeField::Status) return uniteStatus();
    if (field == CompositeField::CustomFields) return uniteCustomFields();
    if (!theirs_.hasIcon || (ours_.hasIcon && ours_.icon == theirs_.icon)) return;
    if (ours_.hasIcon && settle("icon", cellOf(ours_, "icon"), cellOf(theirs_, "icon"),
                                rule_.preferred) != Side::Theirs)
      return;
    ours_.hasIcon = true;
    ours_.icon = theirs_.icon;
  }

  // Offers and folders are not read from a text; what the extension holds is united there.
  template <typename Other>
  void uniteField(const Field& /*field*/, Other /*member*/) {}

  void uniteField(const Field& field, TextMember member) { uniteTexts(field, member); }
  void uniteField(const Field& field, ListMember member) { uniteTexts(field, member); }
  void uniteField(const Field& field, DiscsMember member) { uniteTexts(field, member); }
  void uniteField(const Field& /*field*/, DateMember member) { fill(member); }
  void uniteField(const Field& /*field*/, ListingMember member) { fill(member); }

  // Takes the value of theirs if ours has none. False when both have one.
  template <typename Value>
  bool fill(Value CRecord::*member) {
    const Value& theirs = theirs_.*member;
    if (theirs == Value()) return true;
    if (ours_.*member != Value()) return false;
    ours_.*member = theirs;
    return true;
  }

  template <typename Texts>
  void uniteTexts(const Field& field, Texts CRecord::*member) {
    if (fill(member)) return;
    Texts& ours = ours_.*member;
    const Texts& theirs = theirs_.*member;
    const bool isNotes = field.name == "Notes";
    if (isNotes ? ours == theirs : !isHandmade_ || isSame(ours, theirs)) return;
    const Side side = settle(std::string(field.name), cellOf(ours_, field.name),
                             cellOf(theirs_, field.name), rule_.preferred);
    if (side == Side::Theirs) ours = theirs;
  }

  static std::string statusWords(const CRecord& record) {
    std::string words = cellOf(record, "status.name");
    for (const auto& [before, column] :
         {std::pair(", ", "status.target"), std::pair(", from ", "status.begin"),
          std::pair(", until ", "status.end")}) {
      const std::string cell = cellOf(record, column);
      if (!cell.empty()) (words += before) += cell;
    }
    return words;
  }

  static bool hasNoStatus(const CRecord& record) {
    return !record.hasStatus && record.StatusTarget.empty() && record.StatusBeginDate == 0 &&
           record.StatusEndDate == 0;
  }

  // Whether two statuses are one, of which each side may lack person or dates.
  bool isStatusCommon() const {
    const auto agree = [](const auto& a, const auto& b) {
      return a == b || a == std::decay_t<decltype(a)>() || b == std::decay_t<decltype(b)>();
    };
    return (!ours_.hasStatus || ours_.status == theirs_.status) &&
           agree(ours_.StatusTarget, theirs_.StatusTarget) &&
           agree(ours_.StatusBeginDate, theirs_.StatusBeginDate) &&
           agree(ours_.StatusEndDate, theirs_.StatusEndDate);
  }

  Side settleStatus() {
    Side side = rule_.preferred;
    const std::uint16_t begin = ours_.StatusBeginDate, other = theirs_.StatusBeginDate;
    if (rule_.laterStatus && begin != 0 && other != 0 && begin != other)
      side = begin < other ? Side::Theirs : Side::Ours;
    return settle("status", statusWords(ours_), statusWords(theirs_), side);
  }

  void uniteStatus() {
    // Person and dates without a status are only shown where nothing else is known.
    if (hasNoStatus(theirs_) || (ours_.hasStatus && !theirs_.hasStatus)) return;
    const bool isCommon = isStatusCommon();
    if (!isCommon && settleStatus() != Side::Theirs) return;
    ours_.hasStatus = theirs_.hasStatus;
    ours_.status = theirs_.status;
    if (!isCommon || ours_.StatusTarget.empty()) ours_.StatusTarget = theirs_.StatusTarget;
    if (!isCommon || ours_.StatusBeginDate == 0) ours_.StatusBeginDate = theirs_.StatusBeginDate;
    if (!isCommon || ours_.StatusEndDate == 0) ours_.StatusEndDate = theirs_.StatusEndDate;
  }

  void uniteCustomFields() {
    const std::size_t slots =
        std::min(theirs_.customFieldNames.size(), theirs_.customFieldValues.size());
    for (std::size_t i = 0; i < slots; ++i) {
      const std::u16string& name = theirs_.customFieldNames[i];
      const std::u16string& value = theirs_.customFieldValues[i];
      if (!name.empty() || !value.empty()) uniteCustomField(name, value);
    }
  }

  void uniteCustomField(const std::u16string& name, const std::u16string& value) {
    CRecord::Strings& names = ours_.customFieldNames;
    CRecord::Strings& values = ours_.customFieldValues;
    const std::string label = "customFields." + toUtf8(name);
    std::size_t slot = 0;
    // Values without a name are fields of their own each.
    while (slot < names.size() && (names[slot] != name || (name.empty() && values[slot] != value)))
      ++slot;
    if (slot < names.size() && (value.empty() || !values[slot].empty())) {
      if (!value.empty() && values[slot] != value &&
          settle(label, toUtf8(values[slot]), toUtf8(value), rule_.preferred) == Side::Theirs)
        values[slot] = value;
      return;
    }
    if (slot == names.size()) {
      slot = 0;
      while (slot < names.size() && !(names[slot].empty() && values[slot].empty())) ++slot;
    }
    if (slot == names.size()) {  // Theirs cannot win where there is no room for it.
      settle(label, {}, toUtf8(value), rule_.preferred == Side::Ours ? Side::Ours : Side::None);
      return;
    }
    names[slot] = name;
    values[slot] = value;
    ours_.customFieldFlags[slot] = true;
  }

  CRecord& ours_;
  const CRecord& theirs_;
  const UnionRule& rule_;
  std::vector<FieldConflict>& conflicts_;
  bool isHandmade_;
};

// Completes an element that records do not carry by another of its kind. Elements and attributes
// that only theirs has are added; elements that both have once are united, if they hold elements.
// In conflict are attributes, and texts of elements without attributes that both have once; all
// other elements are entries of lists.
class ExtensionUnion {
 public:
  ExtensionUnion(std::string_view ours, std::string_view theirs, const UnionRule& rule,
                 std::vector<FieldConflict>& conflicts)
      : ours_(ours), theirs_(theirs), rule_(rule), conflicts_(conflicts) {}

  void unite(Element ours, Element theirs) {
    uniteAttributes(ours, theirs);
    std::string missing;
    for (const Element child : theirs.children()) {
      const std::string_view text = child.range().of(theirs_);
      const std::vector<Element> others = ours.childrenNamed(child.name());
      const bool isKnown = std::any_of(others.begin(), others.end(), [&](Element other) {
        return other.range().of(ours_) == text;
      });
      if (isKnown) continue;
      const bool isOnce = others.size() == 1 && theirs.childrenNamed(child.name()).size() == 1;
      if (isOnce && others.front().firstChild() && child.firstChild())
        unite(others.front(), child);
      else if (isOnce && isPlain(others.front()) && isPlain(child))
        uniteTexts(others.front(), child);
      else
        missing += text;
    }
    if (!missing.empty()) insert(ours, missing);
  }

  /// Puts `text` at the end of the content of `element`.
  void insert(Element element, const std::string& text) {
    if (!element.isEmptyTag()) {
      const std::size_t end = element.content().end;
      return replace({end, end}, text);
    }
    const TextRange blank = blankBefore(ours_, element.range().end - 2);
    replace({blank.begin, element.range().end},
            '>' + text + "</" + std::string(element.name()) + '>');
  }

  bool isEmpty() const { return edits_.empty(); }
  /// The text of ours, completed.
  std::string apply() {
    std::stable_sort(edits_.begin(), edits_.end(),
                     [](const Edit& a, const Edit& b) { return a.range.begin < b.range.begin; });
    std::string out;
    std::size_t at = 0;
    for (const Edit& edit : edits_) {
      out.append(ours_, at, edit.range.begin - at);
      out += edit.text;
      at = edit.range.end;
    }
    return out.append(ours_, at, ours_.npos);
  }

 private:
  struct Edit {
    TextRange range;
    std::string text;
  };

  static bool isPlain(Element element) {
    return !element.firstChild() && element.attributes().empty();
  }

  void replace(TextRange range, std::string text) { edits_.push_back({range, std::move(text)}); }

  void settle(const std::string& name, TextRange ours, std::string_view ourValue,
              std::string_view theirs, std::string_view theirValue) {
    conflicts_.push_back(
        {"Tessaron." + name, std::string(ourValue), std::string(theirValue), rule_.preferred});
    if (rule_.preferred == Side::Theirs) replace(ours, std::string(theirs));
  }

  void uniteTexts(Element ours, Element theirs) {
    settle(std::string(ours.name()), ours.range(), toUtf8(ours.elementText()),
           theirs.range().of(theirs_), toUtf8(theirs.elementText()));
  }

  void uniteAttributes(Element ours, Element theirs) {
    for (const Element::Attribute& attribute : theirs.attributes()) {
      const std::string_view text = attribute.range.of(theirs_);
      const auto known = ours.findAttribute(attribute.name);
      if (!known) {
        const std::size_t place = ours.range().begin + 1 + ours.name().size();
        replace({place, place}, ' ' + std::string(text));
      } else if (*ours.attribute(attribute.name) != *theirs.attribute(attribute.name)) {
        settle(std::string(attribute.name), known->range, *ours.attribute(attribute.name), text,
               *theirs.attribute(attribute.name));
      }
    }
  }

  std::string_view ours_, theirs_;
  const UnionRule& rule_;
  std::vector<FieldConflict>& conflicts_;
  std::vector<Edit> edits_;
};

// The text of ours with what the extension of theirs has more; nothing when there is no more.
std::optional<std::string> uniteExtensions(std::string_view ours, std::string_view theirs,
                                           const UnionRule& rule,
                                           std::vector<FieldConflict>& conflicts) {
  constexpr std::string_view kExtension = "Tessaron";
  XmlTree ourTree, theirTree;
  theirTree.parse(theirs);
  ourTree.parse(ours);
  const Element item = ourTree.root(), other = theirTree.root();
  if (!item || !other) return std::nullopt;
  const Element extension = other.child(kExtension);
  if (!extension) return std::nullopt;
  ExtensionUnion both(ours, theirs, rule, conflicts);
  if (const Element known = item.child(kExtension))
    both.unite(known, extension);
  else
    both.insert(item, std::string(extension.range().of(theirs)));
  if (both.isEmpty()) return std::nullopt;
  return both.apply();
}

int dialectOf(std::string_view item) {
  XmlTree tree;
  tree.parse(item);
  const Element root = tree.root();
  return root ? versionOf(root) : 4;
}

}  // namespace

std::string currentItem(std::string_view item) {
  std::optional<std::string> text;
  // Everything that a record carries is new to an empty one.
  if (dialectOf(item) == 3) text = updateItem(item, 3, CRecord(), recordOf(item));
  return text ? *std::move(text) : std::string(item);
}

bool ItemUnion::isSettled() const {
  return std::none_of(conflicts.begin(), conflicts.end(),
                      [](const FieldConflict& conflict) { return conflict.taken == Side::None; });
}

ItemUnion uniteItems(std::string_view ours, std::string_view theirs, const UnionRule& rule) {
  ItemUnion both;
  const CRecord known = recordOf(ours);
  CRecord record = known;
  RecordUnion(record, recordOf(theirs), rule, both.conflicts).unite();
  both.text = updateItem(ours, dialectOf(ours), known, record);
  if (auto extended =
          uniteExtensions(both.text ? *both.text : currentItem(ours), theirs, rule, both.conflicts))
    both.text = std::move(extended);
  return both;
}

}  // namespace tessaron
