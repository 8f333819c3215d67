#include <gtest/gtest.h>

#include <array>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <thread>
#include <vector>

#include "support/bytes.h"
#include "support/picture_samples.h"
#include "support/pictures/jpeg_scale.h"
#include "support/pictures/loading.h"
#include "support/tiff_builder.h"
#include "temporary_folder.h"

namespace {

using Colors = JpegSample::Colors;
using tessaron::loadPicture;

// Scales what it is given as the content of a file.
class Scaler {
 public:
  int operator()(const std::string& content, fipWinImage& image, int width = 256,
                 int height = 256) {
    std::ofstream(path_, std::ios::binary) << content;
    return jpegScaleDirect(path_.u16string(), image, width, height);
  }

 private:
  TemporaryFolder folder_;
  std::filesystem::path path_ = folder_.path / "picture.jpg";
};

TEST(jpegScaleDirect, TakesTheLargestOfFourSizesThatFits) {
  struct Row {
    JpegSample sample;
    int scale;
    unsigned width, height, bits;
  };
  const Row rows[] = {
      {{256, 256}, 1, 256, 256, 24},
      {{257, 10}, 2, 129, 5, 24},
      {{10, 513, Colors::Grey}, 4, 3, 129, 8},
      {{1001, 999, Colors::Cmyk}, 4, 251, 250, 24},
      {{1025, 7, Colors::InvertedCmyk}, 8, 129, 1, 24},
      {{4000, 3000}, 8, 500, 375, 24},  // none fits
  };
  Scaler scale;
  for (Row row : rows) {
    for (const bool progressive : {false, true}) {
      SCOPED_TRACE(testing::Message() << row.sample.width << " x " << row.sample.height);
      row.sample.progressive = progressive;
      fipWinImage image;
      ASSERT_EQ(scale(makeJpeg(row.sample), image), row.scale);
      EXPECT_EQ(image.getWidth(), row.width);
      EXPECT_EQ(image.getHeight(), row.height);
      EXPECT_EQ(image.getBitsPerPixel(), row.bits);
    }
  }
  fipWinImage image;
  EXPECT_EQ(scale(makeJpeg({64, 64}), image, 64, 32), 2);
  EXPECT_EQ(scale(makeJpeg({64, 64}), image, 0, 32), 0);
}

TEST(jpegScaleDirect, KeepsColorsAndResolution) {
  struct Row {
    JpegSample sample;
    std::array<int, 3> color;
    double perCentimetre;  // 28.35 is what a picture has that declares none
  };
  const Row rows[] = {
      {{300, 20, Colors::Rgb, {200, 30, 60}, 1, 300}, {200, 30, 60}, 118.11},
      {{300, 20, Colors::Grey, {77}, 2, 40}, {77, 77, 77}, 40},
      {{300, 20, Colors::Cmyk, {0, 255, 51, 0}}, {255, 0, 204}, 28.35},
      {{300, 20, Colors::Cmyk, {0, 0, 0, 204}}, {51, 51, 51}, 28.35},
      {{300, 20, Colors::InvertedCmyk, {255, 0, 204, 255}}, {255, 0, 204}, 28.35},
      {{300, 20, Colors::Rgb, {0, 0, 0}, 0, 300}, {0, 0, 0}, 28.35},
  };
  Scaler scale;
  for (const Row& row : rows) {
    SCOPED_TRACE(&row - rows);
    fipWinImage image;
    ASSERT_EQ(scale(makeJpeg(row.sample), image), 2);
    EXPECT_NEAR(image.getHorizontalResolution(), row.perCentimetre, 0.01);
    EXPECT_NEAR(image.getVerticalResolution(), row.perCentimetre, 0.01);
    image.convertTo24Bits();
    RGBQUAD pixel;
    ASSERT_TRUE(image.getPixelColor(100, 5, &pixel));
    EXPECT_NEAR(pixel.rgbRed, row.color[0], 4);
    EXPECT_NEAR(pixel.rgbGreen, row.color[1], 4);
    EXPECT_NEAR(pixel.rgbBlue, row.color[2], 4);
  }
}

TEST(jpegScaleDirect, ShowsTheRightWayUp) {
  // Black above, white below: the lower half of one and the same file, taken from another sample.
  fipImage drawing(FIT_BITMAP, 32, 32, 24);
  RGBQUAD white{255, 255, 255, 0};
  for (unsigned y = 0; y < 16; ++y)  // rows count from the bottom
    for (unsigned x = 0; x < 32; ++x) drawing.setPixelColor(x, y, &white);
  fipMemoryIO memory;
  drawing.saveToMemory(FIF_JPEG, memory);
  BYTE* bytes = nullptr;
  DWORD size = 0;
  memory.acquire(&bytes, &size);
  Scaler scale;
  fipWinImage image;
  ASSERT_EQ(scale({reinterpret_cast<const char*>(bytes), size}, image, 16, 16), 2);
  RGBQUAD low, high;
  image.getPixelColor(8, 2, &low);
  image.getPixelColor(8, 13, &high);
  EXPECT_GT(low.rgbGreen, 250);
  EXPECT_LT(high.rgbGreen, 5);
}

TEST(jpegScaleDirect, SurvivesWhatIsCutOffOrNoJpeg) {
  Scaler scale;
  testing::internal::CaptureStderr();
  for (const bool progressive : {false, true}) {
    const std::string whole = makeJpeg({.width = 40, .height = 24, .progressive = progressive});
    int decoded = 0;
    for (std::size_t length = 0; length < whole.size(); ++length) {
      fipWinImage image(FIT_BITMAP, 1, 1, 24);
      const int result = scale(whole.substr(0, length), image);
      decoded += result;
      ASSERT_EQ(image.getWidth(), result == 1 ? 40u : 1u) << length;
      ASSERT_LE(result, 1);
    }
    EXPECT_GT(decoded, 10);  // the pixels may be missing, the header may not
    EXPECT_LT(decoded, static_cast<int>(whole.size()) - 100);
  }
  fipWinImage image(FIT_BITMAP, 1, 1, 24);
  EXPECT_EQ(scale("", image), 0);
  EXPECT_EQ(scale(makePicture(FIF_PNG, 300, 300), image), 0);
  EXPECT_EQ(jpegScaleDirect(u"missing/picture.jpg", image, 256, 256), 0);
  EXPECT_EQ(image.getWidth(), 1u);
  EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
}

TEST(loadPicture, ReadsTheCommonFormats) {
  struct Row {
    FREE_IMAGE_FORMAT format;
    unsigned bits;
    double perCentimetre;
  };
  const Row rows[] = {{FIF_PNG, 24, 118.11}, {FIF_BMP, 24, 118.11}, {FIF_TIFF, 24, 118.11},
                      {FIF_GIF, 8, 28.35},   {FIF_ICO, 24, 28.35},  {FIF_JPEG, 24, 118.11},
                      {FIF_TARGA, 24, 28.35}};
  const auto check = [&] {
    for (const Row& row : rows) {
      SCOPED_TRACE(row.format);
      fipImage picture;
      ASSERT_TRUE(loadPicture(bytesOf(makePicture(row.format, 96, 96)), picture));
      EXPECT_EQ(picture.getWidth(), 96u);
      EXPECT_EQ(picture.getHeight(), 96u);
      EXPECT_EQ(picture.getBitsPerPixel(), row.bits);
      EXPECT_NEAR(picture.getHorizontalResolution(), row.perCentimetre, 0.01);
    }
  };
  check();
  std::vector<std::thread> threads;
  for (int i = 0; i < 4; ++i) {
    threads.emplace_back([&] {
      for (int round = 0; round < 20; ++round) check();
    });
  }
  for (std::thread& thread : threads) thread.join();
}

TEST(loadPicture, ReadsBitmapsOfEveryVersion) {
  const std::string common = makePicture(FIF_BMP, 8, 8);
  for (const std::uint32_t size : {52u, 56u, 64u, 108u, 124u}) {
    SCOPED_TRACE(size);
    std::string bitmap = common;
    bitmap.insert(54, size - 40, '\0').replace(10, 4, le32(14 + size)).replace(14, 4, le32(size));
    fipImage picture, expected;
    tessaron::PictureMeasures measures;
    ASSERT_TRUE(loadPicture(bytesOf(bitmap), picture));
    ASSERT_TRUE(tessaron::measurePicture(*tessaron::memoryFile(bitmap), bitmap.size(), measures));
    EXPECT_EQ(measures.width, 8u);
    EXPECT_EQ(measures.bits, 24u);
    ASSERT_TRUE(loadPicture(bytesOf(common), expected));
    EXPECT_EQ(std::memcmp(picture.accessPixels(), expected.accessPixels(), 8 * 24), 0);
    EXPECT_FALSE(loadPicture(bytesOf(bitmap.substr(0, bitmap.size() - 1)), picture));
  }
  // Three equal pixels, the end of the row, one left out, three unlike, the end.
  const std::string packed = "BM" + le32(0) + le32(0) + le32(62) + le32(40) + le32(4) + le32(2) +
                             le16(1) + le16(8) + le32(1) + std::string(12, '\0') + le32(2) +
                             le32(0) + bytes({0, 0, 0, 0, 255, 255, 255, 0}) +
                             bytes({3, 1, 0, 0, 0, 2, 1, 0, 0, 3, 1, 0, 1, 0, 0, 1});
  fipImage picture;
  ASSERT_TRUE(loadPicture(bytesOf(packed), picture));
  EXPECT_EQ(std::memcmp(picture.getScanLine(0), "\1\1\1\0", 4), 0);
  EXPECT_EQ(std::memcmp(picture.getScanLine(1), "\0\1\0\1", 4), 0);
}

// FreeImage turns the bytes of such a block round, and four times as many.
TEST(loadPicture, LeavesIptcBlocksAlone) {
  const std::string tiff =
      TiffBuilder(true).putBytes(33723, 1, std::string(100'000, '\x1C')).build();
  fipImage picture;
  tessaron::PictureMeasures measures;
  EXPECT_TRUE(loadPicture(bytesOf(tiff), picture));
  EXPECT_TRUE(tessaron::measurePicture(*tessaron::memoryFile(tiff), tiff.size(), measures));
}

TEST(measurePicture, TellsWhatDecodingWouldGive) {
  const auto same = [](const tessaron::PictureMeasures& left, const fipImage& right) {
    const tessaron::PictureMeasures other = tessaron::measuresOf(right);
    EXPECT_EQ(left.width, other.width);
    EXPECT_EQ(left.height, other.height);
    EXPECT_EQ(left.bits, other.bits);
    EXPECT_EQ(left.across, other.across);
    EXPECT_EQ(left.down, other.down);
  };
  for (const auto format : {FIF_PNG, FIF_BMP, FIF_TIFF, FIF_GIF, FIF_ICO, FIF_JPEG}) {
    SCOPED_TRACE(format);
    std::string content = makePicture(format, 256, format == FIF_ICO ? 256 : 192);
    fipImage picture;
    tessaron::PictureMeasures measures;
    ASSERT_TRUE(loadPicture(bytesOf(content), picture));
    ASSERT_TRUE(tessaron::measurePicture(*tessaron::memoryFile(content), content.size(), measures));
    same(measures, picture);
    if (format != FIF_GIF) continue;
    content.resize(content.size() - 20);  // inside the pixels: only the header tells
    ASSERT_FALSE(loadPicture(bytesOf(content), picture));
    ASSERT_TRUE(tessaron::measurePicture(*tessaron::memoryFile(content), content.size(), measures));
    same(measures, picture);
  }
  Scaler scale;
  for (const Colors colors : {Colors::Grey, Colors::Rgb, Colors::Cmyk}) {
    const std::string content =
        makeJpeg({.width = 999, .height = 70, .colors = colors, .densityUnit = 1, .density = 200});
    fipWinImage picture;
    tessaron::PictureMeasures measures;
    EXPECT_EQ(scale(content, picture), 4);
    EXPECT_EQ(tessaron::measureJpeg(*tessaron::memoryFile(content), measures, 256, 256), 4);
    same(measures, picture);
  }
}

TEST(loadPicture, ReadsAFileToTheGivenSize) {
  const std::string content = makePicture(FIF_BMP, 200, 200);
  ASSERT_GT(content.size(), 100'000u);  // more than what is looked at first
  const auto file = tessaron::memoryFile(content + "more");
  fipImage picture;
  EXPECT_TRUE(loadPicture(*file, content.size(), picture));
  EXPECT_EQ(picture.getWidth(), 200u);
  EXPECT_TRUE(loadPicture(*file, content.size() + 100, picture));  // a file that has shrunk
  EXPECT_FALSE(loadPicture(*file, 0, picture));
  EXPECT_FALSE(loadPicture(*tessaron::memoryFile(std::string(100'000, 'x')), 100'000, picture));
}

TEST(loadPicture, SurvivesWhatIsCutOff) {
  testing::internal::CaptureStderr();
  for (const auto format : {FIF_PNG, FIF_BMP, FIF_TIFF, FIF_GIF, FIF_ICO, FIF_JPEG}) {
    const std::string whole = makePicture(format, 16, 16);
    ASSERT_FALSE(whole.empty());
    for (std::size_t length = 0; length < whole.size(); ++length) {
      fipImage picture(FIT_BITMAP, 1, 1, 24);
      const bool loaded = loadPicture(bytesOf(whole.substr(0, length)), picture);
      ASSERT_EQ(picture.getWidth(), loaded ? 16u : 1u) << format << " at " << length;
    }
  }
  EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
}

std::string patched(std::string bytes, std::size_t at, std::string_view with) {
  return bytes.replace(at, with.size(), with);
}

TEST(Pictures, DeclaringMoreThanTheFileCanHoldAreRefused) {
  using namespace std::string_literals;
  const std::string large = "\xDC\xFF\xDC\xFF"s;  // 65500 twice, little-endian
  const std::string gif = makePicture(FIF_GIF, 8, 8), bmp = makePicture(FIF_BMP, 8, 8);
  const std::string jpeg = makeJpeg({.width = 8, .height = 8});
  const std::string tiff = TiffBuilder(true).build();
  const std::string progressive = makeJpeg({.width = 8, .height = 8, .progressive = true});
  struct Row {
    const char* what;
    std::string bytes;
  };
  const Row bombs[] = {
      {"JPEG", withMeasures(jpeg, 65500, 65500)},
      {"progressive JPEG", withMeasures(progressive, 65500, 65500)},
      {"JPEG, a little too large", withMeasures(jpeg, 1024, 4096)},
      {"PNG", patched(makePicture(FIF_PNG, 8, 8), 16, "\0\1\0\0\0\1\0\0"s)},
      {"GIF", patched(gif, gif.rfind("\x8\0\x8\0"s), large)},
      {"BMP", patched(bmp, 18, "\0\0\1\0\0\0\1\0"s)},
      {"TIFF", patched(tiff, 18, "\4"s)},  // a width of 1025
      {"TGA", patched(makePicture(FIF_TARGA, 8, 8), 12, large)},
  };
  // What is none of the kinds that are wanted, whatever its name says, gets nowhere near a reader.
  fipImage psd;
  EXPECT_FALSE(loadPicture(bytesOf(makePicture(FIF_PSD, 8, 8)), psd));
  // Compressed rows that would begin behind the end of the file.
  std::string targa(61, '\6');
  targa.replace(0, 18, "\xFD\0\xA\0\0\0\0\0\0\0\0\0\x10\0\x10\0\x18 "s);
  fipImage broken;
  EXPECT_FALSE(loadPicture(bytesOf(targa), broken));

  Scaler scale;
  for (const Row& row : bombs) {
    SCOPED_TRACE(row.what);
    fipWinImage image;
    EXPECT_FALSE(loadPicture(bytesOf(row.bytes), image));
    EXPECT_EQ(scale(row.bytes, image), 0);
    EXPECT_FALSE(image.isValid());
    const auto file = tessaron::memoryFile(row.bytes);
    tessaron::PictureMeasures measures;
    EXPECT_EQ(tessaron::measureJpeg(*file, measures, 256, 256), 0);
    EXPECT_FALSE(tessaron::measurePicture(*file, row.bytes.size(), measures));
  }
  // The densest that there is: one colour, as deflate, LZW and JPEG write it.
  fipImage image;
  EXPECT_TRUE(loadPicture(bytesOf(makePicture(FIF_PNG, 3000, 3000)), image));
  EXPECT_TRUE(loadPicture(bytesOf(makePicture(FIF_GIF, 3000, 3000)), image));
  EXPECT_TRUE(loadPicture(bytesOf(makePicture(FIF_TIFF, 3000, 3000)), image));
  EXPECT_TRUE(loadPicture(bytesOf(makeJpeg({3000, 3000, Colors::Grey})), image));
}

}  // namespace
