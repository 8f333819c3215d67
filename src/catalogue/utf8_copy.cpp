#include <algorithm>
#include <optional>
#include <span>
#include <system_error>
#include <utility>
#include <vector>

#include "catalogue/utf8_copy_internal.h"
#include "platform/system.h"
#include "records/item_stream.h"

namespace tessaron {
namespace {

constexpr std::size_t kBlock = std::size_t{256} << 10;
constexpr std::size_t kMaxMemory = std::size_t{4} << 20;

// Puts a kBadByte in the place of the U+FFFD at each of `places`, relative to `origin`.
void markBadPlaces(std::string& text, std::size_t origin, const std::vector<std::size_t>& places) {
  constexpr std::size_t kReplacementSize = 3;
  std::string marked;
  std::size_t copied = 0;
  for (const std::size_t place : places) {
    marked.append(text, copied, place - origin - copied);
    marked += kBadByte;
    copied = place - origin + kReplacementSize;
  }
  text = marked.append(text, copied);
}

XmlError unreadable() {
  XmlError error;
  error.kind = XmlError::Kind::Unreadable;
  error.message = "the file cannot be read";
  return error;
}

}  // namespace

bool forEachBlock(File& file, const std::function<bool(std::string_view, bool isLast)>& take) {
  std::string block(kBlock, '\0');
  for (;;) {
    const std::optional<std::size_t> got = file.read(std::as_writable_bytes(std::span(block)));
    if (!got || !take(std::string_view(block).substr(0, *got), *got == 0)) return false;
    if (*got == 0) return true;
  }
}

bool ScratchFile::write(std::string_view text) {
  size_ += text.size();
  memory_ += text;
  if (memory_.size() <= (file_ ? kBlock : kMaxMemory)) return true;
  if (!file_) file_ = temporaryFile();
  const std::string block = std::exchange(memory_, {});
  return file_ && file_->write(std::as_bytes(std::span(block)));
}

std::unique_ptr<File> ScratchFile::take() {
  if (!file_) return memoryFile(std::move(memory_));
  const std::string block = std::exchange(memory_, {});
  return file_->write(std::as_bytes(std::span(block))) ? std::move(file_) : nullptr;
}

std::unique_ptr<File> copyToScratch(File& file) {
  ScratchFile copy;
  const bool done =
      forEachBlock(file, [&](std::string_view block, bool) { return copy.write(block); });
  return done ? copy.take() : nullptr;
}

std::unique_ptr<File> decodeToScratch(File& file, XmlDecoder& decoder, bool declare) {
  ScratchFile copy;
  std::string text;
  std::vector<std::size_t> badPlaces;
  std::size_t origin = 0;
  bool hasHead = false;
  const auto take = [&](std::string_view block, bool isLast) {
    decoder.decode(block, isLast, text, badPlaces);
    if (!hasHead && !isLast && text.size() < decoder.encodingName().end) return true;
    const std::size_t size = text.size();
    if (!declare) markBadPlaces(text, origin, badPlaces);
    if (declare && !hasHead) decoder.declareUtf8(text);
    hasHead = true;
    origin += size;
    badPlaces.clear();
    return copy.write(std::exchange(text, {}));
  };
  return file.seek(0) && forEachBlock(file, take) ? copy.take() : nullptr;
}

std::unique_ptr<XmlDecoder> makeDecoder(File& file) {
  std::string head;
  std::size_t size = 0;
  do {
    size = head.size();
    head.resize(size + kBlock);
    const auto bytes = std::as_writable_bytes(std::span(head).subspan(size));
    const std::optional<std::size_t> got = readFully(file, size, bytes);
    if (!got) return nullptr;
    head.resize(size + *got);
  } while (head.size() == size + kBlock && head.size() < XmlDecoder::kMaxHead &&
           head.find('>') == std::string::npos);
  return std::make_unique<XmlDecoder>(head);
}

XmlError makeUtf8(std::unique_ptr<File>& file) {
  ItemStream items(*file);
  items.next();
  if (!items.isReencoded()) return file->seek(0) ? XmlError() : unreadable();
  while (items.next()) {
  }
  if (items.badCharacter()) return items.badCharacter();
  if (items.error()) return items.error();
  const std::unique_ptr<XmlDecoder> decoder = makeDecoder(*file);
  if (decoder) file = decodeToScratch(*file, *decoder, true);
  return decoder && file ? XmlError() : unreadable();
}

}  // namespace tessaron
