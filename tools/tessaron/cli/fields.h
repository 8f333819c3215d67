#pragma once
// Fields of items as the command line gives them.

#include <string>
#include <vector>

#include "catalogue/field_edit.h"

namespace tessaron::tool {

/// What NAME=VALUE arguments give for one field.
struct FieldValues {
  std::string name;
  NamedField field;
  std::vector<std::u16string> values;
  bool isUnknown =
      false;  ///< the name is no column's, and not marked as that of a field of the user's own
};

/// Takes NAME=VALUE arguments apart; several for one field come together. Fields come in the order
/// in which they can be set. Dates may be "today", "tomorrow" or "+14d". Fails with kUsage.
std::vector<FieldValues> parseFields(const std::vector<std::string>& arguments);

/// Sets a field. Entries of a list are separated by semicolons when there is only one value; an
/// empty value removes what is there. Fails with kUsage for a value that the field does not take
/// and for a name that looks like a misspelling, with kFailed and `where` when the record has no
/// room for another field of the user's own.
void setFieldOf(CRecord& record, const FieldValues& field, const std::string& where);

}  // namespace tessaron::tool
