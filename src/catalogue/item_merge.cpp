#include "catalogue/item_merge.h"

#include <algorithm>
#include <vector>

#include "records/record_tables.h"
#include "support/xml/outline.h"

namespace tessaron {
namespace {

using Element = XmlOutline;
using Elements = std::vector<const Element*>;

bool isNamePart(char c) { return c != '/' && c != '>' && c != ' ' && (c < '\t' || c > '\r'); }

bool isOneOf(std::string_view name, std::initializer_list<std::string_view> names) {
  return std::find(names.begin(), names.end(), name) != names.end();
}

// Elements that stand once per entry of a list.
bool isListed(std::string_view name) {
  return kListAttributeNames.find(name) < kListAttributeNames.size() ||
         isOneOf(name, {"Language", "Review", "Disc", "Track", "Folder"});
}

// The parts of an editorial review as the web service delivers it: one text in a saved item.
bool isReviewPart(const Element& parent, const Element& child) {
  return parent.name == "EditorialReview" && isOneOf(child.name, {"Source", "Content"});
}

// Elements of which the first one counts; of all others it is the last.
bool firstCounts(std::string_view name) {
  return isOneOf(name, {"URL", "FormattedPrice", "OfferListing"});
}

bool isLeaf(const Element& element) { return !element.texts.empty(); }

const Element* at(const Elements& elements, std::size_t i) {
  return i < elements.size() ? elements[i] : nullptr;
}

// Replacements of pieces of a text, made all at once.
class Edits {
 public:
  explicit Edits(std::string_view text) : text_(text) {}

  void replace(TextRange range, std::string_view by) { edits_.push_back({range, std::string(by)}); }
  void insert(std::size_t at, std::string_view what) { replace({at, at}, what); }

  // Deletes an element with the white space in front of it.
  void cut(const Element& element) {
    replace({blankBefore(text_, element.range.begin).begin, element.range.end}, {});
  }
  void cut(const Element::Attribute& attribute) {
    // The library reads attributes that stand side by side.
    const bool apart = !isNamePart(text_[attribute.range.end]);
    const std::size_t begin = attribute.range.begin;
    replace({apart ? blankBefore(text_, begin).begin : begin, attribute.range.end}, {});
  }

  void rename(const Element& element, std::string_view name) {
    const std::size_t begin = element.range.begin + 1;
    replace({begin, begin + element.name.size()}, name);
    if (element.emptyTag) return;
    const std::size_t end = element.content.end + 2;
    replace({end, end + element.name.size()}, name);
  }

  // Turns <x/> into <x>content</x>.
  void open(const Element& element, std::string_view content) {
    const TextRange blank = blankBefore(text_, element.range.end - 2);
    replace({blank.begin, element.range.end},
            '>' + std::string(content) + "</" + std::string(element.name) + '>');
  }

  std::string apply() {
    std::stable_sort(edits_.begin(), edits_.end(), [](const Edit& a, const Edit& b) {
      return a.range.begin != b.range.begin ? a.range.begin < b.range.begin
                                            : a.range.end < b.range.end;
    });
    std::string out;
    std::size_t at = 0;
    for (const Edit& edit : edits_) {
      // A blank may be deleted with the text in front of it and with the element behind it.
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
      : itemText_(item),
        baseText_(base),
        nextText_(next),
        item_(outlineXml(item)),
        base_(outlineXml(base)),
        next_(outlineXml(next)),
        edits_(item) {}

  std::string merge() {
    mergeElement(item_, &base_, &next_);
    const Element::Attribute* url = item_.attribute("url");
    if (url && !same(base_.child("DetailPageURL"), next_.child("DetailPageURL"))) edits_.cut(*url);
    return edits_.apply();
  }

  std::string strip() {
    stripElement(item_, &base_, &next_);
    return edits_.apply();
  }

 private:
  // Where children go into an element, and what has been put there so far.
  struct Place {
    const Element& parent;
    std::size_t at;
    std::string_view blank;  // goes in front of each, in a text that is indented
    std::string opened;      // the content of what was an empty tag
  };

  bool same(const Element* base, const Element* next) const {
    if (!base || !next) return base == next;
    return base->range.of(baseText_) == next->range.of(nextText_);
  }

  // `next` is null for an element that shall lose all that `base` has in it; `base` for one of
  // which nothing is known.
  void mergeElement(const Element& item, const Element* base, const Element* next) {
    mergeAttributes(item, base, next);
    if ((next && isLeaf(*next)) || (!next && base && isLeaf(*base))) {
      setText(item, next ? next->content.of(nextText_) : std::string_view());
    } else {
      mergeChildren(item, base, next);
    }
  }

  void mergeAttributes(const Element& item, const Element* base, const Element* next) {
    if (next) {
      for (const Element::Attribute& attribute : next->attributes) {
        const std::string_view wanted = attribute.range.of(nextText_);
        const Element::Attribute* before = base ? base->attribute(attribute.name) : nullptr;
        if (before && before->range.of(baseText_) == wanted) continue;
        if (const Element::Attribute* old = item.attribute(attribute.name)) {
          edits_.replace(old->range, wanted);
        } else {
          edits_.insert(item.range.begin + 1 + item.name.size(), ' ' + std::string(wanted));
        }
      }
    }
    if (!base) return;
    for (const Element::Attribute& attribute : base->attributes) {
      const Element::Attribute* old = item.attribute(attribute.name);
      if (old && (!next || !next->attribute(attribute.name))) edits_.cut(*old);
    }
  }

  // Comments and unknown children stay; `content` goes in front of them, where every reader sees
  // it.
  void setText(const Element& item, std::string_view content) {
    if (item.emptyTag) {
      if (!content.empty()) edits_.open(item, content);
      return;
    }
    if (item.children.empty() && !item.hasOthers) {
      edits_.replace(item.content, content);  // with its indentation
      return;
    }
    for (const TextRange& text : item.texts) edits_.replace(text, {});
    for (const Element& child : item.children) {
      if (isReviewPart(item, child)) edits_.cut(child);
    }
    edits_.insert(item.content.begin, content);
  }

  // Deletes an element, or only its text when there is more in it than a record carries.
  void erase(const Element& item) {
    const bool bare = item.attributes.empty() && !item.hasOthers &&
                      std::all_of(item.children.begin(), item.children.end(),
                                  [&](const Element& child) { return isReviewPart(item, child); });
    if (bare) {
      edits_.cut(item);
    } else {
      setText(item, {});
    }
  }

  void mergeChildren(const Element& item, const Element* base, const Element* next) {
    Place place{item, item.content.begin, {}, {}};
    if (!item.children.empty()) place.blank = blankOf(item.children.front());
    const std::vector<Element> none;
    const std::vector<Element>& wanted = next ? next->children : none;
    for (std::size_t i = 0; i < wanted.size(); ++i) {
      const std::string_view name = wanted[i].name;
      if (i > 0 && wanted[i - 1].name == name) continue;
      const Elements news = next->childrenNamed(name);
      const Elements bases = base ? base->childrenNamed(name) : Elements();
      const Elements olds = oldChildren(item, name);
      if (name == "CustomField") {
        mergeSlots(olds, bases, news, place);
      } else if (name == "Offer") {
        mergeOffers(olds, bases, news, place);
      } else if (isListed(name)) {
        mergeList(olds, bases, news, place);
      } else if (!same(at(bases, 0), news[0])) {
        if (olds.empty()) {
          insert(place, *news[0]);
        } else {
          mergeElement(firstCounts(name) ? *olds.front() : *olds.back(), at(bases, 0), news[0]);
          if (name == "EditorialReview") {  // all of them make up one text
            for (std::size_t j = 0; j + 1 < olds.size(); ++j) erase(*olds[j]);
          }
        }
      }
      if (!olds.empty()) moveBehind(place, *olds.back());
    }
    if (!place.opened.empty()) edits_.open(item, place.opened);
    if (base) removeMissing(item, *base, next);
  }

  void removeMissing(const Element& item, const Element& base, const Element* next) {
    for (std::size_t i = 0; i < base.children.size(); ++i) {
      const Element& gone = base.children[i];
      if (i > 0 && base.children[i - 1].name == gone.name) continue;
      if (next && next->child(gone.name)) continue;
      for (const Element* old : oldChildren(item, gone.name)) {
        if (isListed(gone.name)) {
          edits_.cut(*old);  // an empty one would be an entry
        } else if (isLeaf(gone)) {
          erase(*old);
        } else {
          mergeElement(*old, &gone, nullptr);
        }
      }
    }
  }

  // The elements of the item that hold the value which the writer calls `name`.
  static Elements oldChildren(const Element& item, std::string_view name) {
    if (name == "NumberOfItems") {
      // The web service's own name goes before, unless its element is empty.
      const Elements discs = item.childrenNamed("NumberOfDiscs");
      if (!discs.empty() && isLeaf(*discs.back())) return discs;
    }
    return item.childrenNamed(name);
  }

  // The slots are filled by position; trailing ones need not stand in the item.
  void mergeSlots(const Elements& olds, const Elements& bases, const Elements& news, Place& place) {
    std::size_t count = news.size();
    while (count > 0 && same(at(bases, count - 1), news[count - 1])) --count;
    for (std::size_t i = 0; i < count; ++i) {
      if (i >= olds.size()) {
        if (i == olds.size() && i > 0) moveBehind(place, *olds.back());
        insert(place, *news[i]);
      } else if (!same(at(bases, i), news[i])) {
        mergeElement(*olds[i], at(bases, i), news[i]);
      }
    }
    for (std::size_t i = news.size(); i < std::min(bases.size(), olds.size()); ++i) {
      edits_.cut(*olds[i]);
    }
  }

  // Only a first child is read, so that further offers stay unless the record brings its own.
  void mergeOffers(const Elements& olds, const Elements& bases, const Elements& news,
                   Place& place) {
    const bool first = !olds.empty() && olds.front() == &place.parent.children.front();
    if (!same(at(bases, 0), news[0])) {
      if (first) {
        mergeElement(*olds.front(), at(bases, 0), news[0]);
      } else {
        insert(place, *news[0]);
      }
    }
    if (news.size() == 1) return;
    if (first) moveBehind(place, *olds.front());
    for (std::size_t i = 1; i < news.size(); ++i) insert(place, *news[i]);
    for (std::size_t i = first ? 1 : 0; i < olds.size(); ++i) edits_.cut(*olds[i]);
  }

  // Entries that are the same at the head and at the tail of both lists stay. Between them, old
  // ones are turned into new ones in turn, and what is left over is inserted or deleted.
  void mergeList(const Elements& olds, const Elements& bases, const Elements& news, Place& place) {
    // An old element may be no entry, or stand for several.
    const bool aligned = olds.size() == bases.size();
    std::size_t head = 0;
    std::size_t tail = 0;
    if (aligned) {
      const std::size_t shorter = std::min(bases.size(), news.size());
      while (head < shorter && same(bases[head], news[head])) ++head;
      while (tail < shorter - head &&
             same(bases[bases.size() - 1 - tail], news[news.size() - 1 - tail])) {
        ++tail;
      }
    }
    const std::size_t oldEnd = olds.size() - tail;
    const std::size_t newEnd = news.size() - tail;
    std::size_t i = head;
    for (; i < std::min(oldEnd, newEnd); ++i) {
      const Element* base = aligned ? bases[i] : nullptr;
      if (isLeaf(*news[i]) || (base && isSameEntry(*base, *news[i]))) {
        mergeElement(*olds[i], base, news[i]);
      } else {
        edits_.replace(olds[i]->range, news[i]->range.of(nextText_));
      }
    }
    if (i > 0 && i < newEnd) {
      moveBehind(place, *olds[i - 1]);
    } else if (!olds.empty() && i < newEnd) {
      place.blank = blankOf(*olds.front());
      place.at = olds.front()->range.begin - place.blank.size();
    }
    for (std::size_t j = i; j < newEnd; ++j) insert(place, *news[j]);
    for (std::size_t j = i; j < oldEnd; ++j) edits_.cut(*olds[j]);
  }

  // Whether two reviews or discs are versions of one: they share a text that tells them from
  // others.
  bool isSameEntry(const Element& base, const Element& next) const {
    return std::any_of(next.children.begin(), next.children.end(), [&](const Element& child) {
      if (child.name == "Rating") return false;
      const Elements bases = base.childrenNamed(child.name);
      return std::any_of(bases.begin(), bases.end(),
                         [&](const Element* other) { return same(other, &child); });
    });
  }

  void stripElement(const Element& item, const Element* base, const Element* next) {
    for (const Element& child : item.children) {
      const bool furtherOffer = child.name == "Offer" && &child != &item.children.front();
      if (furtherOffer || child.name == "Tessaron") continue;
      const std::string_view name = child.name == "NumberOfDiscs" ? "NumberOfItems" : child.name;
      const Element* inBase = base ? base->child(name) : nullptr;
      const Element* inNext = next ? next->child(name) : nullptr;
      const Element* known = inNext ? inNext : inBase;
      if (!known) continue;
      if (isListed(name) || name == "CustomField") {
        edits_.cut(child);
      } else if (isLeaf(*known)) {
        erase(child);
      } else {
        stripElement(child, inBase, inNext);
      }
    }
  }

  std::string_view blankOf(const Element& element) const {
    return blankBefore(itemText_, element.range.begin).of(itemText_);
  }

  void moveBehind(Place& place, const Element& element) {
    place.at = element.range.end;
    place.blank = blankOf(element);
  }

  void insert(Place& place, const Element& next) {
    const std::string_view text = next.range.of(nextText_);
    if (place.parent.emptyTag) {
      place.opened += text;
    } else {
      edits_.insert(place.at, std::string(place.blank) += text);
    }
  }

  std::string_view itemText_;
  std::string_view baseText_;
  std::string_view nextText_;
  Element item_;
  Element base_;
  Element next_;
  Edits edits_;
};

}  // namespace

std::string mergeItem(std::string_view item, std::string_view base, std::string_view next) {
  return Merger(item, base, next).merge();
}

std::string stripItem(std::string_view item, std::string_view base, std::string_view next) {
  return Merger(item, base, next).strip();
}

std::string detailsToItem(std::string_view details) {
  const Element element = outlineXml(details);
  Edits edits(details);
  edits.rename(element, "Item");
  for (const Element& child : element.children) {
    const auto named = [&](const auto& known) { return known.name == child.name; };
    const bool isText = std::any_of(kDetailsTexts.begin(), kDetailsTexts.end(), [&](auto& known) {
      return named(known) && known.member && known.member != &CRecord::Notes;
    });
    if (isText || std::any_of(kDetailsLists.begin(), kDetailsLists.end(), named)) edits.cut(child);
    if (child.name != "Reviews") continue;
    edits.rename(child, "CustomerReviews");
    for (const Element& part : child.children) {
      if (part.name == "AvgCustomerRating") edits.rename(part, "AverageRating");
      if (part.name == "TotalCustomerReviews") edits.rename(part, "TotalReviews");
      if (part.name != "CustomerReview") continue;
      edits.rename(part, "Review");
      for (const Element* comment : part.childrenNamed("Comment")) {
        edits.rename(*comment, "Content");
      }
    }
  }
  return edits.apply();
}

}  // namespace tessaron
