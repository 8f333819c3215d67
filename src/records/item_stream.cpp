#include "records/item_stream.h"

#include <algorithm>
#include <cstring>
#include <optional>
#include <span>
#include <utility>

#include "records/field_text.h"
#include "records/item_text.h"
#include "support/text.h"
#include "support/xml/encoding.h"

namespace tessaron {
namespace {

using Kind = XmlError::Kind;

constexpr std::size_t kBlock = std::size_t{256} << 10;
constexpr std::string_view kUtf8Mark = "\xEF\xBB\xBF";

// Moves `line` and `column`, which count from 0, past `text`.
void advance(std::string_view text, std::size_t& line, std::size_t& column) {
  std::size_t lineStart = 0;
  for (std::size_t at = text.find('\n'); at != text.npos; at = text.find('\n', lineStart)) {
    ++line;
    column = 0;
    lineStart = at + 1;
  }
  column += countCharacters(text.substr(lineStart));
}

}  // namespace

ItemStream::ItemStream(std::string_view text)
    : data_(text.data()), size_(text.size()), scanner_(text) {}

ItemStream::ItemStream(File& file) : file_(&file), started_(false), scanner_({}, false) {}

bool ItemStream::next() {
  if (stopped_) return false;
  keep_ = begin_ = end_;
  tree_.clear();
  for (;;) {
    const Token token = scanner_.next();
    if (token == Token::Incomplete) {
      if (!refill()) return false;
      continue;
    }
    if (token == Token::Error || token == Token::Finished) return end(token);
    if (!inItem_ && !beginsItem(token)) continue;
    if (scanner_.end() - begin_ > kMaxItem) return stop(tooLarge());
    if (addToItem(token)) break;
  }
  inItem_ = false;
  end_ = scanner_.end();
  if (!onDemand_) tree_.setText(item());
  ++count_;
  return true;
}

// Ends the walk at an error or behind the text. False.
bool ItemStream::end(Token token) {
  if (token == Token::Error) {
    const std::size_t cut = scanner_.errorToken();
    if (inItem_ && !onDemand_) tree_.addCut(view().substr(cut, scanner_.end() - cut), cut - begin_);
    return stop(scanner_.error());
  }
  begin_ = end_ = size_;
  stopped_ = true;
  return false;
}

// Whether an item begins with a token that is in none.
bool ItemStream::beginsItem(Token token) {
  version_ = rule_.versionAt(scanner_, token);
  if (version_ != 0) {
    beginItem(token);
  } else {
    outsideItem(token);
    rule_.pass(scanner_, token);
  }
  return inItem_;
}

void ItemStream::beginItem(Token token) {
  inItem_ = true;
  begin_ = scanner_.begin();
  parents_ = scanner_.depth() - (token == Token::Start ? 1 : 0);
  asinElement_ = {};
  isAsinKnown_ = false;
  hasInsertion_ = false;  // further items go after all others
}

// Takes note of a token in an item. True when the item ends with it.
bool ItemStream::addToItem(Token token) {
  const std::size_t depth = scanner_.depth() - parents_;
  const auto isAsin = [&] { return scanner_.name() == (version_ == 3 ? "Asin" : "ASIN"); };
  if (token == Token::Start && depth == 2 && isAsin())
    asinElement_.begin = scanner_.begin() - begin_;
  if (token == Token::Empty && depth == 1 && isAsin())
    asinElement_ = {scanner_.begin() - begin_, scanner_.end() - begin_};
  if (token == Token::End && depth == 1 && isAsin()) asinElement_.end = scanner_.end() - begin_;
  if (!onDemand_) return tree_.add(scanner_, token, view(), begin_);
  return depth == 0 && (token == Token::End || token == Token::Empty);
}

const XmlTree& ItemStream::tree() const {
  if (onDemand_ && !tree_.root()) tree_.parse(item());
  return tree_;
}

// Keeps track of where items may stand.
void ItemStream::outsideItem(Token token) {
  const std::size_t depth = scanner_.depth();
  const std::string_view name = scanner_.name();
  const auto insertAt = [&](TextRange range, std::string before, std::string behind) {
    insertion_ = {{range.begin - keep_, range.end - keep_}, std::move(before), std::move(behind)};
    hasInsertion_ = true;
  };
  const auto inTag = [&] {  // before the slash of an empty tag
    return TextRange{blankBefore(view(), scanner_.end() - 2).begin, scanner_.end()};
  };
  const auto beforeTag = [&] {
    const std::size_t at = std::max(blankBefore(view(), scanner_.begin()).begin, keep_);
    return TextRange{at, at};
  };
  if (token == Token::Start && depth == 1) rootName_ = name;
  if (token == Token::Start && depth == 2 && name == "Items") itemsSeen_ = true;
  if (token == Token::Empty && depth == 1 && name == "Items") {
    itemsSeen_ = true;
    insertAt(inTag(), ">", "</Items>");
  }
  if (token == Token::Empty && depth == 0) {
    rootName_ = name;
    insertAt(inTag(), "><Items>", "</Items></" + rootName_ + '>');
  }
  if (token != Token::End) return;
  if (depth == 1 && rule_.isInItems()) insertAt(beforeTag(), "", "");
  if (depth == 0 && !hasInsertion_) insertAt(beforeTag(), "<Items>", "</Items>");
}

XmlError ItemStream::tooLarge() const {
  XmlError error;
  error.kind = Kind::TooLarge;
  error.offset = inItem_ ? begin_ : keep_;
  error.message = inItem_ ? "an item of more than 64 MiB" : "more than 64 MiB without an item";
  return error;
}

XmlError ItemStream::unreadable() const {
  XmlError error;
  error.kind = Kind::Unreadable;
  error.offset = size_;
  error.message = "the file cannot be read";
  return error;
}

// Reads on. False when the stream ends here.
bool ItemStream::refill() {
  if (!started_) return readHead();
  dropFront(keep_);
  const std::size_t dropped = std::exchange(keep_, 0);
  if (size_ >= kMaxItem) return stop(tooLarge());
  bool isLast = false;
  if (!readBlock(isLast)) return false;
  scanner_.extend(view(), dropped, isLast);
  return true;
}

// Appends to the window what one read gives. False when it fails.
bool ItemStream::readBlock(bool& isLast) {
  std::string& into = decoder_ ? block_ : window_;
  const std::size_t used = decoder_ ? 0 : size_;
  if (into.size() - used < kBlock)
    into.resize(decoder_ ? kBlock : std::max(used * 2, used + kBlock));
  const std::span<char> free(into.data() + used, into.size() - used);
  const std::optional<std::size_t> got = file_->read(std::as_writable_bytes(free));
  data_ = window_.data();
  if (!got) return stop(unreadable());
  isLast = *got == 0;
  if (decoder_) {
    decodeBlock(std::string_view(block_).substr(0, *got), isLast);
  } else {
    size_ += *got;
  }
  return true;
}

// Reads the head of the file and goes by its encoding. False when it cannot be read.
bool ItemStream::readHead() {
  started_ = true;
  bool isLast = false;
  do {
    if (!readBlock(isLast)) return false;
  } while (!isLast && size_ < XmlDecoder::kMaxHead && view().find('>') == std::string_view::npos);
  auto decoder = std::make_unique<XmlDecoder>(view());
  if (decoder->error()) return stop(decoder->error());
  reencoded_ = decoder->isReencoded();
  const std::size_t mark = decoder->isMarked() ? kUtf8Mark.size() : 0;
  if (!decoder->isPlain()) {
    decoder_ = std::move(decoder);
    const std::string head = std::exchange(window_, {}).substr(0, std::exchange(size_, 0));
    decodeBlock(head, isLast);
    headGrowth_ = decoder_->declareUtf8(window_);
  } else if (reencoded_) {
    window_.resize(size_);
    window_.erase(0, mark);
    headGrowth_ = decoder->declareUtf8(window_);
    window_.insert(0, kUtf8Mark.substr(0, mark));
  }
  if (reencoded_) size_ = window_.size();
  data_ = window_.data();
  scanner_ = XmlScanner(view(), isLast);
  // A byte-order mark belongs to the text before the items, but not to the XML.
  if (mark > 0) scanner_.resume(mark, {});
  if (mark > 0) ++headGrowth_;
  return true;
}

// Appends a block of the document to the window, decoded.
void ItemStream::decodeBlock(std::string_view block, bool isLast) {
  std::vector<std::size_t> badPlaces;
  window_.resize(size_);
  decoder_->decode(block, isLast, window_, badPlaces);
  size_ = window_.size();
  data_ = window_.data();
  if (badCharacter_ || badPlaces.empty()) return;
  badCharacter_ = decoder_->badCharacter(badPlaces.front());
  // The growth of the declaration counts in the window.
  const auto place = static_cast<std::size_t>(badCharacter_.offset + headGrowth_ - dropped_);
  locate(badCharacter_, place);
}

void ItemStream::dropFront(std::size_t count) {
  advance(view().substr(0, count), line_, column_);
  dropped_ += count;
  if (count > 0) std::memmove(window_.data(), window_.data() + count, size_ - count);
  size_ -= count;
  begin_ -= count;
  end_ -= count;
}

// Fills line and column of an error at `place` of the window.
void ItemStream::locate(XmlError& error, std::size_t place) const {
  std::size_t line = line_, column = column_;
  advance(view().substr(0, place), line, column);
  error.line = line + 1;
  error.column = column + 1;
  if (line == 0) error.column -= headGrowth_;
}

// Ends the stream at an error, whose offset is in the window.
bool ItemStream::stop(XmlError error) {
  if (error.line == 0) locate(error, error.offset);
  error.offset += dropped_;
  error_ = std::move(error);
  broken_ = begin_;
  begin_ = end_ = size_;
  stopped_ = true;
  return false;
}

bool ItemStream::canHoldItems() const {
  return count_ > 0 || itemsSeen_ || rootName_ == "PriceTracker" || rootName_ == "ProductInfo";
}

const std::u16string& ItemStream::asin() const {
  if (isAsinKnown_) return asin_;
  isAsinKnown_ = true;
  asin_.clear();
  if (asinElement_.size() == 0) return asin_;
  asinTree_.parse(asinElement_.of(item()));
  asin_ = value(asinTree_.root());
  return asin_;
}

void ItemStream::read(CRecord& record) const { readItem(tree().root(), version_, record); }

void ItemStream::readBroken(CRecord& record) const {
  XmlTree tree = tree_;
  tree.setText(view().substr(broken_));
  readItem(tree.root(), version_, record);
}

}  // namespace tessaron
