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

std::string sampleIcon() {
  return makeIcon({bitmapFrame(16, 4, kRed), bitmapFrame(16, 32, kGreen),
                   bitmapFrame(32, 24, kBlue), bitmapFrame(48, 32, kYellow)});
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
  const std::string png = makeArgb(FIF_PNG, 7, 3, kRed);
  std::vector<std::u16string> files = {
      list.write(u"a.ICO", sampleIcon()), list.write(u"b.jpg", makeArgb(FIF_PNG, 7, 3, kBlue)),
      list.write(u"c.Png", png), list.write(u"d\u00E9\u97F3.bmp", makeArgb(FIF_BMP, 40, 40, kBlue)),
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
    list.filler.InsertImageEx(list.write(u"m.bmp", makeArgb(FIF_BMP, 16, 16, kMagenta)), -1);
    list.filler.InsertImageEx(list.write(u"a.png", makeArgb(FIF_PNG, 16, 16, 0x80FF0000)), 5);
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

TEST(CImageListEx, RefusesHugePictures) {
  std::string png = makeArgb(FIF_PNG, 1, 1, kRed);
  png.replace(16, 8, std::string("\0\0\xEA\x60\0\0\xEA\x60", 8));  // 60000 x 60000
  IconFrame frame = bitmapFrame(16, 32, kGreen);
  frame.bytes.replace(4, 8, le32(4096) + le32(8192));
  Filled list(16);
  list.filler.Reload(103U, {list.write(u"a.png", png), list.write(u"b.ico", makeIcon({frame})),
                            list.write(u"c.ico", makeIcon({{16, 32, png}}))});
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
