#include "support/zlib.h"

#include <zlib.h>

#include <algorithm>
#include <limits>
#include <new>
#include <utility>

namespace tessaron {

Inflater::Inflater(Format format) : stream_(std::make_unique<z_stream>()) {
  const int window = format == Format::Raw ? -MAX_WBITS : MAX_WBITS;
  if (inflateInit2(stream_.get(), window) != Z_OK) state_ = State::Damaged;
}

Inflater::~Inflater() { inflateEnd(stream_.get()); }

std::size_t Inflater::inflate(std::span<const std::byte>& in, std::span<std::byte> out) {
  if (state_ != State::Open) return 0;
  constexpr std::size_t kMaxStep = std::numeric_limits<uInt>::max();
  const std::size_t given = std::min(in.size(), kMaxStep), room = std::min(out.size(), kMaxStep);
  // zlib does not write to its input.
  stream_->next_in = reinterpret_cast<Bytef*>(const_cast<std::byte*>(in.data()));
  stream_->avail_in = static_cast<uInt>(given);
  stream_->next_out = reinterpret_cast<Bytef*>(out.data());
  stream_->avail_out = static_cast<uInt>(room);
  const int result = ::inflate(stream_.get(), Z_NO_FLUSH);
  in = in.subspan(given - stream_->avail_in);
  if (result == Z_STREAM_END) {
    state_ = State::Ended;
  } else if (result != Z_OK && result != Z_BUF_ERROR) {  // the latter asks for input, or for room
    state_ = State::Damaged;
  }
  return room - stream_->avail_out;
}

}  // namespace tessaron

namespace {

// Inflates into a buffer that grows with what comes out.
template <typename Bytes>
bool inflateAll(const std::vector<unsigned char>& in, Bytes& out) try {
  using tessaron::Inflater;
  Inflater inflater;
  auto left = std::as_bytes(std::span(in));
  Bytes inflated;
  bool more = true;
  while (more && inflated.size() <= CZDLLPlus::kLimit) {
    const std::size_t done = inflated.size();
    const std::size_t step = std::clamp<std::size_t>(done, 16 << 10, 1 << 20);
    inflated.resize(done + step);
    const std::size_t count =
        inflater.inflate(left, std::as_writable_bytes(std::span(inflated).subspan(done)));
    inflated.resize(done + count);
    more = inflater.state() == Inflater::State::Open && (count == step || !left.empty());
  }
  if (inflater.state() != Inflater::State::Ended || inflated.size() > CZDLLPlus::kLimit)
    return false;
  out = std::move(inflated);
  return true;
} catch (const std::bad_alloc&) {
  return false;  // in a small address space the limit may be out of reach
}

}  // namespace

CZDLLPlus::CZDLLPlus() = default;
CZDLLPlus::CZDLLPlus(const CZDLLPlus&) = default;
CZDLLPlus& CZDLLPlus::operator=(const CZDLLPlus&) = default;
CZDLLPlus::~CZDLLPlus() = default;

bool CZDLLPlus::uncompress(const std::vector<unsigned char>& in, std::vector<unsigned char>& out) {
  return inflateAll(in, out);
}

bool CZDLLPlus::uncompress(const std::vector<unsigned char>& in, std::string& out) {
  return inflateAll(in, out);
}
