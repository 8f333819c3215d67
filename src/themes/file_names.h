#pragma once

#include <string>
#include <string_view>

#include "tessaron_export.h"

namespace tessaron {

/// Why a name from a package is none that a file can be given in any folder of any system, without
/// leading out of it or meaning something else there; null when it is fine. The reason is a line in
/// English.
TESSARON_API const char* faultOfFileName(std::u16string_view name);

/// The same for all names that a system may take for one, which differ in case alone.
std::u16string inCapitals(std::u16string name);

}  // namespace tessaron
