#include "catalogue/recovery.h"

#include <algorithm>
#include <array>
#include <iterator>
#include <optional>
#include <utility>

#include "catalogue/edit.h"
#include "records/item_rule.h"
#include "support/text.h"
#include "support/xml/encoding.h"
#include "support/xml/scanner.h"

namespace tessaron {
namespace {

using Token = XmlScanner::Token;

constexpr std::size_t npos = std::string_view::npos;

struct Section {
  std::string_view opening;
  std::string_view closing;
};
constexpr std::array kSections = {Section{"<!--", "-->"}, Section{"<![CDATA[", "]]>"}};

// Whether the start tag of an item could stand at `at`.
bool isItemTag(std::string_view text, std::size_t at) {
  const std::string_view rest = text.substr(at);
  for (const std::string_view tag : {"<Item", "<Details"}) {
    if (!rest.starts_with(tag) || rest.size() == tag.size()) continue;
    if (std::string_view(" \t\r\n/>").find(rest[tag.size()]) != npos) return true;
  }
  return false;
}

std::size_t findItemTag(std::string_view text, std::size_t at) {
  while ((at = text.find('<', at)) != npos && !isItemTag(text, at)) ++at;
  return at;
}

// The first comment or CDATA section in a part without a fault that swallows an item, because its
// own end is damaged and that of another one is taken for it; npos when there is none.
std::size_t findSwallower(std::string_view text, TextRange part) {
  const std::string_view content = part.of(text);
  for (const auto& [opening, closing] : kSections) {
    std::size_t begin = 0;
    while ((begin = content.find(opening, begin)) != npos) {
      const std::size_t end =
          std::min(content.find(closing, begin + opening.size()), content.size());
      const std::string_view section = content.substr(begin, end - begin);
      if (section.find(opening, 1) != npos && findItemTag(section, 1) != npos) {
        return part.begin + begin;
      }
      begin = end;
    }
  }
  return npos;
}

// Whether a text of an unknown encoding may be UTF-8 with a few damaged bytes: invalid ones are
// fewer than its other characters above 127, or a fiftieth of the text at most.
bool isMostlyUtf8(std::string_view text) {
  constexpr std::size_t kInvalidShare = 50;
  std::size_t invalid = 0, wide = 0;
  for (std::size_t at = 0; at < text.size();) {
    const std::size_t begin = at;
    bool wellFormed = false;
    nextUtf8(text, at, &wellFormed);
    if (!wellFormed) ++invalid;
    if (at > begin + 1) ++wide;
  }
  return invalid < wide || invalid * kInvalidShare <= text.size();
}

// Walks over a text as XmlScanner does, but takes an item in one step.
class ItemScanner {
 public:
  explicit ItemScanner(std::string_view text) : scanner_(text) {}

  // See XmlScanner::resume. Where the root's "Items" is open, an "Item" is an item.
  void resume(std::size_t at, const std::vector<std::string_view>& open) {
    scanner_.resume(at, open);
    rule_.resume(open.size() == 2 && open.back() == "Items");
  }

  Token next() {
    Token token = scanner_.next();
    begin_ = scanner_.begin();
    version_ = rule_.versionAt(scanner_, token);
    if (version_ == 0) rule_.pass(scanner_, token);
    if (version_ == 0 || token == Token::Empty) return token;
    const std::size_t parents = scanner_.depth() - 1;
    while (scanner_.depth() > parents && token != Token::Error) token = scanner_.next();
    return token;
  }

  // Whether an item was taken. It may have ended in an error.
  bool isItem() const { return version_ != 0; }
  int version() const { return version_; }
  std::size_t begin() const { return begin_; }
  std::size_t end() const { return scanner_.end(); }  // of a broken item: the place of the error
  std::string_view name() const { return scanner_.name(); }
  std::size_t depth() const { return scanner_.depth(); }
  const XmlError& error() const { return scanner_.error(); }
  std::size_t errorToken() const { return scanner_.errorToken(); }

 private:
  XmlScanner scanner_;
  ItemRule rule_;
  std::size_t begin_ = 0;
  int version_ = 0;
};

// Finds the whole items of a text and puts them together anew.
class Salvager {
 public:
  // An item with one of the bad places of `document` is not whole. Keeps a reference.
  explicit Salvager(const DecodedXml& document)
      : document_(document), text_(document.text), scanner_(text_), probe_(text_) {}

  void run() {
    for (;;) {
      const Token token = scanner_.next();
      if (token == Token::Finished) break;
      const bool isRoot = token == Token::Start && scanner_.depth() == 1;
      const bool lostRoot = isRoot && scanner_.name() == "Items";
      if (isRoot && !lostRoot && rootTagEnd_ == 0) {
        root_ = scanner_.name();
        rootTagEnd_ = scanner_.end();
      }
      const TextRange range{scanner_.begin(), scanner_.end()};
      XmlError fault = scanner_.error();
      std::size_t sound = scanner_.errorToken();  // up to here there is no fault, if there is one
      const std::size_t swallower = findSwallowerIn(token, range, sound);
      if (swallower == npos && token != Token::Error && !lostRoot) {
        const bool bad = tellBadPlace(range.begin, range.end);
        if (!scanner_.isItem()) continue;
        if (bad) {
          leaveOut(range);
        } else {
          take(range);
        }
        continue;
      }
      if (lostRoot) {
        sound = fault.offset = range.begin;
        fault.kind = XmlError::Kind::BadTag;
        fault.message = "\"Items\" without an element around it";
      } else if (swallower != npos) {
        sound = swallower;
        fault.kind = XmlError::Kind::UnexpectedEnd;
        fault.offset = sound;
        fault.message = "markup that runs on into an item, because its own end is damaged";
      }
      faults_.push_back({std::move(fault), sound});
      const std::size_t next = nextCandidate(range.begin, sound);
      tellBadPlace(range.begin, std::min(next, text_.size()));
      if (next == npos) break;
      resumeAt(next);
    }
  }

  std::size_t items() const { return items_.size(); }

  // The faults, with line and column, in the order of the text.
  std::vector<Recovery::Fault> faults() const {
    std::vector<Recovery::Fault> out;
    for (const Pending& pending : faults_) out.push_back({pending.fault, 0});
    for (const std::size_t place : badPlaces_) {
      out.push_back({document_.error, 0});
      out.back().fault.offset = place;
    }
    const auto offset = [](const Recovery::Fault& fault) { return fault.fault.offset; };
    std::stable_sort(out.begin(), out.end(),
                     [&](const auto& a, const auto& b) { return offset(a) < offset(b); });
    out.erase(std::unique(out.begin(), out.end(),
                          [&](const auto& a, const auto& b) { return offset(a) == offset(b); }),
              out.end());
    // One pass: a text of one long line may have many faults.
    std::size_t line = 1, column = 1, at = 0;
    for (auto& [fault, itemsBehind] : out) {
      while (at < fault.offset) {
        const bool lineEnd = text_[at] == '\n';
        nextUtf8(text_, at);
        line += lineEnd ? 1 : 0;
        column = lineEnd ? 1 : column + 1;
      }
      fault.line = line;
      fault.column = column;
      itemsBehind = static_cast<std::size_t>(
          items_.end() - std::lower_bound(items_.begin(), items_.end(), fault.offset,
                                          [](const TextRange& item, std::size_t place) {
                                            return item.begin < place;
                                          }));
    }
    return out;
  }

  // Whether all is as it was, except for bad places outside of the items.
  bool isWhole() const { return faults_.empty() && !leftOut_; }

  // Whether `text` begins as the damaged text does.
  bool keepsHead() const { return rootTagEnd_ != 0; }

  // The items with all that stands between them without a fault.
  std::string text() const {
    std::string out;
    std::string_view root = root_;
    bool inItems = false;
    std::size_t i = 0;
    if (!runs_.empty() && runs_.front().head) {
      out = runs_.front().text.of(text_);
      inItems = runs_.front().endsInItems;
      i = 1;
    } else if (keepsHead()) {
      out = text_.substr(0, rootTagEnd_);
    } else {
      const std::string frame = emptyCollection();
      out = frame.substr(0, frame.find("<Items"));
      root = "PriceTracker";
    }
    for (; i < runs_.size(); ++i) {
      const Run& run = runs_[i];
      out += '\n';
      if (run.startsInItems != inItems) out += inItems ? "</Items>" : "<Items>";
      out += run.text.of(text_);
      inItems = run.endsInItems;
    }
    if (inItems) out += "</Items>";
    return out.append("</").append(root) += '>';
  }

 private:
  struct Pending {
    XmlError fault;
    std::size_t token;  // where the token with the fault begins
  };
  // Text without a fault, from its first item (or the head of the text) to the end of its last one.
  struct Run {
    TextRange text;
    bool head;
    bool startsInItems;
    bool endsInItems;
  };

  // As `findSwallower`, for what the scanner has come upon.
  std::size_t findSwallowerIn(Token token, TextRange range, std::size_t sound) const {
    if (scanner_.isItem()) {
      if (token == Token::Error) range.end = sound;
      return findSwallower(text_, range);
    }
    if (token == Token::Comment || token == Token::CData) return findSwallower(text_, range);
    const bool bare = token == Token::Declaration || token == Token::Other;
    return bare && findItemTag(range.of(text_), 1) != npos ? range.begin : npos;
  }

  // The root's name, if need be that of the text's last end tag.
  std::string_view rootName() const { return root_.empty() ? lastEndTag() : root_; }

  std::string_view lastEndTag() const {
    const std::size_t begin = text_.rfind("</");
    if (begin == npos) return {};
    const std::string_view name = text_.substr(begin + 2);
    return name.substr(0, name.find_first_of("> \t\r\n"));
  }

  void take(TextRange item) {
    const bool inItems = scanner_.version() == 4;
    if (!hasItem_) runs_.push_back({{begin_, item.end}, isHead_, startsInItems_, inItems});
    hasItem_ = true;
    runs_.back().text.end = item.end;
    runs_.back().endsInItems = inItems;
    items_.push_back(item);
    // A fault that shows only behind a whole item has its place in front of that.
    for (; settled_ < faults_.size(); ++settled_) {
      auto& [fault, token] = faults_[settled_];
      if (fault.offset <= item.begin) continue;
      fault.offset = std::min(token, item.begin);
      fault.message = token < item.begin ? "markup that does not end before the next item begins"
                                         : "the item in front of this one does not end";
    }
  }

  // Tells the first bad place from `begin` to `end`, if there is one.
  bool tellBadPlace(std::size_t begin, std::size_t end) {
    const auto& places = document_.badPlaces;
    const auto place = std::lower_bound(places.begin(), places.end(), begin);
    if (place == places.end() || *place >= end) return false;
    badPlaces_.push_back(*place);
    return true;
  }

  // Goes on behind an item that is damaged, but not in its markup.
  void leaveOut(TextRange item) {
    leftOut_ = true;
    open_ = {rootName()};
    startsInItems_ = scanner_.version() == 4;
    if (startsInItems_) open_.push_back("Items");
    isHead_ = hasItem_ = false;
    begin_ = item.end;
  }

  // Reads on at the start tag of an item, as if everything around it were in order.
  void resumeAt(std::size_t item) {
    open_ = {rootName()};
    if (nameAt(item) == "Item") open_.push_back("Items");
    scanner_.resume(item, open_);
    startsInItems_ = open_.size() == 2;
    isHead_ = hasItem_ = false;
    begin_ = item;
  }

  bool isTaken(std::size_t at) const {
    const auto behind = std::upper_bound(
        items_.begin(), items_.end(), at,
        [](std::size_t place, const TextRange& item) { return place < item.begin; });
    return behind != items_.begin() && at < std::prev(behind)->end;
  }

  // Takes back the items of the current run behind `at`: they were found in a wrong structure.
  void giveBack(std::size_t at) {
    while (hasItem_ && items_.back().begin > at) {
      items_.pop_back();
      hasItem_ = !items_.empty() && items_.back().begin >= begin_;
      if (!hasItem_) {
        runs_.pop_back();
      } else {
        runs_.back().text.end = items_.back().end;
        runs_.back().endsInItems = nameAt(items_.back().begin) == "Item";
      }
    }
  }

  // Where an item may begin that was not recognized before the fault. `begin` is that of the faulty
  // item, when the fault is in one.
  std::size_t nextCandidate(std::size_t begin, std::size_t sound) {
    const bool inItem = scanner_.isItem();
    const std::size_t from = inItem ? begin + 1 : begin_;
    const std::string_view item = inItem ? nameAt(begin) : std::string_view();
    std::optional<std::size_t> found = candidateBefore(sound, from, item);
    // What is open where the items end has swallowed others, in whatever part of it. At the end of
    // the text it may be open because the rest is missing.
    const XmlError::Kind kind = scanner_.error().kind;
    const bool pastItems = kind == XmlError::Kind::MismatchedEnd &&
                           (isEndTag(sound, "Items") || isEndTag(sound, rootName()));
    if (!found && pastItems) {
      found = candidateBefore(sound, from, {}, true);
    } else if (!found && kind == XmlError::Kind::UnexpectedEnd) {
      found = candidateBefore(sound, from, item, true);
    }
    if (found && !inItem) {
      giveBack(*found);
      if (items_.empty()) loseRoot(*found);
    }
    return found ? *found : nextItemTag(std::max(sound, isHead_ ? 0 : begin_ + 1));
  }

  // The root is none when one that is not closed holds another, which its end tag names.
  void loseRoot(std::size_t item) {
    const std::string_view last = lastEndTag();
    if (root_.empty() || root_ == last || last.empty()) return;
    if (findTag(last, rootTagEnd_) >= item) return;
    root_ = {};
    rootTagEnd_ = 0;
  }

  std::size_t findTag(std::string_view name, std::size_t at) const {
    while ((at = text_.find(name, at)) != npos && text_[at - 1] != '<') ++at;
    return at;
  }

  bool isEndTag(std::size_t at, std::string_view name) const {
    const std::string_view rest = text_.substr(at);
    return rest.starts_with("</") && rest.substr(2).starts_with(name);
  }

  // In the text without a fault from `begin_` to `end`: the first item behind `from` whose parent
  // is not closed there. An element that was closed has been judged as a whole, but one that stays
  // open has lost its end, and what follows it only seems to stand in it. `item` is the name of the
  // faulty item. With `closed` those in closed elements count, too: in any part of what is open
  // below the root, in a second root, or anywhere when there is no item yet.
  std::optional<std::size_t> candidateBefore(std::size_t end, std::size_t from,
                                             std::string_view item, bool closed = false) {
    struct Open {
      std::string_view name;
      std::size_t candidates;  // how many there were when it was opened
      std::size_t begin;
    };
    std::vector<Open> open;
    for (const std::string_view name : open_) open.push_back({name, 0, npos});
    std::vector<std::size_t> candidates;
    bool isFirst = true;
    std::size_t inRoot = npos;  // how many candidates there were at a second root
    probe_.resume(begin_, open_);
    while (probe_.end() < end) {
      const Token token = probe_.next();
      if (token == Token::Finished || token == Token::Error || probe_.begin() >= end) break;
      if (token == Token::End) {
        if (!closed) candidates.resize(open.back().candidates);
        open.pop_back();
      } else if (token == Token::Start || token == Token::Empty) {
        const std::string_view parent = open.empty() ? std::string_view() : open.back().name;
        const bool inside = probe_.begin() >= from;
        // An item that begins with the items was not one.
        if (inside && std::exchange(isFirst, false) && probe_.name() == "Items") item = {};
        if (closed && inside && !open.empty() && probe_.name() == rootName()) {
          inRoot = std::min(inRoot, candidates.size());
          item = {};
        }
        if (inside && isPlausible(item, parent, probe_.name()) && !isTaken(probe_.begin())) {
          candidates.push_back(probe_.begin());
        }
        if (token == Token::Start)
          open.push_back({probe_.name(), candidates.size(), probe_.begin()});
      }
    }
    std::size_t first = 0;
    if (closed && !scanner_.isItem() && !items_.empty()) {
      first = std::min(inRoot, open.size() > 1 ? open[1].candidates : npos);
    }
    // A root without an end is no item.
    if (first < candidates.size() && !open.empty() && candidates[first] == open[0].begin) ++first;
    if (first >= candidates.size()) return std::nullopt;
    return candidates[first];
  }

  // Whether an element in a faulty item, or outside of all items, can be an item of its own.
  static bool isPlausible(std::string_view item, std::string_view parent, std::string_view name) {
    if (item == "Item" && name == "Item") return parent != "Items";
    return name == "Item" || name == "Details";
  }

  std::string_view nameAt(std::size_t tag) const {
    return text_.substr(tag).starts_with("<Item") ? "Item" : "Details";
  }

  // Where the next item could begin, at or behind `at`. Comments and CDATA sections are skipped,
  // unless one seems to run on into another because its own end is damaged.
  std::size_t nextItemTag(std::size_t at) {
    for (; (at = text_.find('<', at)) != npos; ++at) {
      if (isItemTag(text_, at)) return at;
      for (std::size_t i = 0; i < kSections.size(); ++i) {
        const auto& [opening, closing] = kSections[i];
        if (!text_.substr(at).starts_with(opening)) continue;
        const std::size_t end = sectionEnds_[i].find(text_, closing, at + opening.size());
        const bool skip = end != npos && text_.substr(at + 1, end - at).find(opening) == npos;
        if (skip) at = end;
        break;
      }
    }
    return npos;
  }

  const DecodedXml& document_;
  std::string_view text_;
  ItemScanner scanner_;
  XmlScanner probe_;
  std::array<TextSearch, kSections.size()> sectionEnds_;
  std::string_view root_;
  std::size_t rootTagEnd_ = 0;
  bool leftOut_ = false;  // an item with a bad place
  std::vector<TextRange> items_;
  std::vector<Run> runs_;
  std::vector<Pending> faults_;
  std::vector<std::size_t> badPlaces_;
  std::size_t settled_ = 0;  // how many faults have their final place
  // The current run:
  bool isHead_ = true;
  bool hasItem_ = false;
  bool startsInItems_ = false;
  std::size_t begin_ = 0;
  std::vector<std::string_view> open_;  // elements that are open at its begin
};

}  // namespace

Recovery recover(std::string_view damaged) {
  const DecodedXml document = decodeXml(std::string(damaged));
  Recovery recovery;
  const bool unknown = document.error.kind == XmlError::Kind::UnknownEncoding;
  // The name of an encoding may be damaged like anything else.
  if (unknown && !isMostlyUtf8(document.text)) {
    recovery.text = emptyCollection();
    recovery.faults.push_back({document.error, 0});
    return recovery;
  }
  Salvager salvager(document);
  salvager.run();
  recovery.items = salvager.items();
  recovery.faults = salvager.faults();
  if (unknown) recovery.faults.insert(recovery.faults.begin(), {document.error, recovery.items});
  if (recovery.faults.empty()) {
    recovery.text = damaged;
    return recovery;
  }
  const bool whole = salvager.isWhole();
  recovery.text = whole ? document.text : salvager.text();
  if (recovery.items == 0) {
    recovery.text = emptyCollection();
  } else if (whole || salvager.keepsHead()) {
    declareUtf8(document, recovery.text);
    if (document.marked) recovery.text.insert(0, "\xEF\xBB\xBF");
  }
  return recovery;
}

}  // namespace tessaron
