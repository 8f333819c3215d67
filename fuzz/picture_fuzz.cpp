// Measures, scales and loads the input as a picture.

#include <unistd.h>

#include <filesystem>
#include <fstream>

#include "fuzz.h"
#include "support/pictures/jpeg_scale.h"
#include "support/pictures/jpeg_scale_internal.h"
#include "support/pictures/loading.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static const std::filesystem::path path =
      std::filesystem::temp_directory_path() / ("picture_fuzz." + std::to_string(getpid()));
  const std::string content = asText(data, size);
  std::ofstream(path, std::ios::binary) << content;
  const auto file = tessaron::memoryFile(content);

  tessaron::PictureMeasures measures;
  fipWinImage image;
  const int measured = tessaron::measureJpeg(*file, measures, 256, 256);
  const int scale = jpegScaleDirect(path.u16string(), image, 256, 256);
  CHECK(scale == 0 || (scale == measured && image.getWidth() == measures.width &&
                       image.getHeight() == measures.height));
  CHECK((scale == 0) == !image.isValid());

  fipImage picture;
  tessaron::PictureMeasures found;
  const bool isMeasured = tessaron::measurePicture(*file, size, found);
  if (tessaron::loadPicture(std::as_bytes(std::span(content)), picture)) {
    const std::uint64_t bytes =
        std::uint64_t{picture.getWidth()} * picture.getHeight() * picture.getBitsPerPixel() / 8;
    const tessaron::PictureMeasures loaded = tessaron::measuresOf(picture);
    CHECK(picture.isValid() && bytes <= (size << 16));
    CHECK(isMeasured && found.width == loaded.width && found.height == loaded.height);
    CHECK(found.bits == loaded.bits && found.across == loaded.across && found.down == loaded.down);
  }
  std::filesystem::remove(path);
  return 0;
}
