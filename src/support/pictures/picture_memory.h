#pragma once

#include <cstdint>

#include "tessaron_export.h"

namespace tessaron {

/// Keeps, as long as it lives, the share of the memory for pictures that the last picture decoded
/// by its thread took: for a caller that works on pictures on several threads, each with one
/// picture at a time. A thread has one of these at most, and destroys it itself. Decoding the next
/// picture gives the share back.
class PictureMemoryScope {
 public:
  TESSARON_API PictureMemoryScope();
  TESSARON_API ~PictureMemoryScope();
  PictureMemoryScope(const PictureMemoryScope&) = delete;
  PictureMemoryScope& operator=(const PictureMemoryScope&) = delete;

 private:
  friend class PictureMemory;
  void keep(std::uint64_t bytes);

  std::uint64_t kept_ = 0;  // bytes
};

}  // namespace tessaron
