#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "tessaron_export.h"

/// zlib decompression of whole buffers.
class TESSARON_API CZDLLPlus {
 public:
  /// What one call inflates at most: a small input can claim to be endless.
  static constexpr std::size_t kLimit = std::size_t{256} << 20;

  /// Inflates the zlib stream in `in` and puts the result into `out`. False, and `out` untouched,
  /// when the stream is damaged, incomplete, or longer than `kLimit` bytes when inflated. Bytes
  /// behind the stream's end are ignored.
  bool uncompress(const std::vector<unsigned char>& in, std::vector<unsigned char>& out);
  bool uncompress(const std::vector<unsigned char>& in, std::string& out);
};
