#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "cli/options.h"
#include "cli/output.h"
#include "platform/types.h"
#include "records/record_cells.h"
#include "records/record_json.h"

namespace tessaron::tool {

/// Writes records as an array of JSON objects, or as CSV or TSV: a heading, then a row with these
/// columns for each. Due marks refer to the time of construction.
class RecordWriter {
 public:
  /// `columns` are some of `recordColumns`.
  RecordWriter(Form form, std::vector<std::string> columns, Output& output);
  void write(const CRecord& record);
  /// The text that `write` writes for a record, for callers that write it later.
  std::string text(const CRecord& record) const;
  void writeText(std::string_view text);
  /// Writes the end of the document.
  void finish();

 private:
  void appendText(const CRecord& record, std::string& out) const;

  Form form_;
  std::vector<std::string> names_;
  std::vector<RecordColumn> columns_;
  SYSTEMTIME now_;
  Output& output_;
  std::string text_;
  bool begun_ = false;
};

}  // namespace tessaron::tool
