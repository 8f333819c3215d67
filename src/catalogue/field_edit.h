#pragma once

#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "records/record_cells.h"
#include "tessaron_export.h"

namespace tessaron {

/// A field as people name it: a column of the record, or a field of their own.
struct NamedField {
  std::optional<RecordColumn> column;
  std::u16string own;  ///< its name, where it is no column

  bool operator==(const NamedField&) const = default;
};

/// The field that `name` names: a column as `findColumn` knows it, or a field of the user's own as
/// "custom.NAME". Nothing for other names.
TESSARON_API std::optional<NamedField> findField(std::string_view name);

/// The short name of the column that `name` is most likely a misspelling of; empty when none is
/// near. Valid for ever.
TESSARON_API std::string_view nearestField(std::string_view name);

/// The values of a field, one an entry of a list; a track as "[2] Title", without the number of the
/// disc when there is only one. None for a field that is empty, and for those that `setField` does
/// not take.
TESSARON_API std::vector<std::u16string> fieldValues(const CRecord& record,
                                                     const NamedField& field);

/// Gives a field the values, in the form of `fieldValues`; none remove what is there. Returns why
/// that cannot be, as a clause, and leaves the record as it was; empty when done. Numbers, dates
/// and prices are checked. Customers' reviews, and columns that are made of others, are refused.
TESSARON_API std::string setField(CRecord& record, const NamedField& field,
                                  std::span<const std::u16string> values);

/// Why `record` cannot take the place of `known`, as a clause: it lost its key or its title, or got
/// a status that ends before it begins. Empty when it can.
TESSARON_API std::string recordError(const CRecord& known, const CRecord& record);

}  // namespace tessaron
