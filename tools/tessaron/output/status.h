#pragma once
// Statuses as tables show them.

#include <array>
#include <string>

#include "output/table.h"
#include "records/record.h"

namespace tessaron::tool {

/// The cells of the columns "Status" (a number for an unknown status), "Who" and "Until"; empty
/// without a status.
std::array<Table::Cell, 3> statusCells(const CRecord& record);

/// The table cell of a due mark.
Table::Cell dueCell(std::string mark);

}  // namespace tessaron::tool
