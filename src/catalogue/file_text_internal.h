#pragma once

#include <cstddef>
#include <cstdint>
#include <limits>
#include <string>
#include <string_view>

#include "platform/file.h"

namespace tessaron {

/// Random access to the text in a file through one block of memory. Positions are bytes from the
/// start of the text. Used by one thread at a time.
class FileText {
 public:
  static constexpr std::uint64_t npos = std::numeric_limits<std::uint64_t>::max();

  /// The text begins `base` bytes after the start of `file`, which must outlive this object and
  /// has `fileSize` bytes.
  FileText(File& file, std::uint64_t base, std::uint64_t fileSize)
      : file_(file), base_(base), size_(fileSize - base) {}

  std::uint64_t size() const { return size_; }
  /// Whether a read has failed. The text counts as ended where it did.
  bool hasFailed() const { return hasFailed_; }

  /// The text from `at` on: at least `count` bytes, where the text has as many. `count` may be
  /// up to 60 KiB. Valid until the next call of any function.
  std::string_view view(std::uint64_t at, std::size_t count = 1);
  /// Reads up to `size` bytes from `at` on. Returns how many.
  std::size_t read(std::uint64_t at, char* buffer, std::size_t size);

  /// The first, or last, place of `what` between `from` and `to`; npos when there is none.
  std::uint64_t find(std::string_view what, std::uint64_t from, std::uint64_t to = npos);
  std::uint64_t findLast(std::string_view what);
  /// Whether the text at `at` is `what`.
  bool startsWith(std::uint64_t at, std::string_view what) {
    return view(at, what.size()).starts_with(what);
  }

 private:
  File& file_;
  std::uint64_t base_;
  std::uint64_t size_;
  std::string block_;
  std::uint64_t blockBegin_ = 0;
  bool hasFailed_ = false;
};

/// Finds a string in a FileText from positions that mostly ascend, and searches no stretch twice.
class FileSearch {
 public:
  std::uint64_t find(FileText& text, std::string_view what, std::uint64_t from) {
    if (from < from_ || from > at_) {
      from_ = from;
      at_ = text.find(what, from);
    }
    return at_;
  }

 private:
  std::uint64_t from_ = 1;  // `what` does not begin from here to before `at_`
  std::uint64_t at_ = 0;
};

}  // namespace tessaron
