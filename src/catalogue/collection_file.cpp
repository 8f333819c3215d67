#include "catalogue/collection_file_internal.h"

namespace tessaron {

CollectionWriter::CollectionWriter(std::u16string_view path) : path_(path), lock_(path, error_) {}

bool CollectionWriter::open() {
  if (!error_ && !file_) file_.emplace(path_, error_);
  return !error_;
}

bool CollectionWriter::write(std::string_view text) {
  constexpr std::size_t kBlock = std::size_t{256} << 10;
  block_ += text;
  return block_.size() < kBlock || flush();
}

bool CollectionWriter::flush() {
  if (open()) error_ = file_->write(block_);
  block_.clear();
  return !error_;
}

void CollectionWriter::commit() {
  if (flush()) error_ = file_->commit();
}

}  // namespace tessaron
