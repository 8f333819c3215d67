#include "support/table_reader.h"

#include <optional>
#include <span>
#include <utility>

namespace tessaron {
namespace {

constexpr std::size_t kBlock = std::size_t{64} << 10;
constexpr int kEnd = -1;

bool isLineEnd(int c) { return c == '\n' || c == '\r'; }

}  // namespace

TableReader::TableReader(File& file, char separator, Quoting quoting)
    : file_(file), separator_(separator), quoting_(quoting) {}

// The next byte, or kEnd.
int TableReader::peek() {
  if (at_ == block_.size() && !ended_) {
    block_.resize(kBlock);
    const std::optional<std::size_t> got = file_.read(std::as_writable_bytes(std::span(block_)));
    unreadable_ = !got;
    block_.resize(got.value_or(0));
    at_ = 0;
    ended_ = block_.empty();
  }
  return at_ < block_.size() ? static_cast<unsigned char>(block_[at_]) : kEnd;
}

int TableReader::take() {
  const int c = peek();
  if (c != kEnd) ++at_;
  if (c == '\n' || (c == '\r' && peek() != '\n')) ++line_;
  return c;
}

bool TableReader::fail(std::string message) {
  error_ = unreadable_ ? "the file cannot be read" : std::move(message);
  return false;
}

bool TableReader::add(std::string& cell, char c) {
  if (++size_ > kMaxRow) return fail("a row of more than 64 MiB");
  cell += c;
  return true;
}

// Reads the part of a cell that is in quotation marks.
bool TableReader::readMarked(std::string& cell) {
  take();
  for (;;) {
    const int c = take();
    if (c == kEnd) return fail("a cell without its closing quotation mark");
    if (c == '"') {
      if (peek() != '"') return true;
      take();
    }
    if (!add(cell, static_cast<char>(c))) return false;
  }
}

bool TableReader::readRow(std::vector<std::string>& cells) {
  const bool hasMarks = quoting_ == Quoting::Marks;
  std::string* cell = &cells.emplace_back();
  if (hasMarks && peek() == '"' && !readMarked(*cell)) return false;
  for (;;) {
    const int c = take();
    if (c == kEnd) return unreadable_ ? fail({}) : true;
    if (c == '\r' && peek() == '\n') continue;
    if (isLineEnd(c)) return true;
    if (c == static_cast<unsigned char>(separator_)) {
      if (cells.size() == kMaxCells) return fail("a row of more than 4096 cells");
      cell = &cells.emplace_back();
      if (hasMarks && peek() == '"' && !readMarked(*cell)) return false;
      continue;
    }
    char plain = static_cast<char>(c);
    if (!hasMarks && c == '\\') {
      constexpr std::string_view kLetters = "tnr\\", kMeanings = "\t\n\r\\";
      const int letter = peek();
      const std::size_t at =
          letter == kEnd ? kLetters.npos : kLetters.find(static_cast<char>(letter));
      if (at != kLetters.npos) {
        take();
        plain = kMeanings[at];
      }
    }
    if (!add(*cell, plain)) return false;
  }
}

bool TableReader::next(std::vector<std::string>& cells) {
  if (!error_.empty()) return false;
  do {
    cells.clear();
    if (peek() == kEnd) return unreadable_ ? fail({}) : false;
    rowLine_ = line_;
    size_ = 0;
    if (!readRow(cells)) return false;
  } while (cells.size() == 1 && cells[0].empty());
  return true;
}

}  // namespace tessaron
