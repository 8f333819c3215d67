#pragma once
// The one place where the system's errors become those of the C++ library, so that messages and
// comparisons are the same as on other systems.

#include <system_error>

#include "platform/types.h"

namespace tessaron {

/// The error that a code of the system means; the code itself where there is no such error.
std::error_code systemError(DWORD code);

/// That of the last call of the system that has failed on this thread.
inline std::error_code lastError() { return systemError(GetLastError()); }

}  // namespace tessaron
