#include "platform/system.h"

#include <cstdint>

namespace tessaron {

SYSTEMTIME utcNow() {
  SYSTEMTIME time;
  GetSystemTime(&time);
  return time;
}

SYSTEMTIME localNow() {
  SYSTEMTIME time;
  GetLocalTime(&time);
  return time;
}

bool isReadable(const void* address, std::size_t size) {
  if (!address) return false;
  auto at = reinterpret_cast<std::uintptr_t>(address);
  const std::uintptr_t last = at + (size > 0 ? size : 1) - 1;
  if (last < at) return false;
  while (at <= last) {
    MEMORY_BASIC_INFORMATION region;
    if (VirtualQuery(reinterpret_cast<const void*>(at), &region, sizeof region) == 0) return false;
    if (region.State != MEM_COMMIT || (region.Protect & (PAGE_NOACCESS | PAGE_GUARD)) != 0) {
      return false;
    }
    const std::uintptr_t end =
        reinterpret_cast<std::uintptr_t>(region.BaseAddress) + region.RegionSize;
    if (end <= at) break;  // the region ends with the address space
    at = end;
  }
  return true;
}

}  // namespace tessaron
