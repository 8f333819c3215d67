#include <span>

#include "catalogue/item_file_internal.h"
#include "catalogue/utf8_copy_internal.h"

namespace tessaron {

XmlError ItemFile::open(std::unique_ptr<File> file,
                        const std::function<void(const ItemStream&)>& visit) {
  file_ = std::move(file);
  if (XmlError error = makeUtf8(file_)) return error;
  ItemStream items(*file_);
  items.parseOnDemand();
  while (items.next()) {
    places_.push_back({items.position(), items.item().size()});
    visit(items);
  }
  canHoldItems_ = items.canHoldItems();
  return items.error();
}

std::string ItemFile::read(std::size_t index) {
  const Place& place = places_[index];
  std::string text(place.size, '\0');
  const auto bytes = std::as_writable_bytes(std::span(text));
  if (readFully(*file_, place.offset, bytes) == place.size) return text;
  hasFailed_ = true;
  return {};
}

}  // namespace tessaron
