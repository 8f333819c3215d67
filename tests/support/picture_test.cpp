#include <gtest/gtest.h>
#include <zlib.h>

#include <array>
#include <atomic>
#include <cstring>
#include <filesystem>
#include <thread>
#include <vector>

#include "support/bytes.h"
#include "support/file_content.h"
#include "support/picture_samples.h"
#include "support/pictures/icon_file.h"
#include "support/pictures/jpeg_scale_internal.h"
#include "support/pictures/loading.h"
#include "support/pictures/picture_memory_internal.h"
#include "support/pictures/picture_source_internal.h"
#include "support/test_file.h"
#include "support/tiff_builder.h"
#include "temporary_folder.h"

namespace {

using namespace std::string_literals;
using Colors = JpegSample::Colors;
using tessaron::loadPicture;
using tessaron::PictureMeasures;

// Scales what it is given as the content of a file.
class Scaler {
 public:
  int operator()(const std::string& content, fipWinImage& image, int width = 256,
                 int height = 256) {
    return jpegScaleDirect(writeFile(path_, content), image, width, height);
  }

 private:
  TemporaryFolder folder_;
  std::filesystem::path path_ = folder_.path / "picture.jpg";
};

bool measure(const std::string& content, PictureMeasures& measures) {
  return tessaron::measurePicture(*tessaron::memoryFile(content), content.size(), measures);
}

// Loads a picture that must have the measures that its header tells.
void loadMeasured(const std::string& content, fipImage& picture) {
  PictureMeasures measures;
  ASSERT_TRUE(loadPicture(bytesOf(content), picture));
  ASSERT_TRUE(measure(content, measures));
  EXPECT_EQ(measures, tessaron::measuresOf(picture));
}

TEST(jpegScaleDirect, TakesTheLargestOfFourSizesThatFits) {
  struct Row {
    JpegSample sample;
    int scale;
    PictureMeasures expected;
  };
  const double dots = 28.35;
  const Row rows[] = {{{256, 256}, 1, {256, 256, 24, dots, dots}},
                      {{257, 10}, 2, {129, 5, 24, dots, dots}},
                      {{10, 513, Colors::Grey}, 4, {3, 129, 8, dots, dots}},
                      {{1001, 999, Colors::Cmyk}, 4, {251, 250, 24, dots, dots}},
                      {{1025, 7, Colors::InvertedCmyk}, 8, {129, 1, 24, dots, dots}},
                      {{4000, 3000}, 8, {500, 375, 24, dots, dots}}};  // none fits
  Scaler scale;
  for (Row row : rows) {
    for (const bool progressive : {false, true}) {
      SCOPED_TRACE(row.sample.width);
      row.sample.progressive = progressive;
      const auto file = tessaron::memoryFile(makeJpeg(row.sample));
      fipWinImage image;
      PictureMeasures measures;
      ASSERT_EQ(scale(makeJpeg(row.sample), image), row.scale);
      EXPECT_EQ(tessaron::measuresOf(image), row.expected);
      EXPECT_EQ(tessaron::measureJpeg(*file, measures, 256, 256), row.scale);
      EXPECT_EQ(measures, row.expected);
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
    double perCentimeter;  // 28.35 is what a picture has that declares none
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
    fipWinImage half, whole;
    ASSERT_EQ(scale(makeJpeg(row.sample), half), 2);
    loadMeasured(makeJpeg(row.sample), whole);
    for (fipImage* image : {&half, &whole}) {
      SCOPED_TRACE(testing::Message() << &row - rows << ' ' << image->getWidth());
      EXPECT_NEAR(image->getHorizontalResolution(), row.perCentimeter, 0.01);
      image->convertTo24Bits();
      RGBQUAD pixel;
      ASSERT_TRUE(image->getPixelColor(100, 5, &pixel));
      const int color[] = {pixel.rgbRed, pixel.rgbGreen, pixel.rgbBlue};
      for (std::size_t i = 0; i < 3; ++i) EXPECT_NEAR(color[i], row.color[i], 4);
    }
  }
}

TEST(jpegScaleDirect, ShowsTheRightWayUp) {
  fipImage drawing(FIT_BITMAP, 32, 32, 24);
  RGBQUAD white{255, 255, 255, 0};
  for (unsigned y = 0; y < 16; ++y)  // rows count from the bottom
    for (unsigned x = 0; x < 32; ++x) drawing.setPixelColor(x, y, &white);
  fipWinImage image;
  ASSERT_EQ(Scaler()(saved(drawing, FIF_JPEG), image, 16, 16), 2);
  RGBQUAD low, high;
  image.getPixelColor(8, 2, &low);
  image.getPixelColor(8, 13, &high);
  EXPECT_GT(low.rgbGreen, 250);
  EXPECT_LT(high.rgbGreen, 5);
}

TEST(jpegScaleDirect, DecodesWhatThereIsOfACutFile) {
  Scaler scale;
  fipWinImage image;
  testing::internal::CaptureStderr();
  for (const bool progressive : {false, true}) {
    const std::string whole = makeJpeg({.width = 40, .height = 24, .progressive = progressive});
    EXPECT_EQ(scale(whole.substr(0, progressive ? 243 : 630), image), 1);
    EXPECT_EQ(image.getWidth(), 40u);
    EXPECT_EQ(scale(whole.substr(0, 160), image), 0);
  }
  EXPECT_EQ(scale("", image) + scale(makePicture(FIF_PNG, 300, 300), image), 0);
  EXPECT_EQ(jpegScaleDirect(u"missing/picture.jpg", image, 256, 256), 0);
  EXPECT_EQ(image.getWidth(), 40u);  // untouched
  EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
}

TEST(loadPicture, ReadsTheCommonFormats) {
  const std::tuple<FREE_IMAGE_FORMAT, unsigned, double> rows[] = {
      {FIF_PNG, 24, 118.11}, {FIF_BMP, 24, 118.11},  {FIF_TIFF, 24, 118.11}, {FIF_GIF, 8, 28.35},
      {FIF_ICO, 24, 28.35},  {FIF_JPEG, 24, 118.11}, {FIF_TARGA, 24, 28.35}};
  const auto check = [&] {
    for (const auto& [format, bits, dots] : rows) {
      const unsigned height = format == FIF_ICO ? 96 : 80;
      fipImage picture;
      loadMeasured(makePicture(format, 96, height), picture);
      EXPECT_EQ(tessaron::measuresOf(picture), (PictureMeasures{96, height, bits, dots, dots}));
    }
  };
  std::vector<std::thread> threads;
  for (int i = 0; i < 4; ++i)
    threads.emplace_back([&] {
      for (int round = 0; round < 5; ++round) check();
    });
  for (std::thread& thread : threads) thread.join();
  fipImage picture;
  for (const WORD bits : {1, 4}) {  // small palettes
    fipImage drawing(FIT_BITMAP, 40, 30, bits);
    loadMeasured(saved(drawing, FIF_GIF), picture);
    EXPECT_EQ(picture.getBitsPerPixel(), bits);
  }
  // Inside the pixels of a GIF only the header tells.
  std::string gif = makePicture(FIF_GIF, 256, 192);
  gif.resize(gif.size() - 20);
  PictureMeasures measures;
  EXPECT_FALSE(loadPicture(bytesOf(gif), picture));
  EXPECT_TRUE(measure(gif, measures));
  EXPECT_EQ(measures, (PictureMeasures{256, 192, 8, 28.35, 28.35}));
}

TEST(loadPicture, ReadsTheLayoutsOfTiffPixels) {
  struct Row {
    FREE_IMAGE_TYPE type;
    unsigned bits;
    int compression;
  };
  const Row rows[] = {{FIT_BITMAP, 1, TIFF_CCITTFAX4}, {FIT_BITMAP, 4, TIFF_NONE},
                      {FIT_BITMAP, 8, TIFF_LZW},       {FIT_BITMAP, 32, TIFF_DEFLATE},
                      {FIT_UINT16, 16, TIFF_PACKBITS}, {FIT_INT16, 16, TIFF_NONE},
                      {FIT_UINT32, 32, TIFF_NONE},     {FIT_FLOAT, 32, TIFF_LZW},
                      {FIT_RGB16, 48, TIFF_NONE},      {FIT_RGBA16, 64, TIFF_LZW},
                      {FIT_RGBF, 96, TIFF_NONE},       {FIT_RGBAF, 128, TIFF_NONE}};
  for (const Row& row : rows) {
    SCOPED_TRACE(testing::Message() << row.type << ' ' << row.bits);
    fipImage drawing(row.type, 40, 30, static_cast<WORD>(row.bits)), picture;
    std::memset(drawing.accessPixels(), 0x3C, drawing.getScanWidth() * std::size_t{30});
    loadMeasured(saved(drawing, FIF_TIFF, row.compression), picture);
    EXPECT_EQ(std::pair(picture.getImageType(), picture.getBitsPerPixel()),
              std::pair(row.type, row.bits));
    EXPECT_EQ(std::memcmp(picture.accessPixels(), drawing.accessPixels(), row.bits * 40 / 8), 0);
  }
  // Inks become colors, and layouts whose size FreeImage mistakes are refused.
  fipImage drawing(FIT_BITMAP, 40, 30, 32), picture;
  loadMeasured(saved(drawing, FIF_TIFF, TIFF_CMYK), picture);
  EXPECT_EQ(picture.getBitsPerPixel(), 24u);
  const std::pair<std::uint16_t, std::uint32_t> lies[] = {
      {0x0102, 7},  {0x0106, 2}, {0x0115, 0}, {0x0115, 3},      {0x011C, 3},
      {0x0142, 16}, {0x0153, 3}, {0x0100, 0}, {0x0101, 1 << 25}};
  for (const auto& [tag, value] : lies) {
    PictureMeasures measures;
    const std::string tiff = TiffBuilder(true).put(tag, 4, {value}).build();
    EXPECT_FALSE(loadPicture(bytesOf(tiff), picture) || measure(tiff, measures)) << tag;
  }
}

// FreeImage swaps the bytes of an IPTC block, and four times as many, and libpng inflates texts.
TEST(loadPicture, HidesWhatOnlyDescribesAPicture) {
  std::string png = makePicture(FIF_PNG, 8, 8);
  const std::string text = "tEXtTitle\0text"s;
  const uLong sum = crc32(0, reinterpret_cast<const Bytef*>(text.data()), 14);
  png.insert(33, be32(10) + text + be32(static_cast<std::uint32_t>(sum)));
  for (const std::string& content :
       {png, TiffBuilder(true).putBytes(33723, 4, std::string(1000, '\x1C')).build(),
        TiffBuilder(false).putBytes(33723, 1, std::string(100'000, '\x1C')).build(),
        TiffBuilder(true).put(0x829A, 5, {1, 60}, TiffBuilder::kExif).build(),
        TiffBuilder(true).put(0x011B, 5, {72, 1}).build(),
        TiffBuilder(false).put(0x011A, 5, {0xFFFFFFFF, 1}).put(0x011B, 5, {1, 0}).build(),
        TiffBuilder(false).put(0x11A, 5, {60, 1}).put(0x11B, 5, {40, 1}).put(0x128, 3, {3}).build(),
        TiffBuilder(true)
            .put(0x11A, 5, {60, 1})
            .put(0x11B, 5, {40, 1})
            .put(0x128, 3, {7})
            .build()}) {
    fipImage picture;
    loadMeasured(content, picture);
    for (int model = FIMD_COMMENTS; model <= FIMD_CUSTOM; ++model)
      EXPECT_EQ(picture.getMetadataCount(static_cast<FREE_IMAGE_MDMODEL>(model)), 0u) << model;
  }
}

TEST(loadPicture, ReadsBitmapsOfEveryVersion) {
  const std::string common = makePicture(FIF_BMP, 8, 8);
  for (const std::uint32_t size : {52u, 56u, 64u, 108u, 124u}) {
    SCOPED_TRACE(size);
    std::string bitmap = common;
    bitmap.insert(54, size - 40, '\0').replace(10, 4, le32(14 + size)).replace(14, 4, le32(size));
    fipImage picture, expected;
    loadMeasured(bitmap, picture);
    loadMeasured(common, expected);
    EXPECT_EQ(std::memcmp(picture.accessPixels(), expected.accessPixels(), 8 * 24), 0);
    EXPECT_FALSE(loadPicture(bytesOf(bitmap.substr(0, bitmap.size() - 1)), picture));
  }
  // Three equal pixels, the end of the row, one left out, three unlike, the end.
  const std::string packed = "BM" + le32(0) + le32(0) + le32(62) + le32(40) + le32(4) + le32(2) +
                             le16(1) + le16(8) + le32(1) + std::string(12, '\0') + le32(2) +
                             le32(0) + bytes({0, 0, 0, 0, 255, 255, 255, 0}) +
                             bytes({3, 1, 0, 0, 0, 2, 1, 0, 0, 3, 1, 0, 1, 0, 0, 1});
  fipImage picture;
  loadMeasured(packed, picture);
  EXPECT_EQ(std::memcmp(picture.getScanLine(0), "\1\1\1\0", 4), 0);
  EXPECT_EQ(std::memcmp(picture.getScanLine(1), "\0\1\0\1", 4), 0);
}

TEST(loadPicture, ReadsCompressedTargaFiles) {
  for (const WORD bits : {8, 16, 24, 32}) {
    SCOPED_TRACE(bits);
    fipImage drawing(FIT_BITMAP, 35, 30, bits), plain, picture;  // rows with padding
    std::memset(drawing.accessPixels(), 0x3C, drawing.getScanWidth() * std::size_t{30});
    for (int row = 0; row < 30; row += 3)
      std::memcpy(drawing.getScanLine(row), "A line of text", 14);
    fipImage small(FIT_BITMAP, 8, 8, bits);
    drawing.setThumbnail(small);
    const std::string packed = saved(drawing, FIF_TARGA, TARGA_SAVE_RLE);
    loadMeasured(saved(drawing, FIF_TARGA), plain);
    loadMeasured(packed, picture);
    const std::size_t size = picture.getScanWidth() * std::size_t{30};
    EXPECT_EQ(std::memcmp(picture.accessPixels(), plain.accessPixels(), size), 0);
    EXPECT_FALSE(picture.hasThumbnail() || plain.hasThumbnail());
  }
  // A text, a palette that colors do not need, and packets over the ends of rows and picture.
  const std::string packed = bytes({2, 1, 10, 0, 0, 1, 0, 24, 0, 0, 0, 0, 3, 0, 2, 0, 24, 0}) +
                             "ab" + "\1\2\3" + "\x83xyz" + "\x7F" + std::string(384, 'q');
  fipImage picture;
  loadMeasured(packed, picture);
  EXPECT_EQ(std::memcmp(picture.getScanLine(0), "xyzxyzxyz", 9), 0);
  EXPECT_EQ(std::memcmp(picture.getScanLine(1), "xyzqqqqqq", 9), 0);
  loadMeasured(packed.substr(0, 30), picture);
  EXPECT_EQ(std::memcmp(picture.getScanLine(1), "xyz\0\0\0\0\0\0", 9), 0);
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
  for (const char* begin : {"BM", "GIF89a", "\x89PNG\r\n\x1A\n", "MM", "RIFF----WEBPVP8 "}) {
    TestFile sparse(begin, std::uint64_t{1} << 30);
    EXPECT_FALSE(loadPicture(sparse, std::uint64_t{1} << 30, picture));
    EXPECT_LT(sparse.total, 1u << 20) << begin;
  }
}

// Blocks inside, at and across the ends of the head and of the window, forwards and back.
TEST(PictureSource, ReadsAnywhere) {
  std::string content(300'000, '\0');
  for (std::size_t i = 0; i < content.size(); ++i) content[i] = static_cast<char>(i * 31 + i / 256);
  TestFile file(content);
  tessaron::PictureSource source(file, content.size());
  constexpr std::size_t kHead = tessaron::PictureSource::kHeadSize;
  const std::pair<std::size_t, std::size_t> rows[] = {
      {0, 10},           {kHead - 10, 10},     {kHead - 10, 11}, {kHead, 100},
      {kHead + 50, 100}, {2 * kHead - 10, 10}, {kHead - 5, 20},  {2 * kHead, 5},
      {3 * kHead, 100},  {2 * kHead + 1, 10},  {10, 2 * kHead},  {kHead + 1, kHead},
      {299'990, 10},     {299'990, 11},        {300'000, 1},     {400'000, 1}};
  for (const auto& [offset, count] : rows) {
    std::string expected;
    if (offset < content.size()) expected = content.substr(offset, count);
    const std::vector<std::byte> read = source.bytes(offset, count);
    EXPECT_EQ(std::string(reinterpret_cast<const char*>(read.data()), read.size()), expected)
        << offset << ' ' << count;
  }
  const std::uint64_t before = file.total;
  source.bytes(299'991, 5), source.bytes(299'995, 4), source.bytes(100, 4);
  EXPECT_EQ(file.total, before) << "what is held is not read again";
}

TEST(DecodeIcon, ReadsAnyDepth) {
  for (const int bits : {1, 4, 8, 16, 24, 32}) {
    SCOPED_TRACE(bits);
    // The alpha channel goes before the mask; 31 is all the blue that 16 bits have.
    const std::uint32_t color = bits == 32 ? 0x400000FF : 0xFF0000FF;
    const std::string file = makeIcon({bitmapFrame(16, bits, bits == 16 ? 31 : color, true)});
    tessaron::Pixels icon;
    ASSERT_TRUE(tessaron::decodeIcon(bytesOf(file), 16, 16, icon));
    for (std::size_t i = 0; i < 256; ++i)
      EXPECT_EQ(icon.argb[i], bits == 32 || i % 16 >= 8 ? color : 0) << i;
  }
}

TEST(DecodeIcon, ReadsCompressedFramesAndSkipsCutOnes) {
  constexpr std::uint32_t kGreen = 0xFF00FF00, kYellow = 0xFFFFFF00;
  const std::string file =
      makeIcon({bitmapFrame(16, 32, kGreen), {256, 32, makeArgb(FIF_PNG, 256, 256, kYellow)}});
  tessaron::Pixels icon;
  ASSERT_TRUE(tessaron::decodeIcon(bytesOf(file), 200, 200, icon));
  EXPECT_EQ(icon.argb, std::vector<std::uint32_t>(200 * 200, kYellow));
  ASSERT_TRUE(tessaron::decodeIcon(bytesOf(file), 32, 32, icon));
  EXPECT_EQ(icon.argb, std::vector<std::uint32_t>(32 * 32, kGreen));
  std::string cut = makeIcon({bitmapFrame(32, 24, kGreen), bitmapFrame(48, 32, kYellow)});
  cut.pop_back();
  EXPECT_FALSE(tessaron::decodeIcon(bytesOf(cut), 48, 48, icon));
  EXPECT_TRUE(tessaron::decodeIcon(bytesOf(cut), 32, 32, icon));
}

std::string patched(std::string bytes, std::size_t at, std::string_view with) {
  return bytes.replace(at, with.size(), with);
}

TEST(Pictures, DeclaringMoreThanTheFileCanHoldAreRefused) {
  const std::string large = "\xDC\xFF\xDC\xFF"s;  // 65500 twice, little-endian
  const std::string gif = makePicture(FIF_GIF, 8, 8), bmp = makePicture(FIF_BMP, 8, 8);
  const std::string jpeg = makeJpeg({.width = 8, .height = 8}), ico = makePicture(FIF_ICO, 16, 16);
  const std::string progressive = makeJpeg({.width = 8, .height = 8, .progressive = true});
  // Compressed rows that would begin behind the end of the file.
  const std::string targa = "\xFD\0\xA\0\0\0\0\0\0\0\0\0\x10\0\x10\0\x18 "s + std::string(43, '\6');
  std::string many = makePicture(FIF_PNG, 8, 8), chunk = be32(0) + "tEXt" + be32(0x12345678);
  while (chunk.size() < 1'500'000) chunk += chunk;
  many.insert(33, chunk);
  // Written here: FreeImage's writer loses memory.
  const std::string psd = "8BPS\0\1\0\0\0\0\0\0\0\3"s + be32(8) + be32(8) + "\0\x8\0\3"s +
                          std::string(12 + 2 + 3 * 64, '\0');
  const std::pair<const char*, std::string> bombs[] = {
      // clang-format off
      {"JPEG", withMeasures(jpeg, 65500, 65500)}, {"progressive JPEG", withMeasures(progressive, 65500, 65500)},
      {"JPEG, a little too large", withMeasures(jpeg, 1024, 4096)},
      {"PNG", patched(makePicture(FIF_PNG, 8, 8), 16, "\0\1\0\0\0\1\0\0"s)},
      {"GIF", patched(gif, gif.rfind("\x8\0\x8\0"s), large)}, {"BMP", patched(bmp, 18, "\0\0\1\0\0\0\1\0"s)},
      // clang-format on
      {"TIFF", patched(TiffBuilder(true).build(), 18, "\4"s)},  // a width of 1025
                                                                // clang-format off
      {"tiles", TiffBuilder(true).put(0x0142, 4, {1 << 20}).put(0x0143, 4, {1 << 20}).build()},
      {"TGA", patched(makePicture(FIF_TARGA, 8, 8), 12, large)}, {"compressed TGA", targa},
      {"ICO", patched(ico, 26, le32(2000) + le32(4000))}, {"ICO of 48 bits", patched(ico, 36, le16(48))},
      {"PNG of many chunks", many}, {"ICO upside down", patched(ico, 30, le32(0u - 16))}, {"no wanted kind", psd},
                                                                // clang-format on
  };
  Scaler scale;
  for (const auto& [what, content] : bombs) {
    SCOPED_TRACE(what);
    fipWinImage image;
    PictureMeasures measures;
    EXPECT_FALSE(loadPicture(bytesOf(content), image));
    EXPECT_EQ(scale(content, image), 0);
    EXPECT_FALSE(image.isValid());
    EXPECT_EQ(tessaron::measureJpeg(*tessaron::memoryFile(content), measures, 256, 256), 0);
    EXPECT_FALSE(measure(content, measures));
  }
  // The densest that there is: one color, as deflate, LZW and JPEG write it.
  fipImage image;
  for (const auto format : {FIF_PNG, FIF_GIF, FIF_TIFF})
    EXPECT_TRUE(loadPicture(bytesOf(makePicture(format, 3000, 3000)), image));
  EXPECT_TRUE(loadPicture(bytesOf(makeJpeg({3000, 3000, Colors::Grey})), image));
}

TEST(MemoryBudget, IsSharedByAllThreads) {
  tessaron::MemoryBudget budget(100);
  EXPECT_FALSE(budget.acquire(101));
  std::atomic<int> active = 0, most = 0, rounds = 0;
  std::vector<std::thread> threads;
  for (int i = 0; i < 4; ++i)
    threads.emplace_back([&] {
      for (int round = 0; round < 200; ++round) {
        ASSERT_TRUE(budget.acquire(40));
        most = std::max<int>(most, ++active);
        std::this_thread::yield();
        --active, ++rounds;
        budget.release(40);
      }
    });
  for (std::thread& thread : threads) thread.join();
  EXPECT_LE(most, 2);
  EXPECT_EQ(rounds, 800);
  EXPECT_TRUE(budget.acquire(100));  // all of it came back
}

}  // namespace
