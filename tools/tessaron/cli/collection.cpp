#include "cli/collection.h"

#include <utility>

#include "cli/failures.h"
#include "cli/input.h"
#include "cli/paths.h"

namespace tessaron::tool {

CollectionReader::CollectionReader(std::string path, bool twice) : path_(std::move(path)) {
  input_ = std::make_unique<Input>(path_);
  if (!twice || input_->isRegular()) return;
  readToEnd(*input_, content_.emplace());
  input_->requireRead();
}

CollectionReader::~CollectionReader() = default;

void CollectionReader::forEachItem(const std::function<void(const ItemStream&)>& visit) {
  walk(visit, true);
}

void CollectionReader::walk(const std::function<void(const ItemStream&)>& visit, bool onDemand) {
  if (walked_ && !content_) input_->seek(0);
  walked_ = true;
  const std::unique_ptr<File> memory = content_ ? memoryFile(*content_) : nullptr;
  ItemStream items(memory ? *memory : *input_);
  if (onDemand) items.parseOnDemand();
  while (items.next()) visit(items);
  input_->requireRead();
  requireSound(path_, items.badCharacter());
  requireSound(path_, items.error());
  count_ = items.count();
  if (!items.canHoldItems())
    throw Failure{kBadData, name(), "this is no collection: it has no place for items"};
}

void CollectionReader::forEachRecord(bool detail,
                                     const std::function<void(const CRecord&)>& visit) {
  const auto visitRecord = [&](const ItemStream& items) {
    CRecord record;
    record.fullDetail = detail;
    items.read(record);
    visit(record);
  };
  walk(visitRecord, false);
}

void changeCollection(const std::string& path, EditMode mode, ItemEdit& edit) {
  const EditResult result = editCollection(widePath(path), mode, edit);
  if (result.readError) {
    const bool special = result.readError == std::errc::no_such_device_or_address;
    throw Failure{kNoInput, path,
                  special ? "only a regular file can be edited; this is a pipe or a device"
                          : result.readError.message()};
  }
  if (result.xmlError.kind == XmlError::Kind::Unreadable)
    throw Failure{kNoInput, path, result.xmlError.message};
  requireSound(path, result.xmlError);
  if (result.isForeign)
    throw Failure{kBadData, path, "this is no collection: it has no place for items"};
  if (result.writeError) throwWriteFailure(path, result.writeError);
}

}  // namespace tessaron::tool
