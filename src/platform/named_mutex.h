#pragma once

#include <cstdint>

#include "platform/types.h"

namespace tessaron {

/// Opens or creates the mutex of that name without locking it. It exists while any process has it
/// open. `code` is the system's: 0 when it is new, ERROR_ALREADY_EXISTS when it existed; for any
/// other code the result is null. A null or empty name makes an unnamed mutex. Names are
/// case-sensitive; a prefix "Local\" is ignored; any other backslash is refused, except in the
/// prefix "Global\".
///
/// On Linux the processes of one user share their mutexes. They are locks on files in
/// `$XDG_RUNTIME_DIR/tessaron`, or in a folder of the user's in the temporary one.
void* openNamedMutex(const char16_t* name, std::uint32_t& code);

/// Closes a mutex. Ignores null and a mutex that is closed already. Like openNamedMutex, safe on
/// any thread.
void closeNamedMutex(void* mutex);

}  // namespace tessaron
