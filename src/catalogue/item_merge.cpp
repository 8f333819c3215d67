#include "catalogue/item_merge.h"

#include <algorithm>
#include <optional>
#include <utility>
#include <vector>

#include "records/item_text.h"
#include "records/record_fields.h"
#include "support/xml/tree.h"

namespace tessaron {
namespace {

using Element = XmlTree::Element;
using Elements = std::vector<Element>;

bool isNamePart(char c) { return c != '/' && c != '>' && c != ' ' && (c < '\t' || c > '\r'); }

bool isOneOf(std::string_view name, std::initializer_list<std::string_view> names) {
  return std::find(names.begin(), names.end(), name) != names.end();
}

// Elements that stand once per entry of a list.
bool isListed(std::string_view name) {
  return kListAttributeNames.find(name) < kListAttributeNames.size() ||
         isOneOf(name, {"Language", "Review", "Disc", "Track", "Folder", "Loan", "File"});
}

// The parts of an editorial review as the web service delivers it: one text in a saved item.
bool isReviewPart(Element parent, Element child) {
  return parent.name() == "EditorialReview" && isOneOf(child.name(), {"Source", "Content"});
}

// Elements of which the first one counts; of all others it is the last.
bool firstCounts(std::string_view name) {
  return isOneOf(name, {"URL", "FormattedPrice", "OfferListing"});
}

bool isLeaf(Element element) { return element.hasText(); }

Element at(const Elements& elements, std::size_t i) {
  return i < elements.size() ? elements[i] : Element();
}

// Replacements of pieces of a text, made all at once.
class Edits {
 public:
  explicit Edits(std::string_view text) : text_(text) {}

  void replace(TextRange range, std::string_view by) { edits_.push_back({range, std::string(by)}); }
  void insert(std::size_t at, std::string_view what) { replace({at, at}, what); }

  // Deletes an element with the white space in front of it.
  void cut(Element element) {
    replace({blankBefore(text_, element.range().begin).begin, element.range().end}, {});
  }
  void cut(const Element::Attribute& attribute) {
    // TinyXML reads attributes that stand side by side.
    const bool apart = !isNamePart(text_[attribute.range.end]);
    const std::size_t begin = attribute.range.begin;
    replace({apart ? blankBefore(text_, begin).begin : begin, attribute.range.end}, {});
  }

  void rename(Element element, std::string_view name) {
    const std::size_t begin = element.range().begin + 1;
    replace({begin, begin + element.name().size()}, name);
    if (element.isEmptyTag()) return;
    const std::size_t end = element.content().end + 2;
    replace({end, end + element.name().size()}, name);
  }

  // Turns <x/> into <x>content</x>.
  void open(Element element, std::string_view content) {
    const TextRange blank = blankBefore(text_, element.range().end - 2);
    replace({blank.begin, element.range().end},
            '>' + std::string(content) + "</" + std::string(element.name()) + '>');
  }

  std::string apply() {
    std::stable_sort(edits_.begin(), edits_.end(), [](const Edit& a, const Edit& b) {
      return a.range.begin != b.range.begin ? a.range.begin < b.range.begin
                                            : a.range.end < b.range.end;
    });
    std::string out;
    std::size_t at = 0;
    for (const Edit& edit : edits_) {
      // A blank may be deleted with the text before it and with the element after it.
      if (edit.range.begin > at) out.append(text_, at, edit.range.begin - at);
      out += edit.by;
      at = std::max(at, edit.range.end);
    }
    return out.append(text_, at, text_.npos);
  }

 private:
  struct Edit {
    TextRange range;
    std::string by;
  };
  std::string_view text_;
  std::vector<Edit> edits_;
};

class Merger {
 public:
  Merger(std::string_view item, std::string_view base, std::string_view next)
      : itemText_(item), baseText_(base), nextText_(next), edits_(item) {
    for (const auto& [tree, text] :
         {std::pair(&itemTree_, item), std::pair(&baseTree_, base), std::pair(&nextTree_, next)})
      tree->parse(text);
    item_ = itemTree_.root();
    base_ = baseTree_.root();
    next_ = nextTree_.root();
  }

  std::string merge() {
    mergeElement(item_, base_, next_);
    const auto url = item_.findAttribute("url");
    if (url && !same(base_.child("DetailPageURL"), next_.child("DetailPageURL"))) edits_.cut(*url);
    return edits_.apply();
  }

  std::string strip() {
    stripElement(item_, base_, next_);
    return edits_.apply();
  }

 private:
  // Where children go into an element, and what has been put there so far.
  struct Place {
    Element parent;
    std::size_t at;
    std::string_view blank;  // goes in front of each, in a text that is indented
    std::string opened;      // the content of what was an empty tag
  };

  bool same(Element base, Element next) const {
    if (!base || !next) return !base && !next;
    return base.range().of(baseText_) == next.range().of(nextText_);
  }

  // `next` is null for an element that shall lose all that `base` has in it; `base` for one of
  // which nothing is known.
  void mergeElement(Element item, Element base, Element next) {
    mergeAttributes(item, base, next);
    if ((next && isLeaf(next)) || (!next && base && isLeaf(base))) {
      setText(item, next ? next.content().of(nextText_) : std::string_view());
    } else {
      mergeChildren(item, base, next);
    }
  }

  void mergeAttributes(Element item, Element base, Element next) {
    if (next) {
      for (const Element::Attribute& attribute : next.attributes()) {
        const std::string_view wanted = attribute.range.of(nextText_);
        const auto before = base ? base.findAttribute(attribute.name) : std::nullopt;
        if (before && before->range.of(baseText_) == wanted) continue;
        if (const auto old = item.findAttribute(attribute.name)) {
          edits_.replace(old->range, wanted);
        } else {
          edits_.insert(item.range().begin + 1 + item.name().size(), ' ' + std::string(wanted));
        }
      }
    }
    if (!base) return;
    for (const Element::Attribute& attribute : base.attributes()) {
      const auto old = item.findAttribute(attribute.name);
      if (old && (!next || !next.findAttribute(attribute.name))) edits_.cut(*old);
    }
  }

  // Comments and unknown children stay; `content` goes in front of them, where every reader sees
  // it.
  void setText(Element item, std::string_view content) {
    if (item.isEmptyTag()) {
      if (!content.empty()) edits_.open(item, content);
      return;
    }
    if (!item.firstChild() && !item.hasOthers()) {
      edits_.replace(item.content(), content);  // with its indentation
      return;
    }
    for (const TextRange& text : item.texts()) edits_.replace(text, {});
    for (Element child : item.children()) {
      if (isReviewPart(item, child)) edits_.cut(child);
    }
    edits_.insert(item.content().begin, content);
  }

  // Deletes an element, or only its text when there is more in it than a record carries.
  void erase(Element item) {
    const Elements children = item.children();
    const bool bare = item.attributes().empty() && !item.hasOthers() &&
                      std::all_of(children.begin(), children.end(),
                                  [&](Element child) { return isReviewPart(item, child); });
    if (bare) {
      edits_.cut(item);
    } else {
      setText(item, {});
    }
  }

  void mergeChildren(Element item, Element base, Element next) {
    Place place{item, item.content().begin, {}, {}};
    if (const Element first = item.firstChild()) place.blank = blankOf(first);
    const Elements wanted = next ? next.children() : Elements();
    for (std::size_t i = 0; i < wanted.size(); ++i) {
      const std::string_view name = wanted[i].name();
      if (i > 0 && wanted[i - 1].name() == name) continue;
      const Elements olds = oldChildren(item, name);
      mergeNamed(olds, base ? base.childrenNamed(name) : Elements(), next.childrenNamed(name),
                 place);
      if (!olds.empty()) moveBehind(place, olds.back());
    }
    if (!place.opened.empty()) edits_.open(item, place.opened);
    if (base) removeMissing(item, base, next);
  }

  // Merges the children of one name, of which there are `news`.
  void mergeNamed(const Elements& olds, const Elements& bases, const Elements& news, Place& place) {
    const std::string_view name = news[0].name();
    if (name == "CustomField") return mergeSlots(olds, bases, news, place);
    if (name == "Offer") return mergeOffers(olds, bases, news, place);
    if (isListed(name)) return mergeList(olds, bases, news, place);
    if (same(at(bases, 0), news[0])) return;
    if (olds.empty()) return insert(place, news[0]);
    mergeElement(firstCounts(name) ? olds.front() : olds.back(), at(bases, 0), news[0]);
    if (name != "EditorialReview") return;  // all of these make up one text
    for (std::size_t i = 0; i + 1 < olds.size(); ++i) erase(olds[i]);
  }

  void removeMissing(Element item, Element base, Element next) {
    std::string_view previous;
    for (Element gone = base.firstChild(); gone; gone = gone.nextSibling()) {
      if (std::exchange(previous, gone.name()) == gone.name()) continue;
      if (next && next.child(gone.name())) continue;
      for (Element old : oldChildren(item, gone.name())) {
        if (isListed(gone.name())) {
          edits_.cut(old);  // an empty one would be an entry
        } else if (isLeaf(gone)) {
          erase(old);
        } else {
          mergeElement(old, gone, {});
        }
      }
    }
  }

  // The elements of the item that hold the value which the writer calls `name`.
  static Elements oldChildren(Element item, std::string_view name) {
    if (name == "NumberOfItems") {
      // The web service's own name goes before, unless its element is empty.
      Elements discs = item.childrenNamed("NumberOfDiscs");
      if (!discs.empty() && isLeaf(discs.back())) return discs;
    }
    return item.childrenNamed(name);
  }

  // The slots are filled by position; trailing ones need not stand in the item.
  void mergeSlots(const Elements& olds, const Elements& bases, const Elements& news, Place& place) {
    std::size_t count = news.size();
    while (count > 0 && same(at(bases, count - 1), news[count - 1])) --count;
    for (std::size_t i = 0; i < count; ++i) {
      if (i >= olds.size()) {
        if (i == olds.size() && i > 0) moveBehind(place, olds.back());
        insert(place, news[i]);
      } else if (!same(at(bases, i), news[i])) {
        mergeElement(olds[i], at(bases, i), news[i]);
      }
    }
    for (std::size_t i = news.size(); i < std::min(bases.size(), olds.size()); ++i) {
      edits_.cut(olds[i]);
    }
  }

  // Only a first child is read, so that further offers stay unless the record brings its own.
  void mergeOffers(const Elements& olds, const Elements& bases, const Elements& news,
                   Place& place) {
    const bool first = !olds.empty() && olds.front() == place.parent.firstChild();
    if (!same(at(bases, 0), news[0])) {
      if (first) {
        mergeElement(olds.front(), at(bases, 0), news[0]);
      } else {
        insert(place, news[0]);
      }
    }
    if (news.size() == 1) return;
    if (first) moveBehind(place, olds.front());
    for (std::size_t i = 1; i < news.size(); ++i) insert(place, news[i]);
    for (std::size_t i = first ? 1 : 0; i < olds.size(); ++i) edits_.cut(olds[i]);
  }

  // How many entries are the same at the head and at the tail of both lists.
  std::pair<std::size_t, std::size_t> sameEnds(const Elements& bases, const Elements& news) const {
    const std::size_t shorter = std::min(bases.size(), news.size());
    std::size_t head = 0;
    while (head < shorter && same(bases[head], news[head])) ++head;
    std::size_t tail = 0;
    while (tail < shorter - head &&
           same(bases[bases.size() - 1 - tail], news[news.size() - 1 - tail])) {
      ++tail;
    }
    return {head, tail};
  }

  // Entries that are the same at the head and at the tail of both lists stay. Between them, old
  // ones are turned into new ones in turn, and what is left over is inserted or deleted.
  void mergeList(const Elements& olds, const Elements& bases, const Elements& news, Place& place) {
    // An old element may be no entry, or stand for several.
    const bool aligned = olds.size() == bases.size();
    const auto [head, tail] =
        aligned ? sameEnds(bases, news) : std::pair<std::size_t, std::size_t>();
    const std::size_t oldEnd = olds.size() - tail;
    const std::size_t newEnd = news.size() - tail;
    std::size_t i = head;
    for (; i < std::min(oldEnd, newEnd); ++i) {
      Element base = aligned ? bases[i] : Element();
      if (isLeaf(news[i]) || (base && isSameEntry(base, news[i]))) {
        mergeElement(olds[i], base, news[i]);
      } else {
        edits_.replace(olds[i].range(), news[i].range().of(nextText_));
      }
    }
    if (i > 0 && i < newEnd) {
      moveBehind(place, olds[i - 1]);
    } else if (!olds.empty() && i < newEnd) {
      place.blank = blankOf(olds.front());
      place.at = olds.front().range().begin - place.blank.size();
    }
    for (std::size_t j = i; j < newEnd; ++j) insert(place, news[j]);
    for (std::size_t j = i; j < oldEnd; ++j) edits_.cut(olds[j]);
  }

  // Whether two reviews or discs are versions of one: they share a text that tells them from
  // others; two loans share the person and the day on which they began.
  bool isSameEntry(Element base, Element next) const {
    if (next.name() == "Loan") {
      const auto isShared = [&](std::string_view name) {
        return base.attribute(name) == next.attribute(name);
      };
      return isShared("status") && isShared("who") && isShared("from");
    }
    if (next.name() == "File") return base.attribute("path") == next.attribute("path");
    const Elements children = next.children();
    return std::any_of(children.begin(), children.end(), [&](Element child) {
      if (child.name() == "Rating") return false;
      const Elements bases = base.childrenNamed(child.name());
      return std::any_of(bases.begin(), bases.end(),
                         [&](Element other) { return same(other, child); });
    });
  }

  void stripElement(Element item, Element base, Element next) {
    for (Element child : item.children()) {
      const bool furtherOffer = child.name() == "Offer" && child != item.firstChild();
      if (furtherOffer || child.name() == "Tessaron") continue;
      const std::string_view name =
          child.name() == "NumberOfDiscs" ? "NumberOfItems" : child.name();
      Element inBase = base ? base.child(name) : Element();
      Element inNext = next ? next.child(name) : Element();
      Element known = inNext ? inNext : inBase;
      if (!known) continue;
      if (isListed(name) || name == "CustomField") {
        edits_.cut(child);
      } else if (isLeaf(known)) {
        erase(child);
      } else {
        stripElement(child, inBase, inNext);
      }
    }
  }

  std::string_view blankOf(Element element) const {
    return blankBefore(itemText_, element.range().begin).of(itemText_);
  }

  void moveBehind(Place& place, Element element) {
    place.at = element.range().end;
    place.blank = blankOf(element);
  }

  void insert(Place& place, Element next) {
    const std::string_view text = next.range().of(nextText_);
    if (place.parent.isEmptyTag()) {
      place.opened += text;
    } else {
      edits_.insert(place.at, std::string(place.blank) += text);
    }
  }

  std::string_view itemText_;
  std::string_view baseText_;
  std::string_view nextText_;
  XmlTree itemTree_;
  XmlTree baseTree_;
  XmlTree nextTree_;
  Element item_;
  Element base_;
  Element next_;
  Edits edits_;
};

// Brings the text of an "Item" up to date by a three-way merge. `base` is what the writer makes of
// the record that is read from `item`, `next` what it makes of the wanted record.
std::string mergeItem(std::string_view item, std::string_view base, std::string_view next) {
  return Merger(item, base, next).merge();
}

// An "Item" without the values that stand in `base` or `next`; what a record does not carry is
// left.
std::string stripItem(std::string_view item, std::string_view base, std::string_view next) {
  return Merger(item, base, next).strip();
}

// An "Item" with that of a "Details" which the record does not carry, or which both dialects have
// in common.
std::string detailsToItem(std::string_view details) {
  XmlTree tree;
  tree.parse(details);
  const Element element = tree.root();
  Edits edits(details);
  edits.rename(element, "Item");
  for (Element child : element.children()) {
    const auto named = [&](const auto& known) { return known.name == child.name(); };
    const bool isText = std::any_of(kDetailsTexts.begin(), kDetailsTexts.end(), [&](auto& known) {
      return named(known) && known.member && known.member != &CRecord::Notes;
    });
    if (isText || std::any_of(kDetailsLists.begin(), kDetailsLists.end(), named)) edits.cut(child);
    if (child.name() != "Reviews") continue;
    edits.rename(child, "CustomerReviews");
    for (Element part : child.children()) {
      if (part.name() == "AvgCustomerRating") edits.rename(part, "AverageRating");
      if (part.name() == "TotalCustomerReviews") edits.rename(part, "TotalReviews");
      if (part.name() != "CustomerReview") continue;
      edits.rename(part, "Review");
      for (Element comment : part.childrenNamed("Comment")) {
        edits.rename(comment, "Content");
      }
    }
  }
  return edits.apply();
}

}  // namespace

std::string itemText(CRecord record) {
  record.preProcess();
  std::string text;
  writeItem(record, text);
  return text;
}

CRecord recordOf(std::string_view item) {
  XmlTree tree;
  tree.parse(item);
  CRecord record;
  if (tree.root()) readItem(tree.root(), versionOf(tree.root()), record);
  return record;
}

std::optional<std::string> updateItem(std::string_view item, int version, const CRecord& known,
                                      const CRecord& record) {
  const std::string next = itemText(record);
  std::string base = itemText(known);
  if (base == next) return std::nullopt;
  // What the wanted record comes back as. Offers and folders do not come back.
  const std::string goal = itemText(recordOf(next));
  if (base == goal && record.offers.empty() && record.folders.empty()) return std::nullopt;

  std::string text(item);
  if (version == 3) {
    text = detailsToItem(text);
    base = itemText(recordOf(text));
  }
  // Some fields are derived from others when they are missing, so that a change of one may bring
  // about that of another, and a second pass is needed. Where that does not do, as with elements
  // that stand twice, the record's values are written all anew.
  constexpr int kPasses = 4;
  for (int pass = 1; pass <= kPasses; ++pass) {
    text = mergeItem(text, base, next);
    base = itemText(recordOf(text));
    if (base == next || base == goal) break;
    if (pass != 2) continue;
    text = stripItem(text, base, next);
    base = itemText(recordOf(text));
  }
  return text;
}

}  // namespace tessaron
