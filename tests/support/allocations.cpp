#include "support/allocations.h"

#include <atomic>
#include <cstdlib>
#include <new>

namespace {

std::atomic<std::size_t> bytes;

void* count(std::size_t size) noexcept {
  bytes += size;
  return std::malloc(size > 0 ? size : 1);
}

void* countOrThrow(std::size_t size) {
  if (void* memory = count(size)) return memory;
  throw std::bad_alloc();
}

}  // namespace

std::size_t allocatedBytes() { return bytes; }

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
