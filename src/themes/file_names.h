#pragma once

#include <string>
#include <string_view>

#include "tessaron_export.h"

namespace tessaron {

/// Why a file of this name cannot be created in every folder of every system, without leaving the
/// folder or naming a device; one line in English, null when the name is valid. Any thread may call
/// it.
TESSARON_API const char* faultOfFileName(std::u16string_view name);

/// The name in capitals: equal for names that a file system without case takes as one.
std::u16string inCapitals(std::u16string name);

}  // namespace tessaron
