// Describes the input as a picture, a sound and a film, as its first byte says.

#include <unistd.h>

#include <array>
#include <filesystem>
#include <fstream>

#include "fuzz.h"
#include "mediainfo/file_info.h"
#include "platform/system.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  struct Kind {
    const char* extension;
    std::int32_t category;
  };
  constexpr std::array<Kind, 4> kKinds = {{{"jpg", 32}, {"tif", 32}, {"mp3", 16}, {"avi", 64}}};
  if (size == 0) return 0;
  const Kind& kind = kKinds[data[0] % kKinds.size()];
  const std::filesystem::path path =
      std::filesystem::temp_directory_path() /
      ("file_info_fuzz." + std::to_string(getpid()) + '.' + kind.extension);
  std::ofstream(path, std::ios::binary) << asText(data + 1, size - 1);
  CFileInfo info;
  CHECK(info.fromFile(path.u16string()));
  CHECK(info.category == kind.category && info.sizeLow == size - 1);
  CHECK(info.audioStreams.size() < 1000 && info.videoStreams.size() < 1000);
  TiXmlElement element("File");
  info.toElem(&element);
  CHECK(element.FirstChildElement("Info") != nullptr);
  std::filesystem::remove(path);
  return 0;
}
