// Makes an image of the input as an icon file, in a size that its first byte chooses.

#include "fuzz.h"
#include "support/pictures/icon_file.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size == 0) return 0;
  const int side = 1 + data[0] % 64;
  const std::string file = asText(data + 1, size - 1);
  tessaron::Pixels icon;
  const auto bytes = std::as_bytes(std::span(file));
  if (!tessaron::decodeIcon(bytes, side, side + 1, icon)) return 0;
  CHECK(icon.width == side && icon.height == side + 1);
  CHECK(icon.argb.size() == static_cast<std::size_t>(side) * static_cast<std::size_t>(side + 1));
  return 0;
}
