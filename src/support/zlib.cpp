#include "support/zlib.h"

#include <zlib.h>

#include <algorithm>
#include <limits>
#include <memory>
#include <new>

namespace {

// Inflates piece by piece into a buffer that grows with what comes out.
template <typename Bytes>
bool inflateAll(const std::vector<unsigned char>& in, Bytes& out) {
  z_stream stream{};
  if (in.size() > std::numeric_limits<uInt>::max() || inflateInit(&stream) != Z_OK) return false;
  const std::unique_ptr<z_stream, int (*)(z_stream*)> ender(&stream, inflateEnd);
  stream.next_in = const_cast<Bytef*>(in.data());  // zlib does not write to it
  stream.avail_in = static_cast<uInt>(in.size());

  Bytes inflated;
  int result = Z_OK;
  while (result == Z_OK && inflated.size() <= CZDLLPlus::kLimit) {
    const std::size_t done = inflated.size();
    const std::size_t step = std::clamp<std::size_t>(done, 16 << 10, 1 << 20);
    inflated.resize(done + step);
    stream.next_out = reinterpret_cast<Bytef*>(inflated.data() + done);
    stream.avail_out = static_cast<uInt>(step);
    result = inflate(&stream, Z_NO_FLUSH);
    inflated.resize(done + step - stream.avail_out);
  }
  if (result != Z_STREAM_END || inflated.size() > CZDLLPlus::kLimit) return false;
  out = std::move(inflated);
  return true;
}

}  // namespace

bool CZDLLPlus::uncompress(const std::vector<unsigned char>& in,
                           std::vector<unsigned char>& out) try {
  return inflateAll(in, out);
} catch (const std::bad_alloc&) {
  return false;  // in a small address space the limit may be out of reach
}

bool CZDLLPlus::uncompress(const std::vector<unsigned char>& in, std::string& out) try {
  return inflateAll(in, out);
} catch (const std::bad_alloc&) {
  return false;
}
