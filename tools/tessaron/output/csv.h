#pragma once
// Rows of values for spreadsheets and programs. A text that a spreadsheet would take for a formula
// gets an apostrophe in front (plain numbers do not), and so does the rest of a text after a
// character at which spreadsheets split cells; control characters become U+FFFD.

#include <string>
#include <string_view>
#include <vector>

#include "cli/options.h"

namespace tessaron::tool {

/// Writes rows field by field. CSV is that of RFC 4180: commas, CRLF, and quotation marks where
/// required, or where a field has a semicolon, at which spreadsheets split fields in some locales.
/// Tab-separated rows end with LF; tabs, LF, CR and backslashes in a field are written as
/// \t, \n, \r and \\.
class RowWriter {
 public:
  /// Appends to `out`, which must outlive the writer. `form` is Csv or Tsv.
  RowWriter(Form form, std::string& out) : isTsv_(form == Form::Tsv), out_(out) {}
  void add(std::string_view field);
  /// Ends the row; the next field starts a new one.
  void end();

 private:
  bool isTsv_;
  bool isEmpty_ = true;
  std::string& out_;
};

/// A row in the form Csv or Tsv.
std::string separatedRow(Form form, const std::vector<std::string>& fields);

}  // namespace tessaron::tool
