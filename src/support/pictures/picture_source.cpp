#include <algorithm>
#include <iterator>

#include "support/pictures/picture_source_internal.h"

namespace tessaron {

PictureSource::PictureSource(std::span<const std::byte> bytes)
    : size_(bytes.size()), head_(bytes) {}

PictureSource::PictureSource(File& file, std::uint64_t size)
    : size_(size),
      file_(&file),
      headBytes_(static_cast<std::size_t>(std::min<std::uint64_t>(size, kHeadSize))) {
  headBytes_.resize(readFully(file, 0, headBytes_).value_or(0));
  head_ = headBytes_;
}

std::size_t PictureSource::read(std::uint64_t offset, std::span<std::byte> buffer) {
  if (offset >= size_) return 0;
  buffer = buffer.first(
      static_cast<std::size_t>(std::min<std::uint64_t>(buffer.size(), size_ - offset)));
  const auto copyFrom = [&](std::span<const std::byte> bytes, std::uint64_t at) {
    if (offset < at || offset - at >= bytes.size()) return std::size_t{0};
    const auto rest = bytes.subspan(static_cast<std::size_t>(offset - at));
    const std::size_t count = std::min(rest.size(), buffer.size());
    std::ranges::copy(rest.first(count), buffer.begin());
    return count;
  };
  const std::size_t fromHead = copyFrom(head_, 0);
  if (fromHead == buffer.size() || !file_) return fromHead;
  if (buffer.size() >= kHeadSize) return readFully(*file_, offset, buffer).value_or(0);
  const bool isInWindow = offset >= windowAt_ && offset - windowAt_ <= window_.size() &&
                          window_.size() - (offset - windowAt_) >= buffer.size();
  if (!isInWindow) {
    window_.resize(kHeadSize);
    windowAt_ = offset;
    window_.resize(readFully(*file_, offset, window_).value_or(0));
  }
  return copyFrom(window_, windowAt_);
}

std::vector<std::byte> PictureSource::bytes(std::uint64_t offset, std::size_t count) {
  const std::uint64_t left = size_ - std::min(offset, size_);
  std::vector<std::byte> bytes(static_cast<std::size_t>(std::min<std::uint64_t>(count, left)));
  bytes.resize(read(offset, bytes));
  return bytes;
}

void PictureView::addRange(std::uint64_t offset, std::uint64_t size) {
  if (size == 0) return;
  if (!parts_.empty() && parts_.back().bytes.empty() &&
      parts_.back().offset + parts_.back().size == offset) {
    parts_.back().size += size;
  } else {
    parts_.push_back({size_, size, offset, {}});
  }
  size_ += size;
}

void PictureView::addBytes(std::vector<std::byte> bytes) {
  if (bytes.empty()) return;
  const std::uint64_t size = bytes.size();
  parts_.push_back({size_, size, 0, std::move(bytes)});
  size_ += size;
}

Bitmap PictureView::load(FREE_IMAGE_FORMAT format, int flags) {
  static FreeImageIO io{readItems, write, seek, tell};
  at_ = 0;
  return Bitmap(FreeImage_LoadFromHandle(format, &io, this, flags));
}

// Reads from the part at the position and moves on.
std::size_t PictureView::readPart(std::span<std::byte> buffer) {
  auto next = std::ranges::upper_bound(parts_, at_, {}, &Part::begin);
  if (next == parts_.begin() || at_ >= size_) return 0;
  const Part& part = *std::prev(next);
  const std::uint64_t inside = at_ - part.begin;
  buffer = buffer.first(
      static_cast<std::size_t>(std::min<std::uint64_t>(buffer.size(), part.size - inside)));
  std::size_t count = buffer.size();
  if (part.bytes.empty())
    count = source_->read(part.offset + inside, buffer);
  else
    std::copy_n(part.bytes.begin() + static_cast<std::ptrdiff_t>(inside), count, buffer.begin());
  at_ += count;
  return count;
}

std::size_t PictureView::read(std::span<std::byte> buffer) {
  std::size_t given = 0;
  while (given < buffer.size()) {
    const std::size_t count = readPart(buffer.subspan(given));
    if (count == 0) break;
    given += count;
  }
  // FreeImage's readers use their headers also where a file ends inside them.
  constexpr std::size_t kMaxHeader = 1024;
  if (buffer.size() <= kMaxHeader) std::ranges::fill(buffer.subspan(given), std::byte{0});
  return given;
}

unsigned DLL_CALLCONV PictureView::readItems(void* buffer, unsigned size, unsigned count,
                                             fi_handle handle) {
  const std::span bytes(static_cast<std::byte*>(buffer), std::size_t{size} * count);
  const std::size_t given = static_cast<PictureView*>(handle)->read(bytes);
  return size == 0 ? 0 : static_cast<unsigned>(given / size);
}

int DLL_CALLCONV PictureView::seek(fi_handle handle, long offset, int origin) {
  auto& view = *static_cast<PictureView*>(handle);
  const std::uint64_t from = origin == SEEK_SET ? 0 : origin == SEEK_CUR ? view.at_ : view.size_;
  const std::int64_t to = static_cast<std::int64_t>(from) + offset;
  if (to < 0) return -1;
  view.at_ = static_cast<std::uint64_t>(to);
  return 0;
}

long DLL_CALLCONV PictureView::tell(fi_handle handle) {
  return static_cast<long>(static_cast<PictureView*>(handle)->at_);
}

}  // namespace tessaron
