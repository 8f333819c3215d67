#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "platform/file.h"
#include "records/item_rule.h"
#include "records/record.h"
#include "support/xml/encoding.h"
#include "support/xml/scanner.h"
#include "support/xml/tree.h"
#include "tessaron_export.h"

namespace tessaron {

/// Where further items go in a text: `before` and `behind`, with the items between them, take the
/// place of the bytes of `range`.
struct InsertionPoint {
  TextRange range;
  std::string before;
  std::string behind;
};

/// The items of a collection or of a response, one after another, in either dialect: every
/// "Details" below the root and every "Item" below the root's "Items". This is the one place that
/// knows what an item is in a text. A file is read through a window, so that memory depends on the
/// largest item alone. Views that it hands out are valid until the next call of `next`.
class TESSARON_API ItemStream {
 public:
  /// The most that an item, or the text between two, may have, in bytes.
  static constexpr std::size_t kMaxItem = std::size_t{64} << 20;

  /// Over a text in UTF-8 without a byte-order mark, which must outlive the stream.
  explicit ItemStream(std::string_view text);
  /// Over what `file` holds from its position on, in any encoding that `XmlDecoder` knows. Reads it
  /// once from front to back, so that a pipe will do.
  explicit ItemStream(File& file);
  ItemStream(const ItemStream&) = delete;
  ItemStream& operator=(const ItemStream&) = delete;

  /// Parses items only when `tree` or `read` asks for that; for walks that look at few of them.
  /// Call it before the first `next`. `readBroken` is not available then.
  void parseOnDemand() { onDemand_ = true; }

  /// Moves to the next item. False after the last one and at an error.
  bool next();

  /// The text in front of the item, from the end of the previous one (or from the start); after the
  /// last item, all that is left.
  std::string_view before() const { return view().substr(keep_, begin_ - keep_); }
  /// The item's text, both tags included.
  std::string_view item() const { return view().substr(begin_, end_ - begin_); }
  /// 4 for an "Item", 3 for a "Details".
  int version() const { return version_; }
  /// The parts of the item.
  const XmlTree& tree() const;
  /// The ASIN, trimmed; empty when the item has none.
  const std::u16string& asin() const;
  /// The item's text as a record, which should be fresh.
  void read(CRecord& record) const;
  /// Where the item's text begins in the file; only for a file in UTF-8.
  std::uint64_t position() const { return dropped_ + begin_; }
  /// How many items came so far.
  std::size_t count() const { return count_; }

  /// Whether the text ended, with an error, inside of an item.
  bool isInItem() const { return inItem_ && stopped_; }
  /// Reads what was whole in that item.
  void readBroken(CRecord& record) const;

  /// Why the stream ended, with line and column of the whole text; none at the end of the text.
  const XmlError& error() const { return error_; }
  /// The name of the root element, as soon as it was seen.
  const std::string& rootName() const { return rootName_; }
  /// Behind the last item: whether the text is a collection or a response, because it has items or
  /// a place for them.
  bool canHoldItems() const;
  /// Whether the document is in another encoding than UTF-8. The text that comes out is in UTF-8,
  /// and its declaration says so.
  bool isReencoded() const { return reencoded_; }
  /// The first bytes that are no characters in the document's encoding, if any were read so far.
  /// They came out as U+FFFD, and the stream went on.
  const XmlError& badCharacter() const { return badCharacter_; }
  /// After the last item of a text without errors: where more go, in `before()`.
  const InsertionPoint& insertionPoint() const { return insertion_; }

 private:
  using Token = XmlScanner::Token;

  std::string_view view() const { return {data_, size_}; }
  XmlError tooLarge() const;
  XmlError unreadable() const;
  bool end(Token token);
  bool beginsItem(Token token);
  void beginItem(Token token);
  bool addToItem(Token token);
  bool refill();
  bool readBlock(bool& isLast);
  bool readHead();
  void decodeBlock(std::string_view block, bool isLast);
  void locate(XmlError& error, std::size_t place) const;
  void dropFront(std::size_t count);
  bool stop(XmlError error);
  void outsideItem(Token token);

  File* file_ = nullptr;
  std::string window_;                   // of a file
  bool started_ = true;                  // the encoding is known
  std::unique_ptr<XmlDecoder> decoder_;  // of a document that is not in UTF-8
  std::string block_;                    // of that document
  bool reencoded_ = false;
  XmlError badCharacter_;
  std::size_t headGrowth_ = 0;  // characters more in the first line, modulo 2^N
  const char* data_ = nullptr;
  std::size_t size_ = 0;
  std::uint64_t dropped_ = 0;  // bytes of the text in front of the window
  std::size_t line_ = 0;       // where the window begins, from 0
  std::size_t column_ = 0;

  XmlScanner scanner_;
  mutable XmlTree tree_;
  bool onDemand_ = false;
  std::size_t parents_ = 0;  // elements that are open around the item
  TextRange asinElement_;    // in the item
  mutable XmlTree asinTree_;
  mutable std::u16string asin_;
  mutable bool isAsinKnown_ = false;
  std::size_t keep_ = 0;   // the window is needed from here on
  std::size_t begin_ = 0;  // the item
  std::size_t end_ = 0;
  std::size_t broken_ = 0;  // where the item begins in which an error is
  int version_ = 0;
  bool inItem_ = false;
  ItemRule rule_;
  bool itemsSeen_ = false;
  std::size_t count_ = 0;
  std::string rootName_;
  InsertionPoint insertion_;
  bool hasInsertion_ = false;
  bool stopped_ = false;
  XmlError error_;
};

}  // namespace tessaron
