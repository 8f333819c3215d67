#include "graphics/image_list.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <set>
#include <string>
#include <vector>

#include "platform/picture.h"
#include "settings/config.h"
#include "support/bytes.h"
#include "support/file_content.h"
#include "support/picture_samples.h"
#include "support/pictures/icon_file.h"
#include "temporary_folder.h"

namespace {

using tessaron::Pixels;
using tessaron::Transparency;
using testing::Each;
using testing::ElementsAre;

constexpr std::uint32_t kRed = 0xFFFF0000, kGreen = 0xFF00FF00, kBlue = 0xFF0000FF,
                        kYellow = 0xFFFFFF00, kMagenta = 0xFFFF00FF;

/// A list, a filler for it, and a folder for what goes in.
struct Filled {
  explicit Filled(int size, bool alpha = true)
      : filler(tessaron::createImageList(
            size, size, alpha ? Transparency::Alpha : Transparency::Magenta, 16, 16)) {
    _Config.has32BitDisplay = alpha;
  }
  ~Filled() {
    tessaron::destroyImageList(filler.imageList);
    _Config.has32BitDisplay = false;
  }
  std::u16string write(const std::u16string& name, const std::string& content) const {
    return writeFile(folder.path / name, content);
  }
  int count() const { return tessaron::imageCount(filler.imageList); }
  std::vector<std::uint32_t> image(int index) const {
    return tessaron::imagePixels(filler.imageList, index).argb;
  }
  TemporaryFolder folder;
  CImageListEx filler;
};

std::string encoded(FREE_IMAGE_FORMAT format, unsigned width, unsigned height, std::uint32_t argb) {
  fipImage image(FIT_BITMAP, static_cast<WORD>(width), static_cast<WORD>(height), 32);
  for (unsigned y = 0; y < height; ++y)
    std::fill_n(reinterpret_cast<std::uint32_t*>(image.getScanLine(y)), width, argb);
  return saved(image, format);
}

struct Frame {
  int size;
  int bits;
  std::string bytes;
};

/// One color in a bitmap frame of any depth; the mask makes the left half transparent on demand.
Frame bitmapFrame(int size, int bits, std::uint32_t argb, bool halfMasked = false) {
  const auto n = static_cast<std::uint32_t>(size), depth = static_cast<std::uint32_t>(bits);
  std::string text = le32(40) + le32(n) + le32(2 * n) + le16(1) + le16(depth);
  text.resize(40);
  std::string row, mask(std::size_t{(n + 31) / 32 * 4}, '\0');
  if (bits <= 8) text += (le32(argb & 0xFFFFFF) + std::string((std::size_t{4} << bits) - 4, '\0'));
  for (int x = 0; bits > 8 && x < size; ++x)
    row += bits == 16 ? le16(argb) : le32(argb).substr(0, depth / 8);
  row.resize((n * depth + 31) / 32 * 4);
  if (halfMasked) std::fill_n(mask.begin(), size / 16, '\xFF');
  for (int y = 0; y < size; ++y) text += row;
  for (int y = 0; y < size; ++y) text += mask;
  return {size, bits, text};
}

std::string iconOf(const std::vector<Frame>& frames) {
  const auto count = static_cast<std::uint32_t>(frames.size());
  std::string directory = le16(0) + le16(1) + le16(count), data;
  for (const Frame& frame : frames) {
    const std::string side(1, static_cast<char>(frame.size));
    directory += side + side + le16(0) + le16(1) + le16(static_cast<std::uint32_t>(frame.bits)) +
                 le32(static_cast<std::uint32_t>(frame.bytes.size())) +
                 le32(static_cast<std::uint32_t>(6 + 16 * count + data.size()));
    data += frame.bytes;
  }
  return directory + data;
}

std::string sampleIcon() {
  return iconOf({bitmapFrame(16, 4, kRed), bitmapFrame(16, 32, kGreen), bitmapFrame(32, 24, kBlue),
                 bitmapFrame(48, 32, kYellow)});
}

TEST(CImageListEx, TakesTheStripsApart) {
  const struct {
    unsigned strip;
    int size;
    bool alpha;
    int images;
  } rows[] = {{102, 16, false, 8}, {103, 16, true, 11}, {104, 32, true, 11}, {104, 16, true, 22}};
  for (const auto& row : rows) {
    SCOPED_TRACE(row.strip);
    Filled list(row.size, row.alpha);
    list.filler.Reload(row.strip, {});
    ASSERT_EQ(list.count(), row.images);
    std::set<std::vector<std::uint32_t>> different;
    bool softEdges = false;
    for (int i = 0; i < row.images; ++i) {
      const std::vector<std::uint32_t> image = list.image(i);
      softEdges |= std::ranges::any_of(image, [](auto p) { return p >> 24 && p >> 24 != 255; });
      EXPECT_EQ(std::ranges::count(image, kMagenta), 0);
      different.insert(image);
    }
    EXPECT_EQ(softEdges, row.alpha);
    if (row.images == 22) continue;  // halves of images
    EXPECT_EQ(different.size(), static_cast<std::size_t>(row.images));
    EXPECT_EQ(list.image(0)[0], 0U) << "the background is transparent";
  }
  Filled list(16);
  list.filler.Reload(102U, {});
  EXPECT_EQ(list.image(0)[0], kMagenta) << "without a mask 24 bits are all opaque";
  list.filler.Reload(u"#103", {});
  EXPECT_EQ(list.count(), 11) << "the first set is gone";
  for (const ATL::_U_STRINGorID unknown : {ATL::_U_STRINGorID(105U), {u"NONE"}, {u"#1x"}}) {
    list.filler.Reload(unknown, {});
    EXPECT_EQ(list.count(), 0);
  }
}

TEST(CImageListEx, LoadsAStripWithMagentaAsItsMask) {
  const HIMAGELIST list = tessaron::loadImageList(102U, 16);
  ASSERT_EQ(tessaron::imageCount(list), 8);
  EXPECT_EQ(tessaron::imagePixels(list, 7).argb[0], 0U);
  EXPECT_EQ(tessaron::imagePixels(list, 7).argb[8 * 16 + 8] >> 24, 255U);
  tessaron::destroyImageList(list);
  EXPECT_EQ(tessaron::loadImageList(999U, 16), nullptr);
}

TEST(CImageListEx, TakesFilesByTheirEndings) {
  Filled list(16);
  const std::string png = encoded(FIF_PNG, 7, 3, kRed);
  std::vector<std::u16string> files = {
      list.write(u"a.ICO", sampleIcon()), list.write(u"b.jpg", encoded(FIF_PNG, 7, 3, kBlue)),
      list.write(u"c.Png", png), list.write(u"d\u00E9\u97F3.bmp", encoded(FIF_BMP, 40, 40, kBlue)),
      // clang-format off
      list.write(u"broken.png", png.substr(0, 30)), list.write(u"broken.ico", "no icon"), u"", u"png",
      u"missing.ico", list.folder.path.u16string(), list.write(u"e.icopng", png)};
  // clang-format on
  list.filler.Reload(103U, files);
  ASSERT_EQ(list.count(), 11 + 4);
  const std::uint32_t expected[] = {kGreen, kRed, kBlue, kRed};
  for (int i = 0; i < 4; ++i) EXPECT_THAT(list.image(11 + i), Each(expected[i]));

  CImageListEx none;
  none.Reload(102U, files);
  none.InsertIconEx(files[0], 0);
  none.InsertImageEx(files[2], 0);
}

TEST(CImageListEx, MakesPicturesTransparentByAlphaOrMagenta) {
  for (const bool alpha : {true, false}) {
    Filled list(16, alpha);
    list.filler.InsertImageEx(list.write(u"m.bmp", encoded(FIF_BMP, 16, 16, kMagenta)), -1);
    list.filler.InsertImageEx(list.write(u"a.png", encoded(FIF_PNG, 16, 16, 0x80FF0000)), 5);
    ASSERT_EQ(list.count(), 2);
    EXPECT_THAT(list.image(0), Each(alpha ? kMagenta : 0));
    EXPECT_THAT(list.image(1), Each(alpha ? 0x80FF0000 : kRed));
  }
}

// As the system does, which reads the file itself on Windows.
TEST(CImageListEx, ChoosesTheFrameOfAnIcon) {
  const struct {
    int size;
    std::uint32_t expected;
  } rows[] = {{16, kGreen}, {20, kGreen}, {32, kBlue}, {36, kBlue}, {48, kYellow}, {128, kYellow}};
  for (const auto& row : rows) {
    SCOPED_TRACE(row.size);
    Filled list(row.size);
    list.filler.InsertIconEx(list.write(u"i.ico", sampleIcon()), 0);
    EXPECT_THAT(list.image(0), Each(row.expected));
  }
}

TEST(CImageListEx, ReadsIconsOfAnyDepth) {
  for (const int bits : {1, 4, 8, 16, 24, 32}) {
    SCOPED_TRACE(bits);
    Filled list(16, bits == 32);
    // The alpha channel goes before the mask; 31 is all the blue that 16 bits have.
    const std::uint32_t color = bits == 32 ? 0x400000FF : kBlue, stored = bits == 16 ? 31 : color;
    list.filler.InsertIconEx(list.write(u"i.ico", iconOf({bitmapFrame(16, bits, stored, true)})),
                             0);
    ASSERT_EQ(list.count(), 1);
    const std::vector<std::uint32_t> image = list.image(0);
    EXPECT_EQ(image[255], color);
    EXPECT_EQ(image[0], bits == 32 ? color : 0);
  }
}

TEST(DecodeIcon, ReadsCompressedFramesAndSkipsCutOnes) {
  const std::string file =
      iconOf({bitmapFrame(16, 32, kGreen), {256, 32, encoded(FIF_PNG, 256, 256, kYellow)}});
  Pixels icon;
  ASSERT_TRUE(tessaron::decodeIcon(bytesOf(file), 200, 200, icon));
  EXPECT_EQ(icon.argb, std::vector<std::uint32_t>(200 * 200, kYellow));
  ASSERT_TRUE(tessaron::decodeIcon(bytesOf(file), 32, 32, icon));
  EXPECT_EQ(icon.argb, std::vector<std::uint32_t>(32 * 32, kGreen));
  // A frame that is cut.
  const std::string cut = sampleIcon().substr(0, sampleIcon().size() - 1);
  EXPECT_FALSE(tessaron::decodeIcon(bytesOf(cut), 48, 48, icon));
  EXPECT_TRUE(tessaron::decodeIcon(bytesOf(cut), 32, 32, icon));
}

TEST(CImageListEx, RefusesHugePictures) {
  std::string png = encoded(FIF_PNG, 1, 1, kRed);
  png.replace(16, 8, std::string("\0\0\xEA\x60\0\0\xEA\x60", 8));  // 60000 x 60000
  Frame frame = bitmapFrame(16, 32, kGreen);
  frame.bytes.replace(4, 8, le32(4096) + le32(8192));
  Filled list(16);
  list.filler.Reload(103U, {list.write(u"a.png", png), list.write(u"b.ico", iconOf({frame})),
                            list.write(u"c.ico", iconOf({{16, 32, png}}))});
  EXPECT_EQ(list.count(), 11);
}

TEST(ImageList, SplitsWhatFitsAndCutsTheRest) {
  Filled list(4);
  Pixels strip{10, 6, std::vector<std::uint32_t>(60, kRed)};
  strip.argb[0] = kGreen;
  EXPECT_TRUE(tessaron::addPixels(list.filler.imageList, strip, Transparency::Alpha));
  ASSERT_EQ(list.count(), 2);
  EXPECT_EQ(list.image(0)[0], kGreen);
  EXPECT_THAT(list.image(1), Each(kRed));
}

}  // namespace
