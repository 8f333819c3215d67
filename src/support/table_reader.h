#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "platform/file.h"
#include "tessaron_export.h"

namespace tessaron {

/// Reads a table of separated cells row by row, from text in UTF-8 without a byte-order mark. Reads
/// the file block by block: memory depends on the longest row alone. For one thread at a time.
class TESSARON_API TableReader {
 public:
  enum class Quoting {
    Marks,    ///< RFC 4180: cells in quotation marks hold separators, line ends and doubled marks
    Escapes,  ///< a row is a line; \t, \n, \r and \\ in a cell are escapes
  };
  static constexpr std::size_t kMaxRow = std::size_t{64} << 20;  ///< bytes
  static constexpr std::size_t kMaxCells = 4096;                 ///< in a row

  /// Reads `file`, which must outlive the reader, from its position on.
  TableReader(File& file, char separator, Quoting quoting);

  /// Reads the next row that is not empty. False after the last one and at an error. Rows end with
  /// LF, CRLF or CR.
  bool next(std::vector<std::string>& cells);
  /// The line on which the row begins, from 1.
  std::size_t line() const { return rowLine_; }
  /// Why the table cannot be read on, one line in English; empty after the last row.
  const std::string& error() const { return error_; }
  /// Whether the error is that the file could not be read.
  bool isUnreadable() const { return unreadable_; }

 private:
  int peek();
  int take();
  bool readRow(std::vector<std::string>& cells);
  bool readMarked(std::string& cell);
  bool add(std::string& cell, char c);
  bool fail(std::string message);

  File& file_;
  char separator_;
  Quoting quoting_;
  std::string block_;
  std::size_t at_ = 0;
  bool ended_ = false;
  bool unreadable_ = false;
  std::size_t size_ = 0;  // of the row so far
  std::size_t line_ = 1;
  std::size_t rowLine_ = 1;
  std::string error_;
};

}  // namespace tessaron
