#pragma once
// What queries, orders and formats name: the columns of a record, and what is made of several.

#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "platform/types.h"
#include "records/record.h"
#include "records/record_cells.h"
#include "tessaron_export.h"

namespace tessaron {

struct ItemField {
  enum class Kind {
    Column,
    Due,     ///< the day on which the item falls due; nothing when it does not
    People,  ///< all who made it: actors, artists, authors, directors, translators
    Year,    ///< of its release, publication or premiere
    File,    ///< the paths of the files that are linked to it
    Custom,  ///< the custom field of a name
  };

  Kind kind = Kind::Column;
  RecordColumn column{};  ///< of a Column
  std::u16string custom;  ///< the folded name of a Custom
  std::string name;       ///< as tables for programs name it; `findItemField` finds it by that
};

/// The fields that are no columns, but for the custom ones, with a word on each.
struct MadeField {
  std::string_view name;
  ItemField::Kind kind;
  ValueKind values;
  std::string_view about;
};
TESSARON_API const std::vector<MadeField>& madeFields();

/// The field that people mean by `name`: one of `madeFields`, "custom.NAME", or a column as
/// `findColumn` finds it. Nothing when there is none.
TESSARON_API std::optional<ItemField> findItemField(std::string_view name);

/// All names by which there is a field, short ones included.
TESSARON_API std::vector<std::string> itemFieldNames();

/// What the texts of a field say.
TESSARON_API ValueKind valueKind(const ItemField& field);

/// Whether records that are read without `CRecord::fullDetail` lack the field.
TESSARON_API bool isDetail(const ItemField& field);

/// Calls `visit` with each text of the field that is not empty. Due dates are counted at the UTC
/// time `now`.
TESSARON_API void forEachText(const CRecord& record, const ItemField& field, const SYSTEMTIME& now,
                              const std::function<void(std::u16string_view)>& visit);

/// Appends the field as a cell of a table, see `appendCell`.
TESSARON_API void appendCell(const CRecord& record, const ItemField& field, const SYSTEMTIME& now,
                             std::string& out);

/// Writes the field as JSON: a column as `writeCell`; a year as a number, people as an array, a due
/// date or a custom field as a text; null where there is none.
TESSARON_API void writeCell(const CRecord& record, const ItemField& field, const SYSTEMTIME& now,
                            JsonWriter& json);

/// The year in the first of release, publication and premiere that has one, such as "2005-09-01" or
/// "September 2005"; empty when none has.
TESSARON_API std::u16string yearOf(const CRecord& record);

}  // namespace tessaron
