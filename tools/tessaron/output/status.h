#pragma once
// Statuses as tables show them.

#include <array>
#include <string>

#include "output/table.h"
#include "records/record.h"

namespace tessaron::tool {

/// What the status is (a number when it has no name), whom it concerns and until when, as the
/// columns "Status", "Who" and "Until" of a table; empty without a status.
std::array<Table::Cell, 3> statusCells(const CRecord& record);

/// The mark as a table shows it.
Table::Cell dueCell(std::string mark);

}  // namespace tessaron::tool
