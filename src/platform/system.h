#pragma once

#include <cstddef>

#include "platform/types.h"
#include "tessaron_export.h"

namespace tessaron {

/// The current date and time, UTC.
TESSARON_API SYSTEMTIME utcNow();

/// The current date and time where the user is.
TESSARON_API SYSTEMTIME localNow();

/// Whether all `size` bytes from `address` on can be read. Costs a system call a page; never faults.
/// A null pointer is not readable, not even zero bytes of it.
bool isReadable(const void* address, std::size_t size);

/// Whether a whole object can be read at `object`.
template <typename T>
bool isReadable(const T* object) {
  return isReadable(static_cast<const void*>(object), sizeof(T));
}

}  // namespace tessaron
