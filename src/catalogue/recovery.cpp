#include "catalogue/recovery.h"

#include <algorithm>
#include <array>
#include <iterator>
#include <memory>
#include <optional>
#include <string>
#include <utility>

#include "catalogue/candidates_internal.h"
#include "catalogue/collection_file_internal.h"
#include "catalogue/file_text_internal.h"
#include "catalogue/file_tokens_internal.h"
#include "catalogue/recovery_tags_internal.h"
#include "catalogue/utf8_copy_internal.h"
#include "records/item_rule.h"
#include "support/text.h"

namespace tessaron {
namespace {

using Kind = XmlError::Kind;
using Token = XmlScanner::Token;

constexpr std::uint64_t npos = FileText::npos;
constexpr std::string_view kReplacement = "\xEF\xBF\xBD";

XmlError errorAt(std::uint64_t offset, Kind kind, std::string message) {
  XmlError error;
  error.kind = kind;
  error.offset = static_cast<std::size_t>(offset);
  error.message = std::move(message);
  return error;
}

// Calls `take` with the text from `from` to before `to`, in blocks that end between characters.
// False when it does.
template <typename Take>
bool forEachBlock(FileText& text, std::uint64_t from, std::uint64_t to, Take take) {
  constexpr std::size_t kMinBlock = 4;
  while (from < to) {
    std::string_view block = text.view(from, kMinBlock);
    if (block.empty()) return false;
    const bool isLast = block.size() >= to - from;
    if (isLast) block = block.substr(0, static_cast<std::size_t>(to - from));
    std::size_t cut = block.size();
    const std::size_t first = cut - std::min(cut, kMinBlock - 1);
    if (!isLast && from + cut < text.size()) {
      while (cut > first && (static_cast<unsigned char>(block[cut - 1]) & 0xC0) == 0x80) --cut;
      if (cut > first && static_cast<unsigned char>(block[cut - 1]) >= 0xC0) --cut;
      if (cut == first) cut = block.size();
    }
    if (!take(block.substr(0, cut))) return false;
    from += cut;
  }
  return true;
}

// The text with U+FFFD in the place of each kBadByte.
std::string withoutBadBytes(std::string_view text) {
  std::string out;
  for (std::size_t bad = 0; (bad = text.find(kBadByte)) != text.npos;) {
    out.append(text.substr(0, bad)) += kReplacement;
    text.remove_prefix(bad + 1);
  }
  return out += text;
}

// Whether a text of an unknown encoding may be UTF-8 with a few damaged bytes: invalid ones are
// fewer than its other characters above 127, or a fiftieth of the text at most.
bool isMostlyUtf8(FileText& text) {
  constexpr std::uint64_t kInvalidShare = 50;
  std::uint64_t invalid = 0, wide = 0;
  forEachBlock(text, 0, text.size(), [&](std::string_view block) {
    for (std::size_t at = 0; at < block.size();) {
      const std::size_t begin = at;
      bool wellFormed = false;
      nextUtf8(block, at, &wellFormed);
      if (!wellFormed) ++invalid;
      if (at > begin + 1) ++wide;
    }
    return true;
  });
  return invalid < wide || invalid * kInvalidShare <= text.size();
}

// Walks over a text as FileTokens does, but takes an item in one step.
class ItemTokens {
 public:
  // With `hasBadBytes` the text may have a kBadByte.
  ItemTokens(FileText& text, bool hasBadBytes) : tokens_(text), hasBadBytes_(hasBadBytes) {}

  // See XmlScanner::resume. Where the root's "Items" is open, an "Item" is an item.
  void resume(std::uint64_t at, const std::vector<std::string>& open) {
    tokens_.resume(at, open);
    rule_.resume(open.size() == 2 && open.back() == "Items");
  }

  Token next() {
    badByte_ = npos;
    mayHaveSwallower_ = false;
    Token token = nextToken();
    begin_ = tokens_.begin();
    error_ = {};
    version_ = rule_.versionAt(scanner(), token);
    if (version_ == 0) rule_.pass(scanner(), token);
    if (version_ != 0 && token != Token::Empty) {
      const std::size_t parents = scanner().depth() - 1;
      while (token != Token::Error && scanner().depth() > parents) {
        token = nextToken();
        if (token == Token::Error || tokens_.end() - begin_ <= ItemStream::kMaxItem) continue;
        error_ = errorAt(tokens_.begin(), Kind::TooLarge, "an item of more than 64 MiB");
        errorToken_ = tokens_.begin();
        return Token::Error;
      }
    }
    if (token == Token::Error) {
      error_ = tokens_.error();
      errorToken_ = tokens_.errorToken();
    }
    return token;
  }

  // Whether an item was taken. It may have ended in an error.
  bool isItem() const { return version_ != 0; }
  int version() const { return version_; }
  std::uint64_t begin() const { return begin_; }
  std::uint64_t end() const { return tokens_.end(); }  // of a broken item: the place of the error
  const XmlScanner& scanner() const { return tokens_.scanner(); }
  const XmlError& error() const { return error_; }
  std::uint64_t errorToken() const { return errorToken_; }
  // The first kBadByte; npos when there is none.
  std::uint64_t badByte() const { return badByte_; }
  // Whether a section may begin in a token, not only at its start.
  bool mayHaveSwallower() const { return mayHaveSwallower_; }

 private:
  Token nextToken() {
    const Token token = tokens_.next();
    if (token == Token::Error) return token;
    if (hasBadBytes_ && badByte_ == npos)
      badByte_ = tokens_.findInToken(std::string_view(&kBadByte, 1), tokens_.begin());
    if (token != Token::Text && token != Token::End && !mayHaveSwallower_)
      mayHaveSwallower_ = tokens_.findInToken("<!", tokens_.begin() + 1) != npos;
    return token;
  }

  FileTokens tokens_;
  ItemRule rule_;
  bool hasBadBytes_;
  std::uint64_t begin_ = 0;
  int version_ = 0;
  XmlError error_;
  std::uint64_t errorToken_ = 0;
  std::uint64_t badByte_ = npos;
  bool mayHaveSwallower_ = false;
};

// Where a search for candidates starts.
struct SearchStart {
  std::uint64_t from;
  std::vector<std::string> open;  // elements that are open there
  bool inItem;                    // a damaged item begins there
  WholeItems whole;               // the whole items in front of it
};

// Walks over text without an error and collects elements that may be items which were not
// recognized; see Salvager::candidateBefore.
class CandidateSearch {
 public:
  CandidateSearch(FileTokens& probe, const SearchStart& start, std::string_view root,
                  std::string_view item, bool closed)
      : probe_(probe),
        from_(start.from),
        inItem_(start.inItem),
        whole_(start.whole),
        root_(root),
        item_(item),
        closed_(closed),
        candidates_(closed, start.open) {
    rule_.resume(start.open.size() == 2 && start.open.back() == "Items");
    probe_.resume(from_, start.open);
  }

  // The result of Candidates::first for the text up to `end`.
  std::optional<Candidate> run(std::uint64_t end, bool behindItems) {
    while (probe_.end() < end) {
      const Token token = probe_.next();
      if (token == Token::Finished || token == Token::Error || probe_.begin() >= end) break;
      if (token != Token::Start && token != Token::Empty && token != Token::End) continue;
      if (version_ == 0 && !inItem_) trackItem(token);
      if (token == Token::End) {
        candidates_.close();
      } else {
        openElement(token);
      }
      if (version_ != 0 && probe_.scanner().depth() == parents_) endItem();
    }
    return candidates_.first(behindItems);
  }

 private:
  // Recognizes the start of an item.
  void trackItem(Token token) {
    const XmlScanner& scanner = probe_.scanner();
    version_ = rule_.versionAt(scanner, token);
    if (version_ == 0) return rule_.pass(scanner, token);
    parents_ = scanner.depth() - (token == Token::Start ? 1 : 0);
    candidates_.beginItem();
  }

  void endItem() {
    candidates_.endItem();
    whole_ = {whole_.count + 1, probe_.end(), version_ == 4};
    version_ = 0;
  }

  void openElement(Token token) {
    const std::string_view name = probe_.scanner().name();
    if (!inItem_ || probe_.begin() > from_) judge(name);
    if (token == Token::Start) candidates_.open(name, probe_.begin());
  }

  // Adds an element in a damaged item, or outside of all items, that can be an item of its own.
  void judge(std::string_view name) {
    // An item that begins with the items was not one.
    if (std::exchange(isFirst_, false) && name == "Items") item_ = {};
    if (closed_ && !candidates_.isEmpty() && name == root_) {
      candidates_.beginRoot();
      item_ = {};
    }
    const bool isNested = item_ == "Item" && name == "Item";
    const bool isPlausible =
        isNested ? candidates_.parent() != "Items" : name == "Item" || name == "Details";
    if (isPlausible) candidates_.add({probe_.begin(), whole_});
  }

  FileTokens& probe_;
  std::uint64_t from_;
  bool inItem_;
  WholeItems whole_;
  std::string_view root_;
  std::string_view item_;
  bool closed_;
  Candidates candidates_;
  ItemRule rule_;
  int version_ = 0;  // of the item that contains the probe
  std::size_t parents_ = 0;
  bool isFirst_ = true;
};

// Finds the whole items of a text and writes them, with all text between them that has no
// error. A run is text without an error, from its first item (or the head of the text) to the end
// of its last one. It is written as soon as it has ended: what follows cannot change it any more.
class Salvager {
 public:
  Salvager(FileText& text, const XmlDecoder& decoder, const TextSink& sink)
      : text_(text),
        decoder_(decoder),
        sink_(sink),
        items_(text, !decoder.isPlain()),
        probe_(text),
        isMarked_(decoder.isMarked()) {
    // A bad byte of the text is shorter than one that the decoder has put there.
    std::string head(decoder.encodingName().end + 1, '\0');
    head.resize(text.read(0, head.data(), head.size()));
    if (decoder.isReencoded()) encodingName_ = findEncodingName(head);
  }

  // False when the sink refused.
  bool run() {
    for (;;) {
      const Token token = items_.next();
      if (token == Token::Finished) break;
      if (!step(token)) break;
      if (isRefused_) return false;
    }
    return finish();
  }

  std::size_t items() const { return closedItems_; }
  // Whether all is as it was, except for bad bytes outside of the items. Nothing is written then.
  bool isWhole() const { return isWhole_; }
  bool writeWhole() { return copyHead(text_.size()); }
  // Adds the errors in the order of the text, with line and column.
  void addErrors(Recovery& recovery);

 private:
  struct Pending {
    XmlError error;
    std::uint64_t token;      // where the token with the error begins
    std::size_t itemsBefore;  // how many saved items begin before its place
  };

  bool step(Token token);
  bool goOn(XmlError error, std::uint64_t begin, std::uint64_t sound);
  bool finish();

  // As `findSwallower`, for what `items_` has read.
  std::uint64_t findSwallowerIn(Token token, std::uint64_t sound) {
    const std::uint64_t begin = items_.begin();
    if (items_.isItem() || token == Token::Comment || token == Token::CData) {
      if (!items_.mayHaveSwallower()) return npos;
      return findSwallower(text_, begin, token == Token::Error ? sound : items_.end());
    }
    const bool bare = token == Token::Declaration || token == Token::Other;
    return bare && findItemTag(text_, begin + 1, items_.end()) != npos ? begin : npos;
  }

  // The root's name, if need be that of the text's last end tag.
  const std::string& rootName() { return root_.empty() ? lastEndTag() : root_; }

  const std::string& lastEndTag() {
    if (lastEndTag_) return *lastEndTag_;
    constexpr std::size_t kMaxName = 4096;
    const std::uint64_t begin = text_.findLast("</");
    std::string_view name;
    if (begin != npos) name = text_.view(begin + 2, kMaxName);
    return lastEndTag_.emplace(name.substr(0, name.find_first_of("> \t\r\n")));
  }

  void addError(XmlError error, std::uint64_t token) {
    if (errors_.size() < Recovery::kMaxFaults) {
      errors_.push_back({std::move(error), token, closedItems_ + run_.count});
    } else {
      ++furtherErrors_;
    }
  }

  void take(std::uint64_t begin, std::uint64_t end);
  bool tellBadByte(std::uint64_t place);
  void startRun(std::uint64_t begin, std::vector<std::string> open);
  std::uint64_t nextCandidate(std::uint64_t begin, std::uint64_t sound);
  std::optional<Candidate> candidateBefore(std::uint64_t end, std::string_view item, bool closed);
  void loseRoot(std::uint64_t item);
  std::uint64_t nextItemTag(std::uint64_t at);

  bool isEndTag(std::uint64_t at, std::string_view name) {
    return text_.startsWith(at, "</") && text_.startsWith(at + 2, name);
  }
  std::string_view nameAt(std::uint64_t tag) {
    return text_.startsWith(tag, "<Item") ? "Item" : "Details";
  }

  bool write(std::string_view text) {
    isRefused_ = isRefused_ || !sink_(text);
    return !isRefused_;
  }
  bool copy(std::uint64_t from, std::uint64_t to);
  bool copyHead(std::uint64_t to);
  bool writeRun();
  bool writeFrame();

  FileText& text_;
  const XmlDecoder& decoder_;
  const TextSink& sink_;
  ItemTokens items_;
  FileTokens probe_;
  std::array<FileSearch, kSections.size()> sectionEnds_;
  std::string root_;
  std::uint64_t rootTagEnd_ = 0;
  std::optional<std::string> lastEndTag_;
  bool leftOut_ = false;  // an item with a bad byte
  bool isWhole_ = false;
  std::vector<Pending> errors_;
  std::vector<Pending> badPlaces_;
  std::size_t furtherErrors_ = 0;
  std::size_t settled_ = 0;  // how many errors have their final place
  // The current run:
  bool isHead_ = true;
  std::uint64_t begin_ = 0;
  std::vector<std::string> open_;  // elements that are open at its begin
  WholeItems run_;
  // What is written:
  bool isMarked_;
  TextRange encodingName_;
  std::string outRoot_;  // empty before the first run
  bool outInItems_ = false;
  std::size_t closedItems_ = 0;
  bool isRefused_ = false;
};

// Takes what `items_` has read. False at the end.
bool Salvager::step(Token token) {
  const bool isRoot = token == Token::Start && !items_.isItem() && items_.scanner().depth() == 1;
  const bool lostRoot = isRoot && items_.scanner().name() == "Items";
  if (isRoot && !lostRoot && rootTagEnd_ == 0) {
    root_ = items_.scanner().name();
    rootTagEnd_ = items_.end();
  }
  const std::uint64_t begin = items_.begin();
  const std::uint64_t sound = items_.errorToken();  // up to here nothing is wrong, after an error
  if (lostRoot)
    return goOn(errorAt(begin, Kind::BadTag, "\"Items\" without an element around it"), begin,
                begin);
  if (const std::uint64_t swallower = findSwallowerIn(token, sound); swallower != npos) {
    return goOn(errorAt(swallower, Kind::UnexpectedEnd,
                        "markup that runs on into an item, because its own end is damaged"),
                begin, swallower);
  }
  if (token == Token::Error) return goOn(items_.error(), begin, sound);
  const bool isBad = tellBadByte(items_.badByte());
  if (!items_.isItem()) return true;
  if (!isBad) {
    take(begin, items_.end());
    return true;
  }
  // Continues after an item that is damaged, but not in its markup.
  leftOut_ = true;
  writeRun();
  std::vector<std::string> open = {rootName()};
  if (items_.version() == 4) open.emplace_back("Items");
  startRun(items_.end(), std::move(open));
  return true;
}

// Continues after an error in what begins at `begin`, where nothing is wrong up to `sound`.
bool Salvager::goOn(XmlError error, std::uint64_t begin, std::uint64_t sound) {
  const std::size_t index = errors_.size();
  addError(std::move(error), sound);
  const std::uint64_t next = nextCandidate(begin, sound);
  if (index < errors_.size()) errors_[index].itemsBefore = closedItems_ + run_.count;
  if (!decoder_.isPlain()) tellBadByte(text_.find(std::string_view(&kBadByte, 1), begin, next));
  if (next == npos) return false;
  writeRun();
  // As if everything around the item were in order.
  std::vector<std::string> open = {rootName()};
  if (nameAt(next) == "Item") open.emplace_back("Items");
  items_.resume(next, open);
  startRun(next, std::move(open));
  return true;
}

void Salvager::startRun(std::uint64_t begin, std::vector<std::string> open) {
  open_ = std::move(open);
  isHead_ = false;
  begin_ = begin;
  run_ = {};
}

void Salvager::take(std::uint64_t begin, std::uint64_t end) {
  // No reader takes more between two items than an item may have.
  const std::uint64_t gapBegin = run_.count > 0 ? run_.end : begin_;
  if (begin - gapBegin > ItemStream::kMaxItem) {
    addError(errorAt(gapBegin, Kind::TooLarge, "more than 64 MiB without an item"), gapBegin);
    writeRun();
    std::vector<std::string> open = {rootName()};
    if (items_.version() == 4) open.emplace_back("Items");
    startRun(begin, std::move(open));
  }
  ++run_.count;
  run_.end = end;
  run_.endsInItems = items_.version() == 4;
  // An error that is found only after a whole item belongs before that.
  for (; settled_ < errors_.size(); ++settled_) {
    auto& [error, token, before] = errors_[settled_];
    if (error.offset <= begin) continue;
    error.offset = static_cast<std::size_t>(std::min(token, begin));
    error.message = token < begin ? "markup that does not end before the next item begins"
                                  : "the item in front of this one does not end";
  }
}

bool Salvager::tellBadByte(std::uint64_t place) {
  if (place == npos) return false;
  if (badPlaces_.size() < Recovery::kMaxFaults) {
    badPlaces_.push_back(
        {decoder_.badCharacter(static_cast<std::size_t>(place)), place, closedItems_ + run_.count});
  } else {
    ++furtherErrors_;
  }
  return true;
}

// Where an item may begin that was not recognized before the error. `begin` is that of the damaged
// item, when the error is in one. Takes back the items of the current run after it: they were
// found in a wrong structure.
std::uint64_t Salvager::nextCandidate(std::uint64_t begin, std::uint64_t sound) {
  const bool inItem = items_.isItem();
  const std::string item(inItem ? nameAt(begin) : std::string_view());
  std::optional<Candidate> found = candidateBefore(sound, item, false);
  // What is open where the items end has swallowed others, in whatever part of it. At the end of
  // the text it may be open because the rest is missing.
  const Kind kind = items_.error().kind;
  const bool pastItems =
      kind == Kind::MismatchedEnd && (isEndTag(sound, "Items") || isEndTag(sound, rootName()));
  if (!found && pastItems) {
    found = candidateBefore(sound, {}, true);
  } else if (!found && (kind == Kind::UnexpectedEnd || kind == Kind::TooLarge)) {
    found = candidateBefore(sound, item, true);
  }
  if (!found) return nextItemTag(std::max(sound, isHead_ ? 0 : begin_ + 1));
  if (!inItem) {
    run_ = found->items;
    if (closedItems_ + run_.count == 0) loseRoot(found->place);
  }
  return found->place;
}

// The root is none when one that is not closed holds another, which its end tag names.
void Salvager::loseRoot(std::uint64_t item) {
  const std::string& last = lastEndTag();
  if (root_.empty() || root_ == last || last.empty()) return;
  if (text_.find('<' + last, rootTagEnd_, item + last.size() - 1) == npos) return;
  root_.clear();
  rootTagEnd_ = 0;
}

// In the text without an error from `begin_` (or from the damaged item) to `end`: the first item
// whose parent is not closed there. An element that was closed has been judged as a whole, but one
// that stays open has lost its end, and what follows it only seems to stand in it. `item` is the
// name of the damaged item. With `closed` those in closed elements count, too: in any part of what
// is open below the root, in a second root, or anywhere when there is no item yet.
std::optional<Candidate> Salvager::candidateBefore(std::uint64_t end, std::string_view item,
                                                   bool closed) {
  SearchStart start{begin_, open_, items_.isItem(), {}};
  if (start.inItem) {
    start = {items_.begin(), {rootName()}, true, run_};
    if (items_.version() == 4) start.open.emplace_back("Items");
  }
  CandidateSearch search(probe_, start, rootName(), item, closed);
  return search.run(end, !start.inItem && closedItems_ + run_.count > 0);
}

// Where the next item could begin, at or after `at`. Comments and CDATA sections are skipped,
// unless one seems to run on into another because its own end is damaged.
std::uint64_t Salvager::nextItemTag(std::uint64_t at) {
  for (; (at = text_.find("<", at)) != npos; ++at) {
    if (isItemTag(text_, at)) return at;
    for (std::size_t i = 0; i < kSections.size(); ++i) {
      const auto& [opening, closing] = kSections[i];
      if (!text_.startsWith(at, opening)) continue;
      const std::uint64_t end = sectionEnds_[i].find(text_, closing, at + opening.size());
      if (end != npos && text_.find(opening, at + 1, end + 1) == npos) at = end;
      break;
    }
  }
  return npos;
}

bool Salvager::copy(std::uint64_t from, std::uint64_t to) {
  return forEachBlock(text_, from, to, [&](std::string_view block) {
    return decoder_.isPlain() ? write(block) : write(withoutBadBytes(block));
  });
}

// Copies the text up to `to`, with its declaration made to name UTF-8.
bool Salvager::copyHead(std::uint64_t to) {
  if (isMarked_ && !write("\xEF\xBB\xBF")) return false;
  if (encodingName_.size() == 0 || encodingName_.end > to) return copy(0, to);
  return copy(0, encodingName_.begin) && write("UTF-8") && copy(encodingName_.end, to);
}

// Writes the text before the first run.
bool Salvager::writeFrame() {
  if (rootTagEnd_ != 0) {
    outRoot_ = root_;
    return copyHead(isHead_ ? run_.end : rootTagEnd_);
  }
  outRoot_ = "PriceTracker";
  const std::string frame = emptyCollection();
  return write(frame.substr(0, frame.find("<Items")));
}

// Writes the current run, unless it has no item.
bool Salvager::writeRun() {
  if (run_.count == 0) return true;
  closedItems_ += run_.count;
  if (outRoot_.empty() && !writeFrame()) return false;
  if (!isHead_) {
    const bool startsInItems = open_.size() == 2;
    if (!write("\n")) return false;
    if (startsInItems != outInItems_ && !write(outInItems_ ? "</Items>" : "<Items>")) return false;
    if (!copy(begin_, run_.end)) return false;
  }
  outInItems_ = run_.endsInItems;
  run_.count = 0;
  return true;
}

bool Salvager::finish() {
  isWhole_ = errors_.empty() && !leftOut_;
  if (isWhole_) {
    closedItems_ = run_.count;
    return true;
  }
  if (!writeRun() || closedItems_ == 0) return !isRefused_;
  return (!outInItems_ || write("</Items>")) && write("</") && write(outRoot_) && write(">");
}

void Salvager::addErrors(Recovery& recovery) {
  std::vector<Pending> all = std::move(errors_);
  std::move(badPlaces_.begin(), badPlaces_.end(), std::back_inserter(all));
  std::stable_sort(all.begin(), all.end(), [](const Pending& a, const Pending& b) {
    return a.error.offset < b.error.offset;
  });
  recovery.furtherFaults = furtherErrors_;
  std::size_t line = 1, column = 1;
  std::uint64_t at = 0;
  for (Pending& pending : all) {
    XmlError& error = pending.error;
    if (!recovery.faults.empty() && recovery.faults.back().error.offset == error.offset) continue;
    // One pass: a text of one long line may have many errors.
    forEachBlock(text_, at, error.offset, [&](std::string_view block) {
      for (std::size_t end = 0; (end = block.find('\n')) != block.npos;) {
        ++line;
        column = 1;
        block.remove_prefix(end + 1);
      }
      for (std::size_t i = 0; i < block.size(); ++column) nextUtf8(block, i);
      return true;
    });
    at = error.offset;
    error.line = line;
    error.column = column;
    if (!decoder_.isPlain()) error.message = withoutBadBytes(error.message);
    recovery.faults.push_back({std::move(error), closedItems_ - pending.itemsBefore});
  }
}

XmlError unreadable() { return errorAt(0, Kind::Unreadable, "the file cannot be read"); }

// Recovers the text of `file`, which was decoded from `original` where that is another one.
void recoverText(File& original, File& file, const XmlDecoder& decoder, const TextSink& sink,
                 Recovery& recovery) {
  const std::uint64_t markSize = decoder.isMarked() ? 3 : 0;
  FileText text(file, markSize, file.size().value_or(markSize));
  // The name of an encoding may be damaged like anything else.
  const bool isUnknown = static_cast<bool>(decoder.error());
  if (isUnknown && !isMostlyUtf8(text)) {
    recovery.faults.push_back({decoder.error(), 0});
    return;
  }
  Salvager salvager(text, decoder, sink);
  const bool isWritten = salvager.run();
  recovery.items = salvager.items();
  salvager.addErrors(recovery);
  if (isUnknown) recovery.faults.insert(recovery.faults.begin(), {decoder.error(), recovery.items});
  if (isWritten && recovery.items > 0 && recovery.faults.empty()) {
    FileText whole(original, 0, original.size().value_or(0));
    forEachBlock(whole, 0, whole.size(), sink);
    if (whole.hasFailed()) recovery.readError = unreadable();
  } else if (isWritten && recovery.items > 0 && salvager.isWhole()) {
    salvager.writeWhole();
  }
  if (text.hasFailed()) recovery.readError = unreadable();
}

}  // namespace

Recovery recover(File& damaged, const TextSink& sink) {
  Recovery recovery;
  File* file = &damaged;
  std::unique_ptr<File> copy;
  if (!damaged.size()) {
    copy = copyToScratch(damaged);
    file = copy.get();
  }
  const std::unique_ptr<XmlDecoder> decoder = file ? makeDecoder(*file) : nullptr;
  std::unique_ptr<File> decoded;
  if (decoder && !decoder->isPlain()) decoded = decodeToScratch(*file, *decoder, false);
  if (!decoder || (!decoder->isPlain() && !decoded)) {
    recovery.readError = unreadable();
  } else {
    recoverText(*file, decoded ? *decoded : *file, *decoder, sink, recovery);
  }
  return recovery;
}

Recovery recoverCollection(File& damaged, std::u16string_view path) {
  CollectionWriter out(path);
  Recovery recovery;
  if (!out.error())
    recovery = recover(damaged, [&](std::string_view text) { return out.write(text); });
  if (recovery.items > 0 && !recovery.readError && !out.error()) out.commit();
  recovery.writeError = out.error();
  return recovery;
}

}  // namespace tessaron
