#pragma once

#include <cstddef>
#include <memory>
#include <span>
#include <string>
#include <vector>

#include "tessaron_export.h"

struct z_stream_s;

/// zlib decompression of whole buffers. Has no state: any thread may use one object.
class TESSARON_API CZDLLPlus {
 public:
  /// What one call inflates at most: a small input can claim to be endless.
  static constexpr std::size_t kLimit = std::size_t{256} << 20;

  CZDLLPlus();
  CZDLLPlus(const CZDLLPlus&);
  CZDLLPlus& operator=(const CZDLLPlus&);
  ~CZDLLPlus();

  /// Inflates the zlib stream in `in` and puts the result into `out`. False, and `out` untouched,
  /// when the stream is damaged, incomplete, or longer than `kLimit` bytes when inflated. Bytes
  /// behind the stream's end are ignored.
  bool uncompress(const std::vector<unsigned char>& in, std::vector<unsigned char>& out);
  bool uncompress(const std::vector<unsigned char>& in, std::string& out);
};

namespace tessaron {

/// Inflates one stream piece by piece, in a fixed amount of memory. For one thread at a time.
class TESSARON_API Inflater {
 public:
  enum class State {
    Open,  ///< the stream goes on
    Ended,
    Damaged,  ///< or there is no memory to inflate it
  };

  enum class Format {
    Zlib,
    Raw,  ///< without header and checksum, as in a zip file
  };

  explicit Inflater(Format format = Format::Zlib);
  ~Inflater();
  Inflater(const Inflater&) = delete;
  Inflater& operator=(const Inflater&) = delete;

  /// Takes bytes from the front of `in`, as many as fit inflated into `out`, and returns how many
  /// bytes of `out` are filled. While the stream is open and `out` was filled whole, more may come
  /// without further input. Returns 0 once the stream is no longer open.
  std::size_t inflate(std::span<const std::byte>& in, std::span<std::byte> out);

  State state() const { return state_; }

 private:
  std::unique_ptr<z_stream_s> stream_;
  State state_ = State::Open;
};

}  // namespace tessaron
