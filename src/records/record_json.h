#pragma once
// Records for programs: as JSON, and as the cells of a table.

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "platform/types.h"
#include "records/field_text.h"
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

/// A column of a table of records, by its place in `recordColumns`.
enum class RecordColumn : std::size_t {};

/// The names of the columns that a record has in a table for programs: the keys of its JSON object
/// in order, except for those that only programs can read (`offers`, `folders`); a member of an
/// object as "status.name". Valid for ever.
TESSARON_API const std::vector<std::string>& recordColumns();

/// The column of that name, which must be one of `recordColumns`.
TESSARON_API RecordColumn recordColumn(std::string_view name);

/// The column that people mean by `name`: its own name or its short one, whatever the case of ASCII
/// letters. Nothing when there is none.
TESSARON_API std::optional<RecordColumn> findColumn(std::string_view name);

/// The name of a column on a command line: "author" for "authors"; the column's own where there is
/// no shorter one. Valid for ever.
TESSARON_API std::string_view shortName(RecordColumn column);

/// What the cells of a column say.
TESSARON_API ValueKind valueKind(RecordColumn column);

/// Appends the record's cell in UTF-8: what the JSON object holds at that key, null as nothing. The
/// parts of a list are put together with semicolons, discs with line ends, name and value of a
/// custom field with a colon.
TESSARON_API void appendCell(const CRecord& record, RecordColumn column, const SYSTEMTIME& now,
                             std::string& out);

}  // namespace tessaron
