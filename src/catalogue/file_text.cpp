#include <algorithm>
#include <optional>
#include <span>

#include "catalogue/file_text_internal.h"

namespace tessaron {
namespace {

constexpr std::size_t kBlock = std::size_t{64} << 10;

}  // namespace

std::string_view FileText::view(std::uint64_t at, std::size_t count) {
  if (at >= size_) return {};
  const std::uint64_t end = blockBegin_ + block_.size();
  if (at < blockBegin_ || std::min(at + count, size_) > end) {
    block_.resize(kBlock);
    block_.resize(read(at, block_.data(), kBlock));
    blockBegin_ = at;
  }
  return std::string_view(block_).substr(static_cast<std::size_t>(at - blockBegin_));
}

std::size_t FileText::read(std::uint64_t at, char* buffer, std::size_t size) {
  if (at >= size_) return 0;
  size = static_cast<std::size_t>(std::min<std::uint64_t>(size, size_ - at));
  const auto bytes = std::as_writable_bytes(std::span(buffer, size));
  const std::optional<std::size_t> got = readFully(file_, base_ + at, bytes);
  if (got == size) return size;
  // A file that was cut meanwhile cannot be trusted, either.
  hasFailed_ = true;
  size_ = at + got.value_or(0);
  return got.value_or(0);
}

std::uint64_t FileText::find(std::string_view what, std::uint64_t from, std::uint64_t to) {
  to = std::min(to, size_);
  while (from < to && to - from >= what.size()) {
    std::string_view here = view(from, what.size());
    here =
        here.substr(0, static_cast<std::size_t>(std::min<std::uint64_t>(here.size(), to - from)));
    const std::size_t at = here.find(what);
    if (at != here.npos) return from + at;
    if (here.size() < what.size()) break;
    from += here.size() - (what.size() - 1);
  }
  return npos;
}

std::uint64_t FileText::findLast(std::string_view what) {
  for (std::uint64_t end = size_; end > 0;) {
    const std::uint64_t begin = end - std::min<std::uint64_t>(end, kBlock / 2);
    // A match may begin here and continue after the end.
    const std::size_t at = view(begin, kBlock / 2 + what.size())
                               .substr(0, static_cast<std::size_t>(end - begin) + what.size() - 1)
                               .rfind(what);
    if (at != std::string_view::npos) return begin + at;
    if (hasFailed_) break;
    end = begin;
  }
  return npos;
}

}  // namespace tessaron
