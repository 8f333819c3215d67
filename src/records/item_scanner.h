#pragma once

#include <string_view>
#include <vector>

#include "support/xml/scanner.h"

namespace tessaron {

/// Walks over a text as XmlScanner does, but takes an item in one step: a "Details" below the root,
/// or an "Item" below one of the root's "Items".
class ItemScanner {
 public:
  explicit ItemScanner(std::string_view text) : scanner_(text) {}

  /// See XmlScanner::resume. Where the root's "Items" is open, an "Item" is an item.
  void resume(std::size_t at, const std::vector<std::string_view>& open);

  /// Moves to the next item or token.
  XmlScanner::Piece next();

  /// Whether an item was taken. It may have ended in a fault.
  bool isItem() const { return isItem_; }
  std::size_t begin() const { return begin_; }
  std::size_t end() const { return scanner_.end(); }  ///< of a faulty item: the place of the fault
  int version() const { return inItems_ ? 4 : 3; }    ///< of the item's dialect
  /// Whether some piece of the item needs it, see there.
  bool needsRewriting() const { return needsRewriting_; }
  std::string_view name() const { return scanner_.name(); }
  std::size_t depth() const { return scanner_.depth(); }
  const XmlFault& fault() const { return scanner_.fault(); }
  std::size_t faultyToken() const { return scanner_.faultyToken(); }

 private:
  XmlScanner scanner_;
  std::size_t begin_ = 0;
  bool inItems_ = false;
  bool isItem_ = false;
  bool needsRewriting_ = false;
};

}  // namespace tessaron
