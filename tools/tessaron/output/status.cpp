#include "output/status.h"

#include <utility>

#include "support/dos_date.h"
#include "support/text.h"

namespace tessaron::tool {

std::array<Table::Cell, 3> statusCells(const CRecord& record) {
  if (!record.hasStatus) return {};
  const std::string name = toUtf8(statusLabel(record.status));
  return {{{name.empty() ? std::to_string(record.status) : name},
           {toUtf8(record.StatusTarget)},
           {isoDate(record.StatusEndDate)}}};
}

Table::Cell dueCell(std::string mark) {
  const Style style = mark == "due soon" ? Style::Yellow : Style::Red;
  return {std::move(mark), style};
}

}  // namespace tessaron::tool
