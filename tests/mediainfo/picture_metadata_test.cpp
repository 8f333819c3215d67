#include "mediainfo/picture_metadata.h"

#include <gtest/gtest.h>

#include <vector>

#include "support/allocations.h"
#include "support/file_content.h"
#include "support/picture_samples.h"
#include "support/properties.h"
#include "support/tiff_builder.h"
#include "temporary_folder.h"

using namespace std::string_literals;

namespace {

constexpr std::uint16_t kBytes = 1, kText = 2, kShort = 3, kLong = 4, kRational = 5;
constexpr std::uint16_t kUndefined = 7, kSignedShort = 8, kSignedLong = 9, kSignedRational = 10;

constexpr std::uint32_t negative(std::int32_t value) { return static_cast<std::uint32_t>(value); }

// A field and what is said of it.
struct Row {
  std::uint16_t number;
  std::uint16_t type;
  std::vector<std::uint32_t> numbers;
  std::string text;  // where there are no numbers
  std::string expected;
};

// A field of one short number, whose values stand for texts.
struct Choice {
  std::uint16_t number;
  std::string label;
  std::vector<std::pair<std::uint32_t, std::string>> texts;
};

TiffBuilder& put(TiffBuilder& tiff, const Row& row, TiffBuilder::Directory directory) {
  return row.numbers.empty() ? tiff.putBytes(row.number, row.type, row.text, directory)
                             : tiff.put(row.number, row.type, row.numbers, directory);
}

// clang-format off
const Choice kChoices[] = {
    {0x0112, "40215=", {{0, ""}, {1, "Normal"}, {2, "Mirrored"}, {3, "Rotated 180°"}, {9, ""},
                        {4, "Mirrored, Rotated 180°"}, {5, "Mirrored, Rotated 90° Counterclockwise"},
                        {6, "Rotated 90° Clockwise"}, {7, "Mirrored, Rotated 90° Clockwise"},
                        {8, "Rotated 90° Counterclockwise"}}},
    {0x8822, "40218=", {{0, "Unknown"}, {3, "Aperture Priority"}, {8, "Landscape Mode"}, {9, "Other"}}},
    {0x9207, "40226=", {{5, "Pattern"}, {255, "Other"}}},
    {0x9208, "40227=", {{4, "Flash"}, {9, "Fine Weather"}, {14, "Fluorescent"}, {17, "Tungsten"},
                        {22, "Daylight"}, {24, "Tungsten"}, {255, "Other"}}},
    {0x9209, "40228=", {{0, "Did Not Fire"}, {1, "Fired"}, {0x09, "Fired, Forced"},
                        {0x10, "Did Not Fire"}, {0x59, "Fired, Auto, Red-Eye Reduction"}}},
    {0xA402, "40232=", {{1, "Manual"}}}, {0xA403, "40233=", {{0, "Auto"}}}, {0xA405, "40231=", {{0, ""}, {85, "85 mm"}}},
    {0xA001, "40235=", {{1, "sRGB"}, {2, "Adobe RGB"}, {65535, "Other"}}},
    {0x0131, "40203=", {{7, "7"}}},  // a type that should not stand there
};

const Row kRows[] = {
    {0x010E, kText, {}, "  a view \0"s, "40202=a view"}, {0x010E, kText, {}, "   \0"s, ""},
    {0x010D, kText, {}, "page\0"s, "40201=page"}, {0x0131, kText, {}, "Gr\xC3\xB6\xC3\x9F" "e\0"s, "40203=Größe"},
    {0x013B, kText, {}, "M\xFCller\0"s, "40204=Müller"},  // in Windows-1252
    {0x9C9B, kBytes, {}, "\x1F\x66t\0\0\0"s, "40201=星t"}, {0x9C9F, kBytes, {}, "a\0b\0c"s, "40207=ab"},
    {0x9286, kUndefined, {}, "ASCII\0\0\0seen "s, "40206=seen"},
    {0x9286, kUndefined, {}, "UNICODE\0h\0i\0"s, "40206=hi"},
    {0x9286, kUndefined, {}, "UNICODE\0\0h\0i"s, "40206=hi"},
    {0x9286, kUndefined, {}, "UNICODE\0\xFE\xFF\x66\x1F"s, "40206=星"},
    {0x9286, kUndefined, {}, "UNICODE\0\x66\x1F\0h"s, "40206=星h"}, {0x9286, kUndefined, {}, "JIS\0\0\0\0\0x"s, ""},
    {0x9286, kUndefined, {}, "ASCII\0\0"s, ""},
    {0x0132, kText, {}, "2004:05:06 07:08:09\0"s, "40212=2004-05-06 07:08:09"},
    {0x9003, kText, {}, "2004:05:06\0"s, "40213=2004-05-06"}, {0x9003, kText, {}, "0000:00:00 00:00:00\0"s, ""},
    {0x9003, kText, {}, "    :  :     :  :  \0"s, ""}, {0x9004, kText, {}, "May 2004\0"s, "40214=May 2004"},
    {0x829A, kRational, {1, 125}, "", "40216=1/125 s"}, {0x829A, kRational, {16, 10}, "", "40216=1.6 s"},
    {0x829A, kRational, {0, 1}, "", ""}, {0x829A, kRational, {1, 0}, "", ""}, {0x829A, kText, {}, "1/125\0"s, ""},
    {0x829A, kRational, {}, "", ""}, {0x829D, kRational, {28, 10}, "", "40217=f/2.8"},
    {0x8827, kShort, {400, 0}, "", "40219=400"}, {0x8827, kLong, {102400}, "", "40219=102400"},
    {0x8827, kBytes, {200}, "", "40219=200"}, {0x8827, kSignedShort, {negative(-1)}, "", ""},
    {0x9201, kSignedRational, {6965784, 1000000}, "", "40220=1/125 s"},
    {0x9201, kSignedRational, {negative(-2), 1}, "", "40220=4 s"}, {0x9202, kRational, {3, 1}, "", "40221=f/2.8"},
    {0x9203, kSignedRational, {negative(-5), 2}, "", "40222=-2.5"},
    {0x9204, kSignedRational, {negative(-1), 3}, "", "40223=-0.33 EV"},
    {0x9204, kSignedRational, {0, negative(-1)}, "", "40223=0 EV"},
    {0x9204, kSignedRational, {negative(-2), negative(-2)}, "", "40223=+1 EV"},
    {0x9204, kSignedLong, {negative(-1)}, "", "40223=-1 EV"}, {0x9205, kRational, {97, 100}, "", "40224=f/1.4"},
    {0x9206, kRational, {5, 2}, "", "40225=2.5 m"}, {0x9206, kRational, {0, 1}, "", "40225=Unknown"},
    {0x9206, kRational, {0xFFFFFFFF, 1}, "", "40225=∞"}, {0x9209, kSignedShort, {negative(-1)}, "", ""},
    {0x920A, kRational, {72, 10}, "", "40230=7.2 mm"}, {0xA404, kRational, {3, 2}, "", "40234=1.5x"},
    {0x9000, kUndefined, {}, "0220", "40236=2.2"}, {0x9000, kUndefined, {}, "0221", "40236=2.21"},
    {0x9000, kUndefined, {}, "x221", ""},
};
// clang-format on

// All kinds of values in all directories.
TiffBuilder everything(bool bigEndian) {
  // clang-format off
  TiffBuilder tiff(bigEndian);
  constexpr auto kExif = TiffBuilder::kExif, kGps = TiffBuilder::kGps;
  return tiff.putBytes(0x010F, kText, "Acme\0"s).putBytes(0x0110, kText, "Foto 3\0"s)
      .put(0x0112, kShort, {6})
      .put(0x829A, kRational, {1, 60}, kExif).put(0x9204, kSignedRational, {negative(-2), 3}, kExif)
      .putBytes(0x9286, kUndefined, "ASCII\0\0\0seen"s, kExif)
      .putBytes(1, kText, "N\0"s, kGps).put(2, kRational, {48, 1, 51, 1, 296, 10}, kGps)
      .putBytes(3, kText, "W\0"s, kGps).put(4, kRational, {2, 1, 17670, 1000, 0, 1}, kGps)
      .put(5, kBytes, {1}, kGps).put(6, kRational, {421, 10}, kGps);
  // clang-format on
}

const std::string kEverything =
    "40206=seen 40209=Acme 40210=Foto 3 40215=Rotated 90° Clockwise 40216=1/60 s 40223=-0.67 EV "
    "40237=48° 51' 29.6\" N 40238=2° 17' 40.2\" W 40239=-42.1 m";

const std::string kJpeg = makeJpeg({.width = 8, .height = 8});

class CGPImageMDParserTest : public testing::Test {
 protected:
  // What is said of a file with this content.
  std::string read(const std::string& content) const {
    writeFile(path, content);
    PropertyMap map;
    const bool found = CGPImageMDParser().parseByFileName(path.u16string(), map);
    EXPECT_EQ(found, !map.empty());
    return line(map);
  }

  const TemporaryFolder folder;
  const std::filesystem::path path = folder.path / u"Gr\u00FC\u00DFe \u661F.jpg";
};

}  // namespace

TEST_F(CGPImageMDParserTest, WritesValuesForPeople) {
  std::vector<Row> rows(std::begin(kRows), std::end(kRows));
  for (const Choice& choice : kChoices)
    for (const auto& [value, text] : choice.texts)
      rows.push_back({choice.number, kShort, {value}, "", text.empty() ? "" : choice.label + text});
  for (const bool bigEndian : {false, true}) {
    for (const Row& row : rows) {
      SCOPED_TRACE(testing::Message() << "row " << &row - rows.data() << ' ' << bigEndian);
      TiffBuilder tiff(bigEndian), inner(bigEndian);
      EXPECT_EQ(read(put(tiff, row, TiffBuilder::kMain).build()), row.expected);
      put(inner, row, TiffBuilder::kExif);
      EXPECT_EQ(read(withExif(kJpeg, inner.build())), row.expected);
    }
  }
}

TEST_F(CGPImageMDParserTest, FollowsAllDirectories) {
  for (const bool bigEndian : {false, true}) {
    const std::string tiff = everything(bigEndian).build();
    EXPECT_EQ(read(tiff), kEverything);
    // Behind another segment, a comment, and bytes that fill a gap.
    const std::string rest = withExif(kJpeg, tiff).substr(2);
    EXPECT_EQ(read(kJpeg.substr(0, 2) + "\xFF\xFE\0\x04hi\xFF\xFF"s + rest), kEverything);
  }
}

TEST_F(CGPImageMDParserTest, PrefersUnicodeAndKeepsWhatIsThere) {
  TiffBuilder tiff(false);
  tiff.putBytes(0x013B, kText, "M?ller\0"s)
      .putBytes(0x9C9D, kBytes, "M\0\xFC\0"s)
      .putBytes(0x010F, kText, "A\0"s);
  EXPECT_EQ(read(tiff.build()), "40204=Mü 40209=A");
  PropertyMap map = {{40204, u"mine"}, {40205, u""}};
  EXPECT_TRUE(CGPImageMDParser().parseByFileName(path.u16string(), map));
  EXPECT_EQ(line(map), "40204=mine 40205= 40209=A");
}

TEST_F(CGPImageMDParserTest, ReadsNothingElse) {
  for (const std::string& content :
       {""s, "II*"s, kJpeg, makePicture(FIF_BMP, 4, 4), "II*\0\x08\0\0\0\0\0\0\0\0\0"s})
    EXPECT_EQ(read(content), "");
  PropertyMap map;
  EXPECT_FALSE(CGPImageMDParser().parseByFileName((folder.path / "missing").u16string(), map));
  EXPECT_FALSE(CGPImageMDParser().parseByFileName(folder.path.u16string(), map));
}

TEST_F(CGPImageMDParserTest, TakesNoMoreThanIsWanted) {
  constexpr std::uint32_t kLongText = 4 << 20;
  TiffBuilder tiff(false);
  tiff.put(0x8827, kShort, {400}).putBytes(0x010E, kText, std::string(kLongText, 'x'));
  for (std::uint16_t number = 0x4000; number < 0x40F0; ++number) {  // all claim the same megabytes
    tiff.putBytes(number, kUndefined, "12345678").lie(number, kLongText - 0x4000);
  }
  writeFile(path, tiff.build());
  const std::size_t before = allocatedBytes();
  PropertyMap map;
  EXPECT_TRUE(CGPImageMDParser().parseByFileName(path.u16string(), map));
  EXPECT_LT(allocatedBytes() - before, 1u << 20);
  EXPECT_EQ(line(map), "40219=400");
}

TEST_F(CGPImageMDParserTest, LeavesOutWhatIsNotInTheFile) {
  // The last: eight bytes, if sizes had 32 bits.
  for (const std::uint32_t count : {0U, 100U, 0x10000U, 0xFFFFFFFFU, 0x20000001U}) {
    TiffBuilder tiff(false);
    tiff.put(0x8827, kShort, {400}).put(0x829A, kRational, {1, 125}).lie(0x829A, count);
    EXPECT_EQ(read(tiff.build()), "40219=400") << count;
  }
  // Directories that are in themselves, or nowhere.
  for (const std::uint32_t place : {8U, 0U, 0x7FFFFFFFU, 0xFFFFFFFFU}) {
    TiffBuilder tiff(true);
    tiff.put(0x8827, kShort, {400}).put(0x8769, kLong, {place}).put(0x8825, kLong, {place});
    EXPECT_EQ(read(tiff.build()), "40219=400") << place;
  }
}
