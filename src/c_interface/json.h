#pragma once
// Records as the C interface takes and gives them.

#include <string>
#include <string_view>

#include "records/record.h"

namespace tessaron::c {

/// The record as JSON, with its due state now.
std::string jsonOf(const CRecord& record);

/// Gives `record` the values that an object of JSON has, and `sawDate`, if not null, whether
/// "DateAdded" was one of them. Fails when it is none, or has a member that no record has.
void readJson(std::string_view json, CRecord& record, bool* sawDate = nullptr);

}  // namespace tessaron::c
