#pragma once

#include <cstdint>

namespace tessaron {

/// Takes from this process, which must have one thread, all rights that reading files which are
/// open already does not need. May allocate `memory` bytes from now on, besides the program and the
/// libraries that are there. What the kernel does not have is left out.
void closeCage(std::uint64_t memory);

}  // namespace tessaron
