#pragma once

#include <cstddef>

/// How many bytes the program has asked for through `operator new` so far, whatever it has given
/// back. Needs allocations.cpp, which replaces that operator for the whole program.
std::size_t allocatedBytes();

/// While it lives, the n-th allocation through `operator new` fails, and only that one. What leaks
/// meanwhile is nobody's fault: TinyXML does not clean up behind a failed allocation.
class FailingAllocation {
 public:
  explicit FailingAllocation(std::size_t n);
  ~FailingAllocation();
  FailingAllocation(const FailingAllocation&) = delete;
  FailingAllocation& operator=(const FailingAllocation&) = delete;
};
