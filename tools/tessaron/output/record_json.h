#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "cli/options.h"
#include "cli/output.h"
#include "platform/types.h"
#include "records/record_json.h"

namespace tessaron::tool {

/// Writes records as an array of JSON objects, or as CSV or TSV: a heading, then a row with these
/// columns for each. What is due is due at the time the writer is made.
class RecordWriter {
 public:
  /// `columns` are some of `recordColumns`.
  RecordWriter(Form form, std::vector<std::string> columns, Output& output);
  void write(const CRecord& record);
  /// What `write` writes of a record, for callers that keep it for a while and write it later.
  std::string text(const CRecord& record) const;
  void writeText(std::string_view text);
  /// Writes what stands behind the last record.
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
