#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

#include "records/record.h"
#include "tessaron_export.h"

namespace tessaron {

/// An item as a text for people to change: a line "field: value" each, lists with a line an entry,
/// texts of several lines indented below "field: |", comments behind "#". Names are those of
/// `findField`. Customers' reviews, offers and folders are not in it.
TESSARON_API std::string formText(const CRecord& record);

/// Why a form cannot be taken.
struct FormError {
  std::size_t line;  ///< from 1
  std::string reason;
};

/// Gives `record` the fields in which the form `text` differs from `before`, which `formText` has
/// made of it: what was left alone stays as it was, whatever a form can show of it. Fields whose
/// lines were deleted become empty. When there are errors, which come in the order of their lines,
/// the record is to be dropped.
TESSARON_API std::vector<FormError> readForm(std::string_view before, std::string_view text,
                                             CRecord& record);

}  // namespace tessaron
