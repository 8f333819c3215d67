#include <algorithm>
#include <cstring>
#include <optional>
#include <span>
#include <utility>

#include "catalogue/readers/element_stream_internal.h"
#include "support/text.h"

namespace tessaron {
namespace {

constexpr std::size_t kBlock = std::size_t{256} << 10;

}  // namespace

ElementStream::ElementStream(File& file, Choice choose)
    : file_(file), choose_(std::move(choose)), scanner_({}, false) {}

bool ElementStream::next() {
  if (stopped_) return false;
  tree_.clear();
  bool isInElement = false;
  std::size_t begin = 0;
  for (;;) {
    if (!isInElement) keep_ = scanner_.end();
    const Token token = scanner_.next();
    if (token == Token::Incomplete) {
      const std::size_t before = keep_;
      if (!refill()) return false;
      begin -= isInElement ? before : 0;
      continue;
    }
    if (token == Token::Error) return stop(scanner_.error());
    if (token == Token::Finished) return stop({});
    const bool isStart = token == Token::Start || token == Token::Empty;
    if (!isInElement) {
      if (!isStart) continue;
      const std::size_t depth = scanner_.depth() - (token == Token::Start ? 1 : 0);
      if (depth == 0) rootName_ = scanner_.name();
      if (!choose_(scanner_, view(), depth)) continue;
      isInElement = true;
      begin = keep_ = scanner_.begin();
      count(begin);
      line_ = lines_;
    }
    if (!tree_.add(scanner_, token, view(), begin)) continue;
    tree_.setText(view().substr(begin, scanner_.end() - begin));
    return true;
  }
}

// Drops what is not needed from the window, and reads on. False when the stream ends here.
bool ElementStream::refill() {
  const std::size_t dropped = keep_;
  count(dropped);
  std::memmove(window_.data(), window_.data() + dropped, size_ - dropped);
  size_ -= dropped;
  counted_ -= dropped;
  keep_ = 0;
  if (size_ >= kMaxElement) {
    XmlError error;
    error.kind = XmlError::Kind::TooLarge;
    error.message = "an element of more than 64 MiB";
    return stop(error);
  }
  if (window_.size() - size_ < kBlock) window_.resize(std::max(size_ * 2, size_ + kBlock));
  const std::span<char> room(window_.data() + size_, window_.size() - size_);
  const std::optional<std::size_t> got = file_.read(std::as_writable_bytes(room));
  if (!got) {
    XmlError error;
    error.kind = XmlError::Kind::Unreadable;
    error.message = "the file cannot be read";
    return stop(error);
  }
  size_ += *got;
  scanner_.extend(view(), dropped, *got == 0);
  return true;
}

// Moves line and column to a place of the window.
void ElementStream::count(std::size_t to) {
  for (; counted_ < to; ++counted_) {
    const char c = window_[counted_];
    if (c == '\n') {
      ++lines_;
      column_ = 1;
    } else if ((static_cast<unsigned char>(c) & 0xC0) != 0x80) {
      ++column_;
    }
  }
}

bool ElementStream::stop(XmlError error) {
  stopped_ = true;
  tree_.clear();
  if (!error) return false;
  count(std::clamp(error.offset, counted_, size_));
  error.line = lines_;
  error.column = column_;
  error_ = std::move(error);
  return false;
}

}  // namespace tessaron
