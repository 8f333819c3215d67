#include <zlib.h>

#include <algorithm>
#include <span>

#include "fuzz.h"
#include "support/zlib.h"

namespace {

using Bytes = std::vector<unsigned char>;

// Inflates bit by bit: `step` bytes go in at once, and as many come out.
bool inflatesInSteps(std::span<const std::byte> in, std::size_t step, Bytes& out) {
  tessaron::Inflater inflater;
  std::vector<std::byte> room(step);
  for (bool isFull = false; inflater.state() == tessaron::Inflater::State::Open;) {
    std::span<const std::byte> part = in.first(std::min(step, in.size()));
    if (part.empty() && !isFull) break;
    const std::size_t given = part.size(), count = inflater.inflate(part, room);
    in = in.subspan(given - part.size());
    isFull = count == step;
    for (std::size_t i = 0; i < count; ++i) out.push_back(std::to_integer<unsigned char>(room[i]));
    CHECK(out.size() <= CZDLLPlus::kLimit);
  }
  return inflater.state() == tessaron::Inflater::State::Ended;
}

// Inflates in all ways, which must agree. Nothing comes out of what is refused.
bool inflates(const Bytes& in, Bytes& out) {
  const Bytes before = out;
  std::string text(before.begin(), before.end());
  CZDLLPlus first, second(first);
  const bool good = second.uncompress(in, out);
  first = second;
  CHECK(first.uncompress(in, text) == good);
  CHECK(Bytes(text.begin(), text.end()) == out);
  CHECK(good || out == before);
  Bytes steps;
  CHECK(inflatesInSteps(std::as_bytes(std::span(in)), in.size() % 999 + 1, steps) == good);
  CHECK(!good || steps == out);
  return good;
}

}  // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const Bytes bytes(data, data + size);
  Bytes out = {1, 2, 3};
  inflates(bytes, out);

  uLongf length = compressBound(size);
  Bytes packed(length);
  CHECK(compress(packed.data(), &length, data, size) == Z_OK);
  packed.resize(length);
  CHECK(inflates(packed, out) && out == bytes);
  packed.resize(size > 0 ? data[0] * packed.size() / 256 : packed.size() - 1);
  CHECK(!inflates(packed, out));
  return 0;
}
