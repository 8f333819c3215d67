#include <gtest/gtest.h>

#include <array>
#include <vector>

#include "mediainfo/mpeg_parser.h"
#include "mediainfo/mpeg_scan_internal.h"
#include "support/bytes.h"
#include "support/properties.h"
#include "support/test_file.h"

namespace {

using tessaron::MpegScan;

constexpr std::size_t kBlock = MpegScan::kBlockSize;
const std::string kEnd = be32(0x1B9);
const std::string kSystem = be32(0x1BB) + be16(6) + std::string(6, '\x80');
const std::string kMpeg1Pack = be32(0x1BA) + bytes({0x21, 0, 1, 0, 1, 0x80, 0x27, 0x11});
const std::string kAudioFrame = be32(0xFFFB9064);

// `stuffing` bytes of 0xFF are told by the low three bits of the tenth byte.
std::string mpeg2Pack(int stuffing = 0) {
  return be32(0x1BA) + bytes({0x44, 0, 4, 0, 4, 1, 0, 0x9C, 0x43, 0xF8 | stuffing}) +
         std::string(static_cast<std::size_t>(stuffing), '\xFF');
}

// A packet; `header` is what stands between the length and the payload.
std::string packet(int id, const std::string& header, const std::string& payload) {
  return be32(0x100u | static_cast<unsigned>(id)) +
         be16(static_cast<unsigned>(header.size() + payload.size())) + header + payload;
}
const std::string kMpeg1Header = bytes({0x0F});
const std::string kMpeg1Full =  // stuffing, buffer size, both time stamps
    std::string(16, '\xFF') + bytes({0x60, 0x2E, 0x31, 0, 1, 0, 1, 0x11, 0, 1, 0, 1});
const std::string kMpeg2Header = bytes({0x80, 0, 0});
const std::string kMpeg2Stamp = bytes({0x80, 0x80, 5, 0x21, 0, 1, 0, 1});

std::string sequence(int aspect, const std::string& rate = bytes({0x0B, 0x3A, 0xC0})) {
  return be32(0x1B3) + bytes({0x2D, 0x02, 0x40, aspect << 4 | 3}) + rate + std::string(40, '\x55');
}

std::string parse(tessaron::File& file) {
  PropertyMap meta;
  StreamList audio;
  StreamList video;
  EXPECT_TRUE(CMPEGFileParser().parseByHandle(file, meta, audio, video));
  EXPECT_TRUE(meta.empty() && audio.empty());
  return lines(video);
}
std::string parse(const std::string& content) {
  TestFile file(content);
  return parse(file);
}

std::string paddedTo(std::size_t size, std::string content) {
  content.resize(size, '\xFF');
  return content;
}

const std::string kVideo = "40101=MPEG-2 40102=4.68 Mbps 40108=16:9\n";
const std::string kOldVideo = "40101=MPEG-1 40102=4.68 Mbps 40108=16:9\n";

struct Row {
  const char* name;
  std::string stream;
  std::string expected;
};

std::vector<Row> streams() {
  const std::string video = packet(0xE0, kMpeg2Header, sequence(3)), tail(64, '\x55');
  const std::string audio = packet(0xC0, kMpeg2Header, kAudioFrame + std::string(20, '\0'));
  const std::string other = packet(0xE1, kMpeg2Header, sequence(2));
  const std::string kOther = "40101=MPEG-2 40102=4.68 Mbps 40108=3:4\n";
  const std::string old = packet(0xE0, kMpeg1Header, sequence(3));
  const std::string pack = mpeg2Pack(), end = video + tail;
  const auto withRatio = [&](const std::string& content) {
    return pack + packet(0xE0, kMpeg2Header, content) + tail;
  };
  const auto audioBefore = [&](int id) {
    return pack + packet(id, kMpeg2Header, kAudioFrame + std::string(20, '\0')) + end;
  };
  // clang-format off
  return {
      {"nothing", "", ""}, {"the program end alone", kEnd, ""}, {"audio alone", pack + audio + audio, ""},
      {"MPEG-2", pack + kSystem + end, kVideo},
      {"MPEG-2, time stamp and stuffing",
       mpeg2Pack(7) + packet(0xE3, kMpeg2Stamp, sequence(3)) + tail, kVideo},
      {"MPEG-1", kMpeg1Pack + kSystem + old + tail, kOldVideo},
      {"MPEG-1, all in the header", kMpeg1Pack + packet(0xE0, kMpeg1Full, sequence(3)) + tail, kOldVideo},
      {"the last pack tells the generation", pack + end + kMpeg1Pack + tail, kOldVideo},
      {"square pixels", withRatio(sequence(1)), "40101=MPEG-2 40102=4.68 Mbps\n"},
      {"3:4", withRatio(sequence(2)), kOther},
      {"a reserved ratio, a rate of nothing", withRatio(sequence(4, bytes({0, 0, 0x3F}))),
       "40101=MPEG-2 40102=0 bps\n"},
      {"two videos, in the order of their slots", pack + other + pack + end, kVideo + kOther},
      {"a code right behind a sequence header's packet is missed", pack + other + end, kOther},
      {"no sequence header", withRatio(tail), ""},
      {"codes with a length are skipped",
       pack + be32(0x1BE) + be16(60) + std::string(4, '\0') + video.substr(0, 56) + end, kVideo},
      {"zeros before a code", pack + std::string(5, '\0') + end, kVideo},
      {"a foreign beginning", "foreign" + pack + end, kVideo},
      {"an audio stream without a slot", audioBefore(0xD3), kVideo},
      {"an audio stream beyond ends the block", audioBefore(0xD4), ""},
      {"the program end ends its block", pack + kEnd + end, ""},
      {"the next block is scanned", paddedTo(kBlock, kEnd) + pack + end, kVideo},
      {"the sixteenth block", paddedTo(15 * kBlock, "") + pack + end, kVideo},
      {"the seventeenth block", paddedTo(16 * kBlock, "") + pack + end, ""},
      {"the last place of a sequence header", paddedTo(0x7FF0 - 9, pack) + end, kVideo},
      {"one further", paddedTo(0x7FF1 - 9, pack) + end, ""},
      {"nothing else is carried to the next block", paddedTo(kBlock - 2, pack) + end, ""},
      {"the current code is carried to a last block of few bytes",
       paddedTo(kBlock - 4, kMpeg1Pack + old) + be32(0x1BA) + "\x44", kVideo},
  };
  // clang-format on
}

}  // namespace

TEST(CMPEGFileParser, DescribesVideoStreams) {
  for (const Row& row : streams()) EXPECT_EQ(parse(row.stream), row.expected) << row.name;
}

TEST(CMPEGFileParser, ReadsAtMostHalfAMebibyteAndGivesUpOnFailures) {
  TestFile endless("", std::uint64_t{1} << 40);
  EXPECT_EQ(parse(endless), "");
  EXPECT_EQ(endless.total, 512u << 10);

  const std::string stream = mpeg2Pack() + packet(0xE0, kMpeg2Header, sequence(3)) + mpeg2Pack() +
                             packet(0xC0, kMpeg2Header, kAudioFrame + std::string(20, '\0'));
  TestFile both(paddedTo(4 * kBlock, stream));
  EXPECT_EQ(parse(both), kVideo);
  EXPECT_EQ(both.total, kBlock);

  TestFile patient(stream, 15);
  EXPECT_EQ(parse(patient), kVideo);
  TestFile broken(stream, 1000);
  EXPECT_EQ(parse(broken), "");
  EXPECT_EQ(broken.reads, 16);
}

TEST(CMPEGFileParser, DecodesAudioHeadersWithItsOwnTables) {
  using Row = std::array<int, 4>;  // length, bit rate, sample rate, channels
  // clang-format off
  const std::pair<std::uint32_t, Row> rows[] = {
      {0xFFFB9064, {413, 128000, 44100, 2}}, {0xFFFB9264, {414, 128000, 44100, 2}},
      {0xFFFB90C4, {413, 128000, 44100, 1}}, {0xFFFDE400, {1148, 384000, 48000, 2}},
      {0xFFFF1800, {140, 32000, 32000, 2}}, {0xFFF3E800, {2876, 320000, 16000, 2}},
      {0xFFF37000, {361, 56000, 22050, 2}}, {0xFFF5E400, {2492, 416000, 24000, 2}}, {0xFFFB9C64, {0, -1, -1, -1}},
      {0xFFFBF064, {0, -1, -1, -1}}, {0xFFFB0064, {0, -1, -1, -1}}, {0xFFF99064, {0, -1, -1, -1}}};
  // clang-format on
  for (const auto& [header, expected] : rows) {
    Row found{-1, -1, -1, -1};
    found[0] = CMPEGFileParser().getMP3FrameData(header, &found[1], &found[2], &found[3]);
    EXPECT_EQ(found, expected) << std::hex << header;
  }
}

TEST(MpegScan, FillsTheSlotsOfBothKinds) {
  std::string stream = mpeg2Pack();
  for (const int id : {0xC0, 0xD2, 0xD3}) {
    stream += packet(id, kMpeg2Header, kAudioFrame + std::string(20, '\0'));
  }
  stream += packet(0xF2, kMpeg2Header, sequence(3)) + std::string(8, '\0');
  MpegScan scan;
  scan.scanBlock(std::as_bytes(std::span(stream)));
  EXPECT_TRUE(scan.audioSeen && scan.videoSeen && scan.isMpeg2);
  int present = 0;
  for (const MpegScan::Audio& slot : scan.audio) present += slot.present;
  EXPECT_EQ(present, 2);
  EXPECT_EQ(scan.audio[18].sampleRate, 44100);
  const MpegScan::Video& video = scan.video[2];
  EXPECT_EQ(video.width, 0x2D0);
  EXPECT_EQ(video.height, 576);
  EXPECT_EQ(video.frameRateCode, 3);
  EXPECT_EQ(scan.totalBitRate, 2 * 128000 + video.bitRate);
}

TEST(MpegScan, FindsCodesAtAnyPlace) {
  const std::string code("\0\0\1", 3);
  for (std::size_t place = 0; place < 400; ++place) {
    for (const char filler : {'x', '\0', '\1'}) {
      const std::string text = std::string(place, filler) + code + std::string(300, filler);
      const std::size_t found = text.find(code);  // zeros before a code make it begin later
      EXPECT_EQ(tessaron::findStartCode(std::as_bytes(std::span(text))), found);
      const auto before = std::as_bytes(std::span(text)).first(found + 2);
      EXPECT_EQ(tessaron::findStartCode(before), before.size());
    }
  }
}
