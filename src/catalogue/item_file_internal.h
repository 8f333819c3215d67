#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "platform/file.h"
#include "records/item_stream.h"

namespace tessaron {

/// The items of a document, each to be read again by its place. Keeps no item in memory. Used by
/// one thread at a time.
class ItemFile {
 public:
  /// Reads the document of a seekable file and calls `visit` for each item. A document in another
  /// encoding is copied into a scratch file in UTF-8. The error tells why it cannot be read to its
  /// end.
  XmlError open(std::unique_ptr<File> file, const std::function<void(const ItemStream&)>& visit);

  std::size_t size() const { return places_.size(); }
  /// Whether the document has items or a place for them.
  bool canHoldItems() const { return canHoldItems_; }
  /// The text of the item at `index`. Empty when the file cannot be read any more.
  std::string read(std::size_t index);
  bool hasFailed() const { return hasFailed_; }
  /// Closes the file; no item can be read afterwards.
  void close() { file_.reset(); }

 private:
  struct Place {
    std::uint64_t offset;
    std::size_t size;
  };
  std::unique_ptr<File> file_;
  std::vector<Place> places_;
  bool canHoldItems_ = false;
  bool hasFailed_ = false;
};

}  // namespace tessaron
