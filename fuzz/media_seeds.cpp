// Writes what the targets that read media files begin with: media_seeds TARGET FOLDER

#include <array>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include "support/bytes.h"
#include "support/picture_samples.h"
#include "support/sound_builder.h"
#include "support/tiff_builder.h"

namespace {

std::vector<std::string> pictures() {
  std::vector<std::string> files;
  for (const auto format :
       {FIF_PNG, FIF_BMP, FIF_TIFF, FIF_GIF, FIF_ICO, FIF_TARGA, FIF_JPEG, FIF_WEBP})
    files.push_back(makePicture(format, 16, 16));
  using Colors = JpegSample::Colors;
  for (const Colors colors : {Colors::Grey, Colors::Cmyk, Colors::InvertedCmyk})
    for (const bool progressive : {false, true})
      files.push_back(
          makeJpeg({.width = 20, .height = 9, .colors = colors, .progressive = progressive}));
  for (const bool bigEndian : {false, true}) {
    TiffBuilder tiff(bigEndian);
    tiff.putBytes(33723, 4, std::string(64, '\x1C')).put(0x8827, 3, {400}, TiffBuilder::kExif);
    tiff.put(0x829A, 5, {1, 60}, TiffBuilder::kExif).put(6, 5, {421, 10}, TiffBuilder::kGps);
    files.push_back(tiff.build());
    files.push_back(withExif(makeJpeg({8, 8}), tiff.build()));
  }
  return files;
}

std::vector<std::string> icons() {
  std::vector<std::string> files;
  const std::string png = makePicture(FIF_PNG, 16, 16);
  const std::string frame = bytes({16, 16, 0, 0, 1, 0}) + le16(32);
  files.push_back(' ' + le16(0) + le16(1) + le16(1) + frame +
                  le32(static_cast<std::uint32_t>(png.size())) + le32(22) + png);
  files.push_back(' ' + makePicture(FIF_ICO, 16, 16));
  for (const std::uint32_t bits : {1u, 4u, 8u, 16u, 32u}) {
    const std::string palette(bits <= 8 ? std::size_t{4} << bits : 0, '\x77');
    const std::string dib = le32(40) + le32(8) + le32(16) + le16(1) + le16(bits) +
                            std::string(24, '\0') + palette + std::string(8 * bits + 32, '\x5A');
    files.push_back(' ' + le16(0) + le16(1) + le16(1) + bytes({8, 8, 0, 0, 1, 0}) + le16(bits) +
                    le32(static_cast<std::uint32_t>(dib.size())) + le32(22) + dib);
  }
  return files;
}

std::vector<std::string> sounds() {
  return {id3Tag(4, id3Text(4, "TIT2", "Lied")) + mpegFrames(3),
          id3Tag(3, id3Text(3, "TPE1", "Ann"), 0x80) + mpegFrames(3),
          asfFile({"Lied", "Ann", "", "", ""}, {{"WM/Genre", "Jazz"}}, {{"WM/TrackNumber", 7}}),
          wavFile(riffChunk("LIST", "INFO" + riffChunk("INAM", "Lied"))),
          flacFile({{"TITLE", "Lied"}}, 8),
          mp4Box("ftyp", "M4A ") + mp4Box("moov", mp4Box("udta", mp4Box("meta", be32(0))))};
}

std::vector<std::string> seedsOf(const std::string& target) {
  if (target == "icon") return icons();
  if (target == "tags") return sounds();
  std::vector<std::string> files;
  if (target == "content") {
    files = pictures();
    for (const std::string& sound : sounds()) files.push_back(sound);
    return files;
  }
  if (target != "file_info") return pictures();
  for (const std::string& picture : pictures()) files.push_back('\0' + picture);
  for (const std::string& sound : sounds())
    for (const char kind : {'\2', '\3'}) files.push_back(kind + sound);
  return files;
}

}  // namespace

int main(int, char** arguments) {
  const std::filesystem::path folder = arguments[2];
  std::filesystem::create_directories(folder);
  int number = 0;
  for (const std::string& seed : seedsOf(arguments[1]))
    std::ofstream(folder / std::to_string(number++), std::ios::binary) << seed;
}
