#include "support/pictures/picture_memory.h"

#include "support/pictures/picture_memory_internal.h"

namespace tessaron {
namespace {

MemoryBudget& pictureBudget() {
  static MemoryBudget budget(kMaxPictureBytes);
  return budget;
}

thread_local PictureMemoryScope* currentScope = nullptr;

}  // namespace

bool MemoryBudget::acquire(std::uint64_t bytes) {
  if (bytes > limit_) return false;
  std::unique_lock lock(mutex_);
  released_.wait(lock, [&] { return bytes <= limit_ - used_; });
  used_ += bytes;
  return true;
}

void MemoryBudget::release(std::uint64_t bytes) {
  {
    const std::lock_guard lock(mutex_);
    used_ -= bytes;
  }
  released_.notify_all();
}

PictureMemory::PictureMemory(std::uint64_t bytes) : bytes_(bytes) {
  if (currentScope) currentScope->keep(0);  // a thread that waits must hold nothing
  isGranted_ = pictureBudget().acquire(bytes);
}

PictureMemory::~PictureMemory() {
  if (!isGranted_) return;
  if (currentScope)
    currentScope->keep(bytes_);
  else
    pictureBudget().release(bytes_);
}

PictureMemoryScope::PictureMemoryScope() { currentScope = this; }

PictureMemoryScope::~PictureMemoryScope() {
  keep(0);
  currentScope = nullptr;
}

void PictureMemoryScope::keep(std::uint64_t bytes) {
  if (kept_ > 0) pictureBudget().release(kept_);
  kept_ = bytes;
}

}  // namespace tessaron
