#include "catalogue/collection_index.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <span>
#include <utility>

#include "catalogue/utf8_copy_internal.h"
#include "platform/system.h"
#include "support/fingerprint.h"
#include "support/text.h"

namespace tessaron {
namespace {

constexpr const char* kMissing = "0";

std::string hexOf(std::uint64_t number) {
  constexpr std::string_view kDigits = "0123456789abcdef";
  std::string digits(16, '0');
  for (std::size_t i = digits.size(); i-- > 0; number >>= 4) digits[i] = kDigits[number & 15];
  return digits;
}

std::uint64_t numberOf(const FILETIME& time) {
  return std::uint64_t{time.dwHighDateTime} << 32 | time.dwLowDateTime;
}

std::string versionOf(File& file) {
  const std::optional<FileStatus> status = file.status();
  if (!status) return {};
  const std::array<std::uint64_t, 4> numbers = {status->size, numberOf(status->creationTime),
                                                numberOf(status->lastWriteTime), status->number};
  return hexOf(fingerprint({reinterpret_cast<const char*>(numbers.data()), sizeof numbers}));
}

std::unique_ptr<File> openShared(std::u16string_view path, std::error_code& error) {
  OpenMode mode;
  mode.shareWrite = mode.shareDelete = true;
  return openFile(path, mode, error);
}

/// A file with a position of its own over one that several threads read.
class SharedFile : public File {
 public:
  SharedFile(File& file, std::mutex& mutex) : file_(file), mutex_(mutex) {}

  std::optional<std::size_t> read(std::span<std::byte> buffer) override {
    const std::lock_guard lock(mutex_);
    const auto count = file_.readAt(position_, buffer);
    position_ += count.value_or(0);
    return count;
  }
  bool write(std::span<const std::byte>) override { return false; }
  bool seek(std::uint64_t offset) override {
    position_ = offset;
    return true;
  }
  std::optional<std::uint64_t> size() override {
    const std::lock_guard lock(mutex_);
    return file_.size();
  }
  bool setEnd() override { return false; }
  std::optional<FileStatus> status() override {
    const std::lock_guard lock(mutex_);
    return file_.status();
  }

 private:
  File& file_;
  std::mutex& mutex_;
  std::uint64_t position_ = 0;
};

}  // namespace

CollectionIndex::CollectionIndex(std::u16string_view path) : path_(path) {}
CollectionIndex::~CollectionIndex() = default;

std::string CollectionIndex::versionAt(std::u16string_view path) {
  std::error_code error;
  const std::unique_ptr<File> file = openShared(path, error);
  if (error == std::errc::no_such_file_or_directory) return kMissing;
  return file ? tessaron::versionOf(*file) : std::string();
}

std::string CollectionIndex::versionOf(std::string_view item) { return hexOf(fingerprint(item)); }

std::shared_ptr<const CollectionIndex> CollectionIndex::read(std::u16string_view path,
                                                             IndexError& error) {
  std::shared_ptr<CollectionIndex> index(new CollectionIndex(path));
  index->file_ = openShared(path, error.readError);
  if (error.readError == std::errc::no_such_file_or_directory) {
    error.readError.clear();
    index->version_ = std::string(kMissing);
    return index;
  }
  if (!index->file_) return nullptr;
  index->version_ = tessaron::versionOf(*index->file_);
  const File* original = index->file_.get();
  error.xmlError = makeUtf8(index->file_);
  if (error.xmlError) return nullptr;
  ItemStream items(*index->file_);
  items.parseOnDemand();
  while (items.next()) index->add(items);
  error.xmlError = items.badCharacter() ? items.badCharacter() : items.error();
  if (error.xmlError) return nullptr;
  error.isForeign = !items.canHoldItems();
  if (error.isForeign) return nullptr;
  index->sortKeys();
  if (index->file_.get() == original && !replacesOpenFiles()) index->file_.reset();
  return index;
}

void CollectionIndex::add(const ItemStream& items) {
  keys_ += toUtf8(items.asin());
  entries_.push_back({items.position(), fingerprint(items.item()),
                      static_cast<std::uint32_t>(items.item().size()),
                      static_cast<std::uint32_t>(keys_.size())});
}

void CollectionIndex::sortKeys() {
  keys_.shrink_to_fit();
  entries_.shrink_to_fit();
  for (std::uint32_t i = 0; i < entries_.size(); ++i)
    if (!asin(i).empty()) byKey_.push_back(i);
  std::ranges::stable_sort(byKey_, {}, [this](std::uint32_t item) { return asin(item); });
}

std::string_view CollectionIndex::asin(std::size_t item) const {
  const std::size_t begin = item == 0 ? 0 : entries_[item - 1].keyEnd;
  return std::string_view(keys_).substr(begin, entries_[item].keyEnd - begin);
}

std::optional<std::size_t> CollectionIndex::find(std::string_view key) const {
  const auto asinOf = [this](std::uint32_t item) { return asin(item); };
  const auto found = std::ranges::lower_bound(byKey_, key, {}, asinOf);
  if (found != byKey_.end() && asin(*found) == key) return *found;
  if (!key.starts_with('@')) return std::nullopt;
  std::uint64_t version = 0;
  const auto [end, error] = std::from_chars(key.data() + 1, key.data() + key.size(), version, 16);
  if (error != std::errc() || end != key.data() + key.size()) return std::nullopt;
  const auto item = std::ranges::find(entries_, version, &Entry::fingerprint);
  if (item == entries_.end()) return std::nullopt;
  return static_cast<std::size_t>(item - entries_.begin());
}

std::string CollectionIndex::key(std::size_t item) const {
  const std::string_view key = asin(item);
  if (!key.empty() && find(key) == item) return std::string(key);
  return '@' + itemVersion(item);
}

std::string CollectionIndex::itemVersion(std::size_t item) const {
  return hexOf(entries_[item].fingerprint);
}

// The file for one reader; null when it is gone, or `file_` is there for all.
std::unique_ptr<File> CollectionIndex::reopened() const {
  std::error_code error;
  return file_ ? nullptr : openShared(path_, error);
}

std::optional<std::string> CollectionIndex::text(std::size_t item) const {
  const Entry& entry = entries_[item];
  std::string text(entry.size, '\0');
  const std::unique_ptr<File> own = reopened();
  if (!own && !file_) return std::nullopt;
  const std::lock_guard lock(mutex_);
  const auto count =
      readFully(own ? *own : *file_, entry.offset, std::as_writable_bytes(std::span(text)));
  if (count != text.size() || fingerprint(text) != entry.fingerprint) return std::nullopt;
  return text;
}

bool CollectionIndex::forEachItem(
    const std::function<bool(std::size_t, const ItemStream&)>& visit) const {
  if (entries_.empty()) return true;
  const std::unique_ptr<File> own = reopened();
  if (!own && !file_) return false;
  SharedFile file(own ? *own : *file_, mutex_);
  ItemStream items(file);
  items.parseOnDemand();
  std::size_t place = 0;
  for (; items.next(); ++place) {
    if (place == size() || fingerprint(items.item()) != entries_[place].fingerprint) return false;
    if (!visit(place, items)) return true;
  }
  return !items.error() && place == size();
}

}  // namespace tessaron
