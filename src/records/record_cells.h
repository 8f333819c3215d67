#pragma once
// Records as the rows of a table for programs.

#include <cstddef>
#include <functional>
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

/// A column of a table of records, by its place in `recordColumns`.
enum class RecordColumn : std::size_t {};

/// The names of the columns that a record has in a table for programs: the keys of its JSON object
/// in order, except for those that only programs can read (`offers`, `folders`, `loans`, `files`);
/// a member of an object as "status.name". Valid for ever.
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

/// Writes what the record's JSON object holds at that key.
TESSARON_API void writeCell(const CRecord& record, RecordColumn column, const SYSTEMTIME& now,
                            JsonWriter& json);

/// Calls `visit` with each text of the record's cell that is not empty: the parts of lists one by
/// one, name and value of a custom field too; numbers and dates as `appendCell` writes them.
TESSARON_API void forEachText(const CRecord& record, RecordColumn column, const SYSTEMTIME& now,
                              const std::function<void(std::u16string_view)>& visit);

/// Whether records that are read without `CRecord::fullDetail` lack the column.
TESSARON_API bool isDetail(RecordColumn column);

/// Whether `setCell` holds texts to the column's kind. Members that hold no other kind are held to
/// it in any case.
enum class CellCheck { Typed, AnyText };

/// Gives the record what `appendCell` has written for a column; an empty text removes it. Returns
/// why it cannot be, as a clause ("\"x\" is no date from 1980 to 2107, written YYYY-MM-DD"), and
/// leaves the record as it was; empty when done. Parts of lists are separated by semicolons. A
/// target or a date of the status needs a status. The columns that are made of others (status.text,
/// status.due) cannot be given.
TESSARON_API std::string setCell(CRecord& record, RecordColumn column, std::u16string_view text,
                                 CellCheck check);

}  // namespace tessaron
