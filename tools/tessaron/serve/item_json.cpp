#include "serve/item_json.h"

#include <nlohmann/json.hpp>

#include "records/due.h"
#include "records/record_json.h"
#include "support/dos_date.h"
#include "support/json_writer.h"
#include "support/text.h"

namespace tessaron::tool {

void appendItemJson(const CRecord& record, std::string_view key, std::string_view version,
                    const SYSTEMTIME& now, std::string& out) {
  std::string text;
  JsonWriter json(text);
  writeRecord(record, now, json);
  out += "{\"key\":" + nlohmann::json(std::string(key)).dump() + ",\"version\":\"";
  out.append(version) += "\",";
  out.append(text, 1);
}

}  // namespace tessaron::tool
