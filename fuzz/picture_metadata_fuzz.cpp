// Reads the properties of a picture whose content, or whose Exif data, are the input.

#include <unistd.h>

#include <cstdint>
#include <filesystem>
#include <fstream>
#include <string>

#include "fuzz.h"
#include "mediainfo/labels.h"
#include "mediainfo/picture_metadata.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static const std::filesystem::path path = std::filesystem::temp_directory_path() /
                                            ("picture_metadata_fuzz." + std::to_string(getpid()));
  const std::string exif("\xFF\xD8\xFF\xE1\0\0Exif\0\0", 12);
  for (const std::string& begin : {std::string(), exif}) {
    std::ofstream(path, std::ios::binary) << begin << asText(data, size);
    PropertyMap map = {{tessaron::label::kCameraMake, u"mine"}};
    const bool found = CGPImageMDParser().parseByFileName(path.u16string(), map);
    CHECK(found || map.size() == 1);
    CHECK(map[tessaron::label::kCameraMake] == u"mine");
    std::size_t length = 0;
    for (const auto& [label, value] : map) length += value.size();
    CHECK(length < 100 * (size + 100));
  }
  std::filesystem::remove(path);
  return 0;
}
