#include "records/record_json.h"

#include "records/record_fields.h"
#include "records/record_values_internal.h"

namespace tessaron {

void writeRecord(const CRecord& record, const SYSTEMTIME& now, JsonWriter& json) {
  ValueWriter writer(record, now, json);
  json.beginObject();
  for (const Field& field : kFields) {
    if (field.isPart) continue;
    json.key(field.name);
    writer.write(field);
  }
  json.endObject();
}

void writeStatus(const CRecord& record, const SYSTEMTIME& now, JsonWriter& json) {
  ValueWriter(record, now, json).writeStatus();
}

}  // namespace tessaron
