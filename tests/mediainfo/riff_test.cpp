#include <gtest/gtest.h>

#include <vector>

#include "mediainfo/riff_parser.h"
#include "support/bytes.h"
#include "support/properties.h"
#include "support/test_file.h"

namespace {

// A chunk whose size may be a lie, as in a recording that was broken off.
std::string chunk(const std::string& id, const std::string& content, std::uint32_t size) {
  return id + le32(size) + content + std::string(content.size() % 2, '\0');
}
std::string chunk(const std::string& id, const std::string& content) {
  return chunk(id, content, static_cast<std::uint32_t>(content.size()));
}
std::string list(const std::string& form, const std::string& content) {
  return chunk("LIST", form + content);
}
std::string riff(const std::string& content, const std::string& form = "AVI ") {
  return chunk("RIFF", form + content);
}

// 40 ms a frame, 500000 bytes a second, 50 frames.
const std::string kMainHeader = chunk(
    "avih", le32(40000) + le32(500000) + le32(0) + le32(0x10) + le32(50) + std::string(36, '\0'));

std::string streamHeader(const std::string& type, const std::string& handler, std::uint32_t scale,
                         std::uint32_t rate, std::uint32_t length, std::uint32_t sampleSize = 0) {
  return chunk("strh", type + handler + std::string(12, '\0') + le32(scale) + le32(rate) + le32(0) +
                           le32(length) + le32(0) + le32(0) + le32(sampleSize) +
                           std::string(8, '\0'));
}
std::string pictureFormat(const std::string& compression, std::uint32_t height = 240) {
  return chunk("strf", le32(40) + le32(320) + le32(height) + le16(1) + le16(24) + compression +
                           std::string(20, '\0'));
}
std::string waveFormat(std::uint32_t tag, const std::string& more = "") {
  return chunk("strf", le16(tag) + le16(2) + le32(44100) + le32(16000) + le16(4) + le16(16) + more);
}
std::string videoStream(const std::string& compression, std::uint32_t length = 50,
                        const std::string& more = "") {
  return list("strl", streamHeader("vids", "hand", 1, 25, length) + pictureFormat(compression) +
                          chunk("strd", std::string(251, 'd')) + more);
}
std::string audioStream(const std::string& format) {
  return list("strl", streamHeader("auds", le32(0), 1000, 25000, 50, 640) + format);
}
std::string indexEntry(const std::string& id, std::uint32_t size) {
  return id + le32(0x10) + le32(4) + le32(size);
}

const std::string kVideo = "40003=320 x 240 40101=XviD MPEG-4 40106=0:02 40107=25 fps\n";
const std::string kAudio =
    "40101=MPEG-1 Layer 3 40102=128 kbps 40103=2 40104=44100 Hz, 16 bit 40106=0:02\n";

struct Row {
  const char* name;
  std::string file;
  std::string video;
  std::string audio = "";
  std::string software = "";
};

std::string repeated(const std::string& text, int times) {
  std::string all;
  for (int i = 0; i < times; ++i) all += text;
  return all;
}

std::vector<Row> files() {
  const std::string xvid = videoStream("XVID");
  const std::string mp3 = audioStream(waveFormat(0x55));
  const std::string headers = list("hdrl", kMainHeader + xvid + mp3);
  const std::string movi = list("movi", chunk("00dc", std::string(1001, 'x')));
  const std::string software = list("INFO", chunk("ISFT", std::string("Maker 1.0\0", 10)));
  const std::string index =
      chunk("idx1", indexEntry("00dc", 1500) + indexEntry("01wb", 9) + indexEntry("00dc", 500) +
                        indexEntry("??dc", 5) + indexEntry("07dc", 5));
  const std::string superIndex =
      chunk("indx", le16(4) + bytes({0, 0}) + le32(2) + "00dc" + std::string(12, '\0') + le32(12) +
                        le32(0) + le32(32) + le32(60) +  // at offset 12 for 60 frames
                        le32(99) + le32(0) + le32(32) + le32(65));
  const std::string standardIndex =
      chunk("ix00", le16(2) + bytes({0, 1}) + le32(2) + "00dc" + std::string(12, '\0') + le32(0) +
                        le32(3000) + le32(8) + le32(0x80001000 - 1000 - 96));
  std::string deep = xvid;
  for (int level = 8; level > 0; --level)
    deep = list(std::string(4, static_cast<char>('0' + level)), deep);
  const std::string open = chunk("00dc", "frame");
  const std::string picture = "40003=320 x 240 40101=XviD MPEG-4";
  // clang-format off
  return {
      {"streams, software, data and an index", riff(headers + software + movi + index),
       picture + " 40102=200 kbps 40106=0:02 40107=25 fps\n", kAudio, "Maker 1.0"},
      {"an odd chunk and an empty one between",
       riff(chunk("JUNK", "odd") + chunk("JUNK", "") + headers + movi), kVideo, kAudio},
      {"lists in lists", riff(list("hdrl", list("aaaa", list("bbbb", xvid + software)))), kVideo, "", "Maker 1.0"},
      {"lists too deep", riff(deep + software), "", "", "Maker 1.0"},
      {"sizes of 0 in an interrupted recording",
       chunk("RIFF", "AVI " + headers + chunk("LIST", "movi" + open, 0), 0), kVideo, kAudio},
      {"sizes of -1", chunk("RIFF", "AVI " + headers + chunk("LIST", "movi" + open, ~0u), ~0u), kVideo, kAudio},
      {"a list that claims more than its parent has",
       riff(chunk("LIST", "hdrl" + kMainHeader + xvid + mp3, 0x7FFFFFFF)), kVideo, kAudio},
      {"a second part, and software behind it",
       riff(headers + movi) + riff(movi, "AVIX") + riff(software, "AVIX"), kVideo, kAudio, "Maker 1.0"},
      {"another film behind it", riff(headers + movi) + riff(headers + software), kVideo, kAudio},
      {"all frames of all parts",
       riff(list("hdrl", kMainHeader + xvid + list("odml", chunk("dmlh", le32(500)))) + repeated(movi, 4)),
       picture + " 40106=0:20 40107=25 fps\n"},
      {"an index of indexes, the first of them at the file's beginning",
       riff(standardIndex + list("hdrl", kMainHeader + videoStream("XVID", 50, superIndex)) + movi),
       picture + " 40102=600 kbps 40106=0:05 40107=25 fps\n"},
      {"lengths that no file of this size has",
       riff(list("hdrl", kMainHeader + videoStream("XVID", 0x40000000))), picture + " 40107=25 fps\n"},
      {"codes without a name, pictures from the top",
       riff(list("hdrl", kMainHeader + videoStream("QQQ~") +
                 list("strl", streamHeader("vids", "DIB ", 1001, 30000, 60) + pictureFormat(le32(0), 0u - 480)) +
                 list("strl", streamHeader("vids", "CVID", 0, 0, 0) + pictureFormat(bytes({1, 2, 3, 4}))))),
       "40003=320 x 240 40101=QQQ~ 40106=0:02 40107=25 fps\n"
       "40003=320 x 480 40101=RGB 40106=0:02 40107=29.97 fps\n40003=320 x 240 40101=Cinepak\n"},
      {"sound without a name, and extensible sound",
       riff(list("hdrl", audioStream(waveFormat(0xABC)) +
                 audioStream(waveFormat(0xFFFE, le16(22) + le16(16) + le32(3) + le16(3) + std::string(14, '\0'))))), "",
       "40101=0x0ABC 40102=128 kbps 40103=2 40104=44100 Hz, 16 bit 40106=0:02\n"
       "40101=Microsoft Wave IEEE Float 40102=128 kbps 40103=2 40104=44100 Hz, 16 bit 40106=0:02\n"},
      {"nineteen of each kind, and streams of others",
       riff(list("hdrl", list("strl", streamHeader("txts", le32(0), 1, 1, 1)) + repeated(xvid + mp3, 25))),
       repeated(kVideo, 19), repeated(kAudio, 19)},
  };
  // clang-format on
}

struct Parsed {
  explicit Parsed(tessaron::File& file)
      : isAvi(CRiffFileParser().parseByHandle(file, meta, audio, video)) {}
  explicit Parsed(const std::string& content) : Parsed(*tessaron::memoryFile(content)) {}

  PropertyMap meta;
  StreamList audio, video;
  bool isAvi;
};

}  // namespace

TEST(CRiffFileParser, DescribesStreams) {
  for (const Row& row : files()) {
    Parsed parsed(row.file);
    EXPECT_TRUE(parsed.isAvi) << row.name;
    EXPECT_EQ(lines(parsed.video), row.video) << row.name;
    EXPECT_EQ(lines(parsed.audio), row.audio) << row.name;
    EXPECT_EQ(tessaron::toUtf8(parsed.meta[40203]), row.software) << row.name;
  }
}

TEST(CRiffFileParser, TellsTheWholeDataRate) {
  const std::string headers = list("hdrl", kMainHeader + videoStream("XVID"));
  const std::string rest(25000 - headers.size() - 12, '\0');
  EXPECT_EQ(line(Parsed(riff(headers + rest)).meta), "40102=100 kbps");  // 25000 bytes in 2 s
  EXPECT_EQ(line(Parsed(riff(list("hdrl", kMainHeader))).meta), "40102=4 Mbps");  // the header's
}

TEST(CRiffFileParser, LeavesOtherFilesToOthers) {
  for (const std::string& content : {std::string(), std::string("RIFF"), riff("", "WAVE"),
                                     "XIFF" + riff("").substr(4), std::string(12, '\0')}) {
    const Parsed parsed(content);
    EXPECT_FALSE(parsed.isAvi);
    EXPECT_TRUE(parsed.meta.empty() && parsed.audio.empty() && parsed.video.empty());
  }
}

TEST(CRiffFileParser, ReadsLittleOfALongFile) {
  const std::string headers = "AVI " + list("hdrl", kMainHeader + videoStream("XVID"));
  for (const std::string& begin :
       {chunk("RIFF", headers + chunk("LIST", "movi", 0xF0000000), 0xF0000400),
        chunk("RIFF", headers + chunk("idx1", "", 0xF0000000), 0xF0000400),
        chunk("RIFF", headers + repeated(chunk("JUNK", std::string(2000, 'j')), 5000), ~0u)}) {
    TestFile file(begin, std::uint64_t{0x100000000});
    const Parsed parsed(file);
    EXPECT_EQ(parsed.video.size(), 1u);
    EXPECT_LE(file.total, 8u << 20);
  }
}
