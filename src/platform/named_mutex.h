#pragma once

#include <cstdint>

#include "platform/types.h"

namespace tessaron {

/// Opens the mutex of that name, or makes it, without taking hold of it. It is there as long as
/// anybody has it open, and goes with the last process that has. `code` is the system's: 0 when it
/// is new, ERROR_ALREADY_EXISTS when it was there, another one when there is none; null then. A
/// null or an empty name is that of no other mutex. Names are told apart by their case; those that
/// begin with "Local\" are the same without; no other backslash is allowed but that of "Global\".
///
/// On Linux the processes of one user share their mutexes. They are locks on files in
/// `$XDG_RUNTIME_DIR/tessaron`, or in a folder of the user's in the temporary one.
void* openNamedMutex(const char16_t* name, std::uint32_t& code);

/// Closes a mutex. Null is allowed, and one that is closed already.
void closeNamedMutex(void* mutex);

}  // namespace tessaron
