#pragma once

#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "cli/options.h"
#include "cli/output.h"
#include "cli/terminal.h"
#include "records/record.h"

namespace tessaron::tool {

/// The record as one JSON object that always has the same keys in the same order, named as the
/// record's members: texts are strings, empty when there is none; lists are arrays (`discs` an
/// array of arrays); dates are "YYYY-MM-DD" or null; `icon` is a number or null; `status` is
/// {value, name, target, begin, end, text, due} or null, `due` as `CRecord::getDueStates` counts
/// it; `customFields` are the slots in use, as {name, value}. What only an application has in
/// memory (the cover's pixels, the reserved words) is left out. docs/collection.schema.json
/// describes it.
nlohmann::ordered_json recordJson(const CRecord& record);

/// The columns that a record has in a table for programs, in order: the keys of its JSON object,
/// except for those that only programs can read (`offers`, `folders`); a member of an object as
/// "status.name".
std::vector<std::string> recordColumns();

/// The values of an object's members as cells: the parts of a list are put together with
/// semicolons, lists of a list with line ends. Empty where there is no such member.
std::vector<std::string> jsonCells(const nlohmann::ordered_json& object,
                                   const std::vector<std::string>& columns);

/// Writes records as an array of JSON objects, or as CSV or TSV: a heading, then a row with these
/// columns for each.
class RecordWriter {
 public:
  RecordWriter(Form form, std::vector<std::string> columns, Output& output);
  void write(const CRecord& record);
  /// What `write` writes of a record, for those who keep it for a while, and then write it.
  std::string text(const CRecord& record) const;
  void writeText(std::string_view text);
  /// Writes what stands behind the last record.
  void finish();

 private:
  Form form_;
  std::vector<std::string> columns_;
  Output& output_;
  bool begun_ = false;
};

}  // namespace tessaron::tool
