#pragma once

#include <cstdint>
#include <string>

#include "records/record.h"

namespace tessaron {

/// A record with values of all kinds in its fields, the same for the same seed: texts that are hard
/// to keep (blanks, line ends, markup, surrogates, control characters, several kilobytes) and empty
/// ones. Flags may disagree with their fields.
CRecord randomRecord(std::uint32_t seed);

/// What must come back when `record` is written and read: characters that XML does not allow are
/// replaced, and so is everything else that the format does not carry or the reader derives.
CRecord asReadBack(const CRecord& record);

/// The fields of `record` that are not empty, as in a table for programs: "ASIN=1|Title=T".
std::string fieldsOf(const CRecord& record);

/// All of a record, a line for each field, to compare. Folders, offers and the picture are left
/// out: they are written only, or not even that.
std::string everythingOf(const CRecord& record);

}  // namespace tessaron
