#include "records/item_scanner.h"

namespace tessaron {

using Piece = XmlScanner::Piece;

void ItemScanner::resume(std::size_t at, const std::vector<std::string_view>& open) {
  scanner_.resume(at, open);
  inItems_ = open.size() == 2 && open.back() == "Items";
}

Piece ItemScanner::next() {
  Piece piece = scanner_.next();
  begin_ = scanner_.begin();
  needsRewriting_ = scanner_.needsRewriting();
  const std::size_t depth = scanner_.depth();
  if (piece == Piece::End && depth == 1) inItems_ = false;
  if (piece != Piece::Start && piece != Piece::Empty) {
    isItem_ = false;
    return piece;
  }
  const std::size_t parents = piece == Piece::Start ? depth - 1 : depth;
  isItem_ = inItems_ ? parents == 2 && name() == "Item" : parents == 1 && name() == "Details";
  if (piece == Piece::Empty) return piece;
  if (parents == 1 && name() == "Items") inItems_ = true;
  while (isItem_ && scanner_.depth() > parents && piece != Piece::Faulty) {
    piece = scanner_.next();
    needsRewriting_ = needsRewriting_ || scanner_.needsRewriting();
  }
  return piece;
}

}  // namespace tessaron
