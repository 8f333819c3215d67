// Reads the tags of an audio and of a video file with the input's content.

#include <unistd.h>

#include <cstdint>
#include <filesystem>
#include <fstream>
#include <string>

#include "fuzz.h"
#include "mediainfo/labels.h"
#include "mediainfo/wm_metadata.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static const std::filesystem::path path =
      std::filesystem::temp_directory_path() / ("tags_fuzz." + std::to_string(getpid()));
  std::ofstream(path, std::ios::binary) << asText(data, size);
  for (const std::int32_t category : {16, 64}) {
    PropertyMap map = {{tessaron::label::kTitle, u"mine"}};
    const bool found = CWMMDParser(category).parseByFileName(path.u16string(), map);
    CHECK(found || map.size() == 1);
    CHECK(map[tessaron::label::kTitle] == u"mine");
    std::size_t length = 0;
    for (const auto& [label, value] : map) length += value.size();
    CHECK(length < 100 * (size + 100));
  }
  std::filesystem::remove(path);
  return 0;
}
