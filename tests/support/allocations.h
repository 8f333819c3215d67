#pragma once

#include <cstddef>

/// How many bytes the program has asked for through `operator new` so far, whatever it has given
/// back. Needs allocations.cpp, which replaces that operator for the whole program.
std::size_t allocatedBytes();
