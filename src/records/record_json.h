#pragma once

#include "platform/types.h"
#include "records/record.h"
#include "support/json_writer.h"
#include "tessaron_export.h"

namespace tessaron {

/// Writes the record as one JSON object that always has the same keys in the same order, named as
/// the record's members: texts are strings, empty when there is none; lists are arrays (`discs` an
/// array of arrays); dates are "YYYY-MM-DD", or null for none and for one that does not exist;
/// `icon` is a number or null; `customFields` are the slots in use, as {name, value}; `status` as
/// `writeStatus` writes it. What only an application has in memory (the cover's pixels, the
/// reserved words) is left out. docs/collection.schema.json describes it. Throws only bad_alloc.
TESSARON_API void writeRecord(const CRecord& record, const SYSTEMTIME& now, JsonWriter& json);

/// Writes the status as {value, name, target, begin, end, text, due}, or null without one. `due` is
/// that of `dueStateAt` at the UTC time `now`.
TESSARON_API void writeStatus(const CRecord& record, const SYSTEMTIME& now, JsonWriter& json);

}  // namespace tessaron
