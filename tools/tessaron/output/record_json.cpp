#include "output/record_json.h"

#include <utility>

#include "output/csv.h"
#include "platform/system.h"
#include "support/json_writer.h"

namespace tessaron::tool {

RecordWriter::RecordWriter(Form form, std::vector<std::string> columns, Output& output)
    : form_(form), names_(std::move(columns)), now_(utcNow()), output_(output) {
  for (const std::string& name : names_) columns_.push_back(recordColumn(name));
}

void RecordWriter::write(const CRecord& record) {
  text_.clear();
  appendText(record, text_);
  writeText(text_);
}

std::string RecordWriter::text(const CRecord& record) const {
  std::string text;
  appendText(record, text);
  return text;
}

void RecordWriter::appendText(const CRecord& record, std::string& out) const {
  if (form_ == Form::Json) {
    JsonWriter json(out);
    return writeRecord(record, now_, json);
  }
  RowWriter row(form_, out);
  std::string cell;
  for (const RecordColumn column : columns_) {
    cell.clear();
    appendCell(record, column, now_, cell);
    row.add(cell);
  }
  row.end();
}

void RecordWriter::writeText(std::string_view text) {
  if (form_ == Form::Json) {
    output_.write(begun_ ? ",\n" : "[\n");
  } else if (!begun_) {
    output_.write(separatedRow(form_, names_));
  }
  begun_ = true;
  output_.write(text);
}

void RecordWriter::finish() {
  if (form_ == Form::Json) {
    output_.write(begun_ ? "\n]\n" : "[]\n");
  } else if (!begun_) {
    output_.write(separatedRow(form_, names_));
  }
}

}  // namespace tessaron::tool
