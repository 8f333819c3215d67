#include <zlib.h>

#include "fuzz.h"
#include "support/zlib.h"

namespace {

using Bytes = std::vector<unsigned char>;

// Inflates in both ways, which must agree. Nothing comes out of what is refused.
bool inflates(const Bytes& in, Bytes& out) {
  const Bytes before = out;
  std::string text(before.begin(), before.end());
  const bool good = CZDLLPlus().uncompress(in, out);
  CHECK(CZDLLPlus().uncompress(in, text) == good);
  CHECK(Bytes(text.begin(), text.end()) == out);
  CHECK(good || out == before);
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
