#include "mediainfo/file_info.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>
#include <filesystem>

#include "mediainfo/folder_info.h"
#include "mediainfo/labels.h"
#include "platform/directory.h"
#include "platform/file.h"
#include "support/file_content.h"
#include "support/picture_samples.h"
#include "temporary_folder.h"

namespace fs = std::filesystem;
namespace label = tessaron::label;

namespace {

std::uint64_t steps(const FILETIME& time) {
  return std::uint64_t{time.dwHighDateTime} << 32 | time.dwLowDateTime;
}

class CFileInfoTest : public testing::Test {
 protected:
  std::u16string path(const char* name) const { return (folder_.path / name).u16string(); }
  TemporaryFolder folder_;
};

TEST_F(CFileInfoTest, TakesThePathApart) {
  struct Row {
    const char16_t *name, *extension;
    int category;
  };
  // clang-format off
  const Row rows[] = {
      {u"archive.TAR.GZ", u"GZ", 2}, {u"a.z", u"z", 2}, {u"letter.Html", u"Html", 4}, {u"x.123", u"123", 4},
      {u"f.ttc", u"ttc", 8}, {u"song.MP4", u"MP4", 16}, {u"song.wave", u"wave", 16}, {u"photo.jfif", u"jfif", 32},
      {u"p.TIFF", u"TIFF", 32}, {u"film.dvr-ms", u"dvr-ms", 64}, {u"film.rmvb", u"rmvb", 64}, {u"README", u"", 1},
      {u"picture.png", u"png", 1}, {u"dot.", u"", 1}, {u".mpg", u"mpg", 64}, {u"long.jpegs", u"jpegs", 1}};
  // clang-format on
  for (const Row& row : rows) {
    CFileInfo info;
    const std::u16string missing = path("missing") + fs::path("/").make_preferred().u16string();
    EXPECT_FALSE(info.fromFile(missing + row.name));
    EXPECT_EQ(info.name, row.name);
    EXPECT_EQ(info.extension, row.extension);
    EXPECT_EQ(info.category, row.category) << fs::path(row.name);
  }
  // Without a full stop the old extension stays, without a separator all of it.
  CFileInfo info;
  EXPECT_TRUE(info.fromFile(writeFile(folder_.path / "a.zip", "x")));
  EXPECT_TRUE(info.fromFile(writeFile(folder_.path / "README", "x")));
  EXPECT_EQ(info.name + u' ' + info.extension, u"README zip");
  EXPECT_EQ(info.category, 2);
  EXPECT_FALSE(info.fromFile(u"file.mp3"));
  EXPECT_EQ(info.path, u"file.mp3");
  EXPECT_EQ(info.name + u' ' + info.extension, u"README zip");
}

TEST_F(CFileInfoTest, DetectsOnlyWhatTheMaskHas) {
  const std::u16string photo = writeFile(folder_.path / "photo.jpg", makeJpeg({20, 10}));
  CFileInfo info;
  info.setDetectType(16);
  EXPECT_TRUE(info.fromFile(photo));
  EXPECT_EQ(info.category, 1);
  EXPECT_TRUE(info.info.empty() && info.thumbnails.empty());
  info.setDetectType(32);
  EXPECT_TRUE(info.fromFile(photo));
  EXPECT_EQ(info.category, 32);
  EXPECT_EQ(info.thumbnails.size(), 1u);
}

TEST_F(CFileInfoTest, TellsSizeAndTimes) {
  const std::u16string empty = writeFile(folder_.path / "song.mp3", "");
  constexpr std::uint64_t k2025 = 133'801'632'000'000'000, k1970 = 116'444'736'000'000'000;
  const std::chrono::sys_seconds written(std::chrono::seconds((k2025 - k1970) / 10'000'000));
  fs::last_write_time(empty, std::chrono::file_clock::from_sys(written));
  CFileInfo info;
  EXPECT_TRUE(info.fromFile(empty));
  EXPECT_EQ(info.category, 16);
  EXPECT_EQ(info.sizeLow | info.sizeHigh, 0u);
  EXPECT_TRUE(info.metaInfo.empty() && info.audioStreams.empty());
  EXPECT_EQ(info.attributes, 0x20u);
  EXPECT_EQ(steps(info.lastWriteTime), k2025);

  const std::u16string large = writeFile(folder_.path / "large.zip", "");
  fs::resize_file(large, (std::uint64_t{5} << 32) + 7);  // takes no room on the disk
  EXPECT_TRUE(info.fromFile(large));
  EXPECT_EQ(info.sizeLow, 7u);
  EXPECT_EQ(info.sizeHigh, 5u);
}

TEST_F(CFileInfoTest, DescribesPictures) {
  struct Row {
    std::string content;
    const char16_t *dimensions, *color, *resolution;
  };
  const JpegSample photo{.width = 1001, .height = 600, .densityUnit = 1, .density = 300};
  const Row rows[] = {
      {makeJpeg(photo), u"1004 x 600", u"24 bit", u"300 x 300 dpi"},  // 251 * 4
      {makeJpeg({.width = 30, .height = 20, .colors = JpegSample::Colors::Grey}), u"30 x 20",
       u"8 bit", u"72 x 72 dpi"},
      {makePicture(FIF_BMP, 700, 20), u"700 x 20", u"24 bit", u"300 x 300 dpi"},
      {makePicture(FIF_TIFF, 30, 400, 59.055), u"30 x 400", u"24 bit", u"150 x 150 dpi"},
      {makePicture(FIF_GIF, 30, 20), u"30 x 20", u"8 bit", u"72 x 72 dpi"},
      {"no picture", u"0 x 0", u"0 bit", nullptr},
      {withMeasures(makeJpeg({8, 8}), 65500, 65500), u"0 x 0", u"0 bit", nullptr},
  };
  for (const Row& row : rows) {
    CFileInfo info;
    ASSERT_TRUE(info.fromFile(writeFile(folder_.path / "picture.jpg", row.content)));
    PropertyMap expected{{label::kDimensions, row.dimensions}, {label::kColor, row.color}};
    if (row.resolution) expected[label::kResolution] = row.resolution;
    EXPECT_EQ(info.info, expected);
    ASSERT_EQ(info.thumbnails.size(), 1u);
    EXPECT_EQ(info.thumbnails[0].isValid() != FALSE, row.resolution != nullptr);
  }
  CFileInfo empty;
  EXPECT_TRUE(empty.fromFile(writeFile(folder_.path / "empty.gif", "")));
  EXPECT_TRUE(empty.info.empty());
  EXPECT_EQ(empty.thumbnails.size(), 1u);
}

TEST_F(CFileInfoTest, CallsItsReadersInOrder) {
  struct Probe : CFileInfo {
    std::string calls;
    bool fromFileHandle(tessaron::File& file) override {
      calls += "handle " + std::to_string(file.size().value_or(0)) + ' ';
      return false;
    }
    bool fromFilePostProcess() override {
      calls += "name";
      return false;
    }
  };
  Probe probe;
  EXPECT_FALSE(probe.fromFile(writeFile(folder_.path / "a.txt", "four")));
  EXPECT_EQ(probe.calls, "handle 4 name");
}

TEST_F(CFileInfoTest, WritesItsElement) {
  CFileInfo info;
  info.path = u"/a&b.jpg";
  info.sizeLow = 4294967295u, info.sizeHigh = 1;
  info.creationTime = {1, 2};
  info.lastWriteTime = {4294967295u, 3};
  info.attributes = 33, info.encryptionStatus = 6;
  info.checksum[0] = 0xAB;
  info.digest = u"d";
  info.info = {{40003, u"3 x 4"}, {40001, u""}, {40002, u"24 bit"}};
  info.audioStreams = {{{40101, u"MPEG-1 Layer 3"}}, {}};
  info.videoStreams = {{{40107, u"25 fps"}}};
  TiXmlElement element("File");
  EXPECT_FALSE(info.toElem(&element));
  EXPECT_FALSE(info.toElem(nullptr));
  TiXmlPrinter printer;
  printer.SetStreamPrinting();
  element.Accept(&printer);
  EXPECT_EQ(printer.Str(),
            "<File><PathFileName>/a&amp;b.jpg</PathFileName><SizeLow>4294967295</SizeLow>"
            "<SizeHigh>1</SizeHigh><Created>1 2</Created><Modified>4294967295 3</Modified>"
            "<Attributes>33</Attributes><EncryptionStatus>6</EncryptionStatus>"
            "<Checksum>ab000000000000000000000000000000</Checksum><Digest>d</Digest>"
            "<Info><Node Name=\"40002\">24 bit</Node><Node Name=\"40003\">3 x 4</Node></Info>"
            "<MetaInfo /><AudioStream><Node Name=\"40101\">MPEG-1 Layer 3</Node></AudioStream>"
            "<AudioStream /><VideoStream><Node Name=\"40107\">25 fps</Node></VideoStream></File>");
}

TEST_F(CFileInfoTest, AFolderHasItsPlainFiles) {
  writeFile(folder_.path / "one.txt", "1");
  writeFile(folder_.path / ".two", "22");
  const fs::path deep = folder_.path / u"Größe" / "b";
  for (int i = 0; i < 2; ++i) EXPECT_FALSE(tessaron::createFolder(deep.u16string()));
  writeFile(deep / "four.txt", "4");
  EXPECT_TRUE(tessaron::createFolder(path("one.txt") + u"/x"));
  CFolderInfo folder;
  folder.files.resize(5);
  const std::u16string all = folder_.path.u16string();
  EXPECT_FALSE(folder.fromFolder(all));
  std::error_code error;
  std::vector<std::u16string> names, expected;
  for (const CFileInfo& file : folder.files) {
    names.push_back(file.name);
    EXPECT_EQ(file.path, tessaron::joinPath(all, file.name));
    EXPECT_EQ(file.sizeLow, file.name == u".two" ? 2u : 1u);
  }
  for (const auto& entry : tessaron::readFolder(all, error))
    if (entry.kind == tessaron::EntryKind::File) expected.push_back(entry.name);
  EXPECT_EQ(names, expected);
  EXPECT_THAT(names, testing::UnorderedElementsAre(u"one.txt", u".two"));

  TiXmlElement element("Folder");
  EXPECT_TRUE(folder.toElem(&element));
  EXPECT_STREQ(element.Attribute("ID"), "0");
  EXPECT_STREQ(element.Attribute("ParentID"), "-1");
  EXPECT_EQ(element.FirstChildElement("File")->NextSibling("File"), element.LastChild());

  EXPECT_FALSE(folder.fromFolder(all + u"/missing"));
  EXPECT_TRUE(folder.files.empty());
}

}  // namespace
