#pragma once

#include "support/xml/scanner.h"

namespace tessaron {

/// The one rule of what an item is in a text: a "Details" below the root, or an "Item" below one of
/// the root's "Items". Told every token outside of items in turn.
class ItemRule {
 public:
  /// 4 when the token at which `scanner` is, outside of any item, begins an "Item", 3 for a
  /// "Details", 0 for none.
  int versionAt(const XmlScanner& scanner, XmlScanner::Token token) const {
    using Token = XmlScanner::Token;
    if (token != Token::Start && token != Token::Empty) return 0;
    const std::size_t parents = scanner.depth() - (token == Token::Start ? 1 : 0);
    if (inItems_) return parents == 2 && scanner.name() == "Item" ? 4 : 0;
    return parents == 1 && scanner.name() == "Details" ? 3 : 0;
  }
  /// Takes note of a token that begins no item.
  void pass(const XmlScanner& scanner, XmlScanner::Token token) {
    using Token = XmlScanner::Token;
    if (token == Token::Start && scanner.depth() == 2 && scanner.name() == "Items") inItems_ = true;
    if (token == Token::End && scanner.depth() == 1) inItems_ = false;
  }
  /// Starts anew where the root's "Items" is open, or where only the root is.
  void resume(bool inItems) { inItems_ = inItems; }
  bool isInItems() const { return inItems_; }

 private:
  bool inItems_ = false;
};

}  // namespace tessaron
