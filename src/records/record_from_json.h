#pragma once

#include <functional>
#include <string>

#include "records/record.h"
#include "support/json_reader.h"
#include "tessaron_export.h"

namespace tessaron {

/// Reads into `record` the object that begins at the reader's current token, as `writeRecord`
/// writes it; keys may come in any order, and the values of missing ones stay. Keys that are
/// derived from others (status.name, status.text, status.due) are passed over. `onUnknown`, if any,
/// is told each key that no record has ("status.color"). The reader is then at the object's last
/// token, or at an error. Returns the first value of a wrong type or range, as a clause ("\"Title\"
/// is a number, not a text"); empty when all of them fit. docs/collection.schema.json describes
/// them. `sawDate`, if not null, becomes whether the key "DateAdded" was there.
TESSARON_API std::string recordFromJson(JsonReader& json, CRecord& record,
                                        const std::function<void(const std::string&)>& onUnknown,
                                        bool* sawDate = nullptr);

}  // namespace tessaron
