#include "support/allocations.h"

#include <atomic>
#include <cstdlib>
#include <new>

#ifdef __SANITIZE_ADDRESS__
#include <sanitizer/lsan_interface.h>
#endif

namespace {

std::atomic<std::size_t> bytes;
std::atomic<std::size_t> untilFailure;  // 0: none fails

void* count(std::size_t size) noexcept {
  bytes += size;
  if (untilFailure > 0 && --untilFailure == 0) return nullptr;
  return std::malloc(size > 0 ? size : 1);
}

void* countOrThrow(std::size_t size) {
  if (void* memory = count(size)) return memory;
  throw std::bad_alloc();
}

}  // namespace

std::size_t allocatedBytes() { return bytes; }

FailingAllocation::FailingAllocation(std::size_t n) {
#ifdef __SANITIZE_ADDRESS__
  __lsan_disable();
#endif
  untilFailure = n;
}

FailingAllocation::~FailingAllocation() {
  untilFailure = 0;
#ifdef __SANITIZE_ADDRESS__
  __lsan_enable();
#endif
}

// All of them: a sanitizer would take those that are left out for its own.
void* operator new(std::size_t size) { return countOrThrow(size); }
void* operator new[](std::size_t size) { return countOrThrow(size); }
void* operator new(std::size_t size, const std::nothrow_t&) noexcept { return count(size); }
void* operator new[](std::size_t size, const std::nothrow_t&) noexcept { return count(size); }
void operator delete(void* memory) noexcept { std::free(memory); }
void operator delete[](void* memory) noexcept { std::free(memory); }
void operator delete(void* memory, std::size_t) noexcept { std::free(memory); }
void operator delete[](void* memory, std::size_t) noexcept { std::free(memory); }
void operator delete(void* memory, const std::nothrow_t&) noexcept { std::free(memory); }
void operator delete[](void* memory, const std::nothrow_t&) noexcept { std::free(memory); }
