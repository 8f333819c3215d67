#include "mediainfo/wm_metadata.h"

#include <gtest/gtest.h>

#include "mediainfo/mp4_sound_internal.h"
#include "support/allocations.h"
#include "support/bytes.h"
#include "support/deflated.h"
#include "support/file_content.h"
#include "support/properties.h"
#include "support/sound_builder.h"
#include "temporary_folder.h"

namespace {

constexpr std::int32_t kAudio = 16;
constexpr std::int32_t kVideo = 64;
constexpr std::size_t kMiB = std::size_t{1} << 20;

const std::string kSound =
    "40101=MPEG-1 Layer 3 40102=128 kbps 40103=2 40104=44100 Hz 40105=Joint Stereo 40106=0:02";

class CWMMDParserTest : public testing::Test {
 protected:
  // What is said of a file with this content.
  std::string read(const std::string& content, std::int32_t category = kAudio) {
    writeFile(path, content);
    PropertyMap map;
    const std::size_t before = allocatedBytes();
    found = CWMMDParser(category).parseByFileName(path.u16string(), map);
    allocated = allocatedBytes() - before;
    EXPECT_TRUE(found || map.empty());
    return line(map);
  }

  const TemporaryFolder folder;
  const std::filesystem::path path = folder.path / u"Lied \u661F.mp3";
  bool found = false;
  std::size_t allocated = 0;  // in bytes
};

// A zero after each 0xFF, as tags have it that avoid what looks like a frame of sound.
std::string unsynchronized(const std::string& bytes) {
  std::string result;
  for (const char byte : bytes) {
    result += byte;
    if (byte == '\xFF') result += '\0';
  }
  return result;
}

}  // namespace

TEST_F(CWMMDParserTest, ReadsEveryVersionOfId3) {
  const std::string two = id3Text(2, "TT2", "Lied") + id3Text(2, "TP1", "M\xFCller");
  const auto frames = [](int version) {
    return id3Text(version, "TIT2", "Lied") + id3Text(version, "TPE1", "M\xFCller");
  };
  const std::string extended = be32(6) + std::string(6, '\0');  // its size, without these four
  const std::string extended4 = be32(6) + bytes({1, 0});        // with these four
  const std::string picture = id3Frame(3, "APIC", std::string(3 * kMiB, '\xFF'));
  const std::string utf16 = id3Frame(3, "TALB", bytes({1, 0xFF, 0xFE, 0x1F, 0x66}));
  const std::pair<std::string, std::string> rows[] = {
      {id3Tag(2, two), "40301=Lied 40302=Müller"},
      {id3Tag(3, frames(3)), "40301=Lied 40302=Müller"},
      {id3Tag(4, frames(4)), "40301=Lied 40302=Müller"},
      {id3Tag(3, frames(3) + std::string(500, '\0')), "40301=Lied 40302=Müller"},
      {id3Tag(3, extended + frames(3), 0x40), "40301=Lied 40302=Müller"},
      {id3Tag(4, extended4 + frames(4), 0x40), "40301=Lied 40302=Müller"},
      {id3Tag(3, unsynchronized(utf16 + frames(3)), 0x80), "40301=Lied 40302=Müller 40303=星"},
      {id3Tag(3, picture + frames(3)), "40301=Lied 40302=Müller"},
      {id3Tag(4, id3Frame(4, "GEOB", std::string(70000, 'x')) + frames(4)),
       "40301=Lied 40302=Müller"},
      {id3Tag(4, frames(4), 0x10) + "3DI" + std::string(7, '\0'), "40301=Lied 40302=Müller"},
      // Sizes of version 4 written as those of version 3.
      {id3Tag(4, id3Frame(3, "TIT2", '\0' + std::string(200, 'L')) + id3Text(4, "TPE1", "M")),
       "40301=" + std::string(200, 'L') + " 40302=M"},
      {id3Tag(4, id3Frame(4, "TIT2", bytes({0, 'A', 0xFF, 0, 'B'}), 0x0002)), "40301=AÿB"},
      {id3Tag(3, id3Frame(3, "TT2" + std::string(1, '\0'), std::string("\0Lied", 5))),
       "40301=Lied"},
      // clang-format off
      {id3Tag(3, id3Frame(3, "COMM", std::string("\0eng\0fine", 9))), "40308=fine"}, {id3Tag(3, ""), ""},
      {id3Tag(7, frames(3)), ""}, {"", ""},
      // clang-format on
  };
  for (const auto& [tag, expected] : rows) {
    SCOPED_TRACE(&expected - &rows[0].second);
    EXPECT_EQ(read(tag + mpegFrames(65)), kSound + (expected.empty() ? "" : ' ' + expected));
    EXPECT_LT(allocated, 24 * kMiB);
  }
}

TEST_F(CWMMDParserTest, ReadsWindowsMediaAttributes) {
  // clang-format off
  const std::string file = asfFile(
      {"Lied", "M\xFCller", "\xA9 me", "fine", "5"},
      {{"WM/AlbumTitle", "Alb"}, {"WM/Year", "2004"}, {"WM/Genre", "Jazz"}, {"WM/Composer", "Bach"},
       {"WM/Composer", "Abel"}, {"WM/Director", "Dan"}, {"WM/InitialKey", "Am"},
       {"WM/ParentalRating", "none"}, {"WM/OriginalArtist", "Ann"}, {"WM/RadioStationName", "FM"},
       {"WM/PromotionURL", "http://example.org/p"}, {"WM/EncodingSettings", "q9"},
       {"WM/UniqueFileIdentifier", "id"}, {"WM/Unheard", "of"}},
      {{"WM/TrackNumber", 7}, {"WM/BeatsPerMinute", 120}, {"WM/EncodingTime", 127282793291230000}});
  // clang-format on
  const std::string tags =
      "40301=Lied 40302=Müller 40303=Alb 40304=2004 40305=7 40306=Jazz 40307=© me 40308=fine "
      "40309=5 "
      "40311=Bach; Abel 40313=Dan 40323=Am 40324=120 40327=none 40329=Ann 40333=FM "
      "40338=http://example.org/p 40341=q9 40342=2004-05-06 01:08:49 UTC 40346=id";
  EXPECT_EQ(read(file), "40102=128 kbps 40103=2 40104=44100 Hz 40106=1:30 " + tags);
  // Of a film the sound is described elsewhere.
  EXPECT_EQ(read(file, kVideo), tags);
}

TEST_F(CWMMDParserTest, ReadsOtherContainers) {
  const std::string old = "TAGLied" + std::string(120, '\0') + '\x08';  // Jazz
  EXPECT_EQ(read(mpegFrames(65) + old), kSound + " 40301=Lied 40306=Jazz");
  const std::string list = "INFO" + riffChunk("INAM", std::string("Lied\0", 5));
  const std::string wave = "40102=64 kbps 40103=1 40104=8000 Hz 40106=0:01";
  EXPECT_EQ(read(wavFile(riffChunk("LIST", list))), wave + " 40301=Lied");
  EXPECT_EQ(read(wavFile(riffChunk("ID3 ", id3Tag(3, id3Text(3, "TPE1", "Ann"))))),
            wave + " 40302=Ann");
  // A picture longer than what is read of it.
  const std::string flac = flacFile({{"TITLE", "M\xC3\xBC"}, {"DESCRIPTION", "fine"}}, 3 * kMiB);
  EXPECT_EQ(read(flac), "40103=2 40104=44100 Hz 40106=0:04 40301=Mü 40308=fine");
  EXPECT_LT(allocated, 24 * kMiB);
}

TEST_F(CWMMDParserTest, ReadsNothingElse) {
  const std::string sound = mpegFrames(65);
  EXPECT_EQ(read(sound, kVideo), "");
  for (const std::string& content : {std::string(), std::string("ID3"), std::string(5000, 'x'),
                                     std::string(5000, '\xFF'), sound.substr(0, 400)}) {
    EXPECT_EQ(read(content), "");
    EXPECT_FALSE(found);
  }
  PropertyMap map;
  EXPECT_FALSE(CWMMDParser(kAudio).parseByFileName(folder.path.u16string(), map));
  EXPECT_FALSE(CWMMDParser(kAudio).parseByFileName(u"", map));
}

// An MP4 file with a picture's and a sound's track. The configuration is what AAC says of itself.
std::string mp4File(int codec, const std::string& configuration, const std::string& fields,
                    const std::string& entry) {
  const auto descriptor = [](int tag, const std::string& content) {
    return bytes({tag, 0x80, 0x80, static_cast<int>(content.size())}) + content;
  };
  const auto track = [](const std::string& kind, const std::string& description) {
    return mp4Box("trak", mp4Box("mdia", mp4Box("hdlr", be32(0) + be32(0) + kind) +
                                             mp4Box("minf", mp4Box("stbl", description))));
  };
  const std::string decoder = bytes({codec}) + std::string(12, '\0') + descriptor(5, configuration);
  const std::string esds = be32(0) + descriptor(3, be16(1) + fields + descriptor(4, decoder));
  const std::string entries =
      be32(0) + be32(1) + mp4Box(entry, std::string(28, '\0') + mp4Box("esds", esds));
  return mp4Box("ftyp", "M4A ") +
         mp4Box("moov", track("vide", "") + track("soun", mp4Box("stsd", entries)));
}

TEST(Mp4Channels, ReadsWhatAacSaysOfItself) {
  const std::string stereo = bytes({0x12, 0x10}), plain(1, '\0');
  const struct {
    int codec;
    std::string configuration, fields;
    std::uint32_t channels = 0;  // 0 for none
    std::string entry = "mp4a";
  } rows[] = {
      {0x40, stereo, plain, 2},
      {0x40, stereo, bytes({0xE0, 9, 9, 2, 9, 9, 9, 9}), 2},  // all optional fields
      {0x40, bytes({0x12, 0x08}), plain, 1},
      {0x40, bytes({0xEA, 0x08}), plain, 2},              // parametric stereo
      {0x40, bytes({0x17, 0x80, 0, 0, 0x30}), plain, 6},  // a rate in full
      {0x40, bytes({0xF8, 0x08, 0xE0}), plain, 8},        // a type beyond 31
                                                          // clang-format off
      {0x40, bytes({0x12, 0x00}), plain}, {0x40, bytes({0x12}), plain}, {0x66, stereo, plain, 2},
      {0x68, stereo, plain, 2}, {0x65, stereo, plain}, {0x69, stereo, plain}, {0x40, stereo, plain, 0, "alac"},
                                                          // clang-format on
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(&row - rows);
    const std::string file = mp4File(row.codec, row.configuration, row.fields, row.entry);
    EXPECT_EQ(tessaron::mp4Channels(*tessaron::memoryFile(file)).value_or(0), row.channels);
  }
}

TEST_F(CWMMDParserTest, KeepsWhatIsThere) {
  read(id3Tag(3, id3Text(3, "TIT2", "Lied") + id3Text(3, "TPE1", "Ann")) + mpegFrames(65));
  PropertyMap map = {{40102, u"mine"}, {40301, u""}};
  EXPECT_TRUE(CWMMDParser(kAudio).parseByFileName(path.u16string(), map));
  EXPECT_EQ(map[40102], u"mine");
  EXPECT_EQ(map[40301], u"");
  EXPECT_EQ(map[40302], u"Ann");
}

// Kilobytes that inflate to gigabytes: plain, hidden in frames of frames, and in other containers.
TEST_F(CWMMDParserTest, InflatesNothing) {
  const std::string bomb =
      be32(64 * kMiB) + deflated(std::string(64 * kMiB, 'x'), Z_BEST_COMPRESSION);
  const std::string three = id3Frame(3, "TXXX", bomb, 0x0080);
  const std::string four = id3Frame(4, "TXXX", bomb, 0x0009);
  const std::string title = id3Text(3, "TIT2", "Lied");
  const std::string chapter =
      id3Frame(3, "CHAP", std::string("c\0", 2) + std::string(16, '\0') + three);
  // In a frame whose size has two readings.
  const std::string hidden =
      id3Frame(4, "TPE2", '\0' + std::string(0x7F, 'y')).replace(4, 4, be32(0x100)) + four;
  for (const std::string& tag : {id3Tag(3, three + title), id3Tag(4, four + title),
                                 id3Tag(3, unsynchronized(three + title), 0x80),
                                 id3Tag(3, chapter + title), id3Tag(4, hidden)}) {
    SCOPED_TRACE(testing::Message() << tag.size());
    read(tag + mpegFrames(65));
    EXPECT_TRUE(found);
    EXPECT_LT(allocated, 8 * kMiB);
    read(wavFile(riffChunk("ID3 ", tag)));
    EXPECT_TRUE(found);
    EXPECT_LT(allocated, 8 * kMiB);
  }
}

TEST_F(CWMMDParserTest, BelievesNoSize) {
  std::string boxes = mp4Box("ftyp", "M4A ");
  for (int i = 0; i < 100000; ++i) boxes += be32(0x7FFFFFF0) + "moov";
  std::string asf = asfFile({"a", "b", "c", "d", "e"}, {{"WM/Genre", "Jazz"}});
  // Objects that all claim 65,535 attributes.
  const std::size_t object = asf.find("\x40\xA4\xD0\xD2");
  std::string counts = asf.substr(0, object).replace(24, 4, le32(0xFFFF));
  for (int i = 0; i < 2000; ++i) counts += asf.substr(object, 24) + le16(0xFFFF);
  for (const std::size_t at : {16, 24, 30 + 16}) asf.replace(at, 4, le32(0xFFFFFFF0));
  std::string wave = wavFile(riffChunk("LIST", "INFO" + riffChunk("INAM", "x")));
  wave.replace(wave.find("INAM") + 4, 4, le32(0xFFFFFFF0));
  std::string flac = flacFile({{"TITLE", "x"}}, 8);
  flac.replace(flac.find("TITLE") - 4, 4, le32(0xFFFFFFF0));
  for (const std::string& content :
       {boxes, asf, counts, wave, flac,
        id3Tag(3, id3Text(3, "TIT2", "x"), 0, 0x0FFFFFFF) + mpegFrames(65),
        mpegFrames(65) + "APETAGEX" + le32(2000) + le32(0x7FFFFFF0) + le32(0x7FFFFFFF) + le32(0) +
            std::string(8, '\0')}) {
    SCOPED_TRACE(content.substr(0, 4));
    read(content);
    EXPECT_LT(allocated, 64 * kMiB);
  }
}
