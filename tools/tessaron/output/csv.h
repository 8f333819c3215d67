#pragma once
// Rows of values for spreadsheets and programs. A text that a spreadsheet would take for a formula
// gets an apostrophe in front (plain numbers do not), and so does the rest of a text behind a
// character at which spreadsheets divide cells; control characters become U+FFFD.

#include <string>
#include <string_view>
#include <vector>

#include "cli/options.h"

namespace tessaron::tool {

/// One field by RFC 4180, quoted where it must be, and where it has a semicolon: spreadsheets of
/// some countries part the fields there.
std::string csvField(std::string_view text);

/// A CSV record: fields, commas, CRLF.
std::string csvRow(const std::vector<std::string>& fields);

/// A tab-separated record in one line, ended by LF. Tabs, LF, CR and backslashes in a field are
/// written as \t, \n, \r and \\.
std::string tsvRow(const std::vector<std::string>& fields);

/// The record in the form Csv or Tsv.
std::string separatedRow(Form form, const std::vector<std::string>& fields);

}  // namespace tessaron::tool
