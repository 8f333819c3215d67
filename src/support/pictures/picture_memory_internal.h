#pragma once

#include <condition_variable>
#include <cstdint>
#include <mutex>

namespace tessaron {

/// Memory in bytes that several threads share. Any thread may call any member.
class MemoryBudget {
 public:
  explicit MemoryBudget(std::uint64_t limit) : limit_(limit) {}
  MemoryBudget(const MemoryBudget&) = delete;
  MemoryBudget& operator=(const MemoryBudget&) = delete;

  /// Waits until `bytes` are free and takes them. False, at once, when they exceed the limit.
  bool acquire(std::uint64_t bytes);
  void release(std::uint64_t bytes);

 private:
  const std::uint64_t limit_;
  std::uint64_t used_ = 0;
  std::mutex mutex_;
  std::condition_variable released_;
};

/// All threads together decode pictures in this many bytes. A picture that takes more is refused.
constexpr std::uint64_t kMaxPictureBytes = std::uint64_t{512} << 20;
/// Longest file of a format that must be read whole before its measures are known.
constexpr std::uint64_t kMaxUnmeasuredBytes = std::uint64_t{64} << 20;

/// A share of the process's budget for pictures. Belongs to one thread.
class PictureMemory {
 public:
  /// Waits for the memory. Afterwards `isGranted` tells whether it is within the budget at all.
  explicit PictureMemory(std::uint64_t bytes);
  ~PictureMemory();
  PictureMemory(const PictureMemory&) = delete;
  PictureMemory& operator=(const PictureMemory&) = delete;

  bool isGranted() const { return isGranted_; }

 private:
  std::uint64_t bytes_;
  bool isGranted_;
};

}  // namespace tessaron
