#pragma once

#include <functional>
#include <nlohmann/json.hpp>
#include <string_view>
#include <vector>

#include "records/record.h"

namespace tessaron::tool {

/// The record as one JSON object that always has the same keys in the same order, named as the
/// record's members: texts are strings, empty when there is none; lists are arrays (`discs` an
/// array of arrays); dates are "YYYY-MM-DD" or null; `icon` is a number or null; `status` is
/// {value, name, target, begin, end, text, due} or null, `due` as `CRecord::getDueStates` counts
/// it; `customFields` are the slots in use, as {name, value}. What only an application has in
/// memory (the cover's pixels, the reserved words) is left out. docs/collection.schema.json
/// describes it.
nlohmann::ordered_json recordJson(const CRecord& record);

/// Hands the text of an array of records to `write`, bit by bit: the whole of a long one would fill
/// the memory.
void writeJsonArray(const std::vector<const CRecord*>& records,
                    const std::function<void(std::string_view)>& write);

}  // namespace tessaron::tool
