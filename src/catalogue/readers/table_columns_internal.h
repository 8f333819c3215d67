#pragma once
// The columns of tables that other programs export, and how their cells become fields.

#include <span>
#include <string>
#include <string_view>

#include "records/record.h"
#include "records/record_fields.h"

namespace tessaron {

/// A cell on its way into a record.
struct ColumnCell {
  CRecord& record;
  const Field* field;         ///< where it goes, for conversions of any field
  std::string_view argument;  ///< of the rule
  std::string text;           ///< without white space at its ends, not empty
};

/// A column of a program's table.
struct ColumnRule {
  std::string_view column;  ///< in any case
  std::string_view field;   ///< as `recordColumns` names it
  void (*convert)(const ColumnCell& cell);
  std::string_view argument = {};
};

/// A program whose tables are known.
struct TableProgram {
  std::string_view name;
  std::string_view group;  ///< the product group of its items, where no column tells it
  std::span<const std::string_view> signs;  ///< one of these columns shows that the table is its
  std::span<const ColumnRule> columns;
  /// The column by which its items are told apart where title, person and group do not do; empty
  /// for none.
  std::string_view identifier = {};
};

std::span<const TableProgram> tablePrograms();

/// The fields of Tellico's collections, by their names there.
std::span<const ColumnRule> tellicoFields();

/// The rule for a name, in any case; null when there is none.
const ColumnRule* findRule(std::span<const ColumnRule> rules, std::string_view name);

/// The field of the record to which a rule leads.
const Field* fieldOf(const ColumnRule& rule);

}  // namespace tessaron
