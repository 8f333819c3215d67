#include "output/record_json.h"

#include <utility>

#include "output/csv.h"
#include "platform/system.h"
#include "records/record_json.h"
#include "support/json_writer.h"
#include "support/text.h"

namespace tessaron::tool {

namespace {

std::vector<ItemField> allColumns() {
  std::vector<ItemField> columns;
  for (const std::string& name : recordColumns()) columns.push_back(*findItemField(name));
  return columns;
}

}  // namespace

RecordWriter::RecordWriter(Form form, Output& output)
    : RecordWriter(form, allColumns(), true, output) {}

RecordWriter::RecordWriter(Form form, std::vector<ItemField> columns, bool isWhole, Output& output)
    : form_(form),
      columns_(std::move(columns)),
      isWhole_(isWhole),
      now_(utcNow()),
      output_(output) {}

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
  if (form_ == Form::Json) return appendObject(record, out);
  RowWriter row(form_, out);
  std::string cell;
  for (const ItemField& column : columns_) {
    cell.clear();
    appendCell(record, column, now_, cell);
    row.add(cell);
  }
  row.end();
}

void RecordWriter::appendObject(const CRecord& record, std::string& out) const {
  JsonWriter json(out);
  if (isWhole_) return writeRecord(record, now_, json);
  json.beginObject();
  for (const ItemField& column : columns_) {
    json.key(fromUtf8(column.name));
    writeCell(record, column, now_, json);
  }
  json.endObject();
}

std::string RecordWriter::heading() const {
  std::vector<std::string> names;
  for (const ItemField& column : columns_) names.push_back(column.name);
  return separatedRow(form_, names);
}

void RecordWriter::writeText(std::string_view text) {
  if (form_ == Form::Json) {
    output_.write(begun_ ? ",\n" : "[\n");
  } else if (!begun_) {
    output_.write(heading());
  }
  begun_ = true;
  output_.write(text);
}

void RecordWriter::finish() {
  if (form_ == Form::Json) {
    output_.write(begun_ ? "\n]\n" : "[]\n");
  } else if (!begun_) {
    output_.write(heading());
  }
}

}  // namespace tessaron::tool
