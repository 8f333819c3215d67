#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "catalogue/item_field.h"
#include "cli/options.h"
#include "cli/output.h"
#include "platform/types.h"
#include "records/record.h"

namespace tessaron::tool {

/// Writes records as an array of JSON objects, or as CSV or TSV: a heading, then a row with these
/// columns for each. Due marks refer to the time of construction.
class RecordWriter {
 public:
  /// All columns; JSON has whole objects.
  RecordWriter(Form form, Output& output);
  /// With `isWhole` JSON has whole objects, else only members for the columns.
  RecordWriter(Form form, std::vector<ItemField> columns, bool isWhole, Output& output);
  void write(const CRecord& record);
  /// The text that `write` writes for a record, for callers that write it later.
  std::string text(const CRecord& record) const;
  void writeText(std::string_view text);
  /// Writes the end of the document.
  void finish();

 private:
  void appendText(const CRecord& record, std::string& out) const;
  void appendObject(const CRecord& record, std::string& out) const;
  std::string heading() const;

  Form form_;
  std::vector<ItemField> columns_;
  bool isWhole_;
  SYSTEMTIME now_;
  Output& output_;
  std::string text_;
  bool begun_ = false;
};

}  // namespace tessaron::tool
