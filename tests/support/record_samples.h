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

/// The names of the fields in which two records differ, each with both values; empty when they are
/// equal. Folders, offers and the picture are left out: they are written only, or not even that.
std::string differences(const CRecord& wanted, const CRecord& got);

}  // namespace tessaron
