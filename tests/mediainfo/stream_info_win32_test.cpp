#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>

#include "mediainfo/stream_info.h"
#include "support/bytes.h"
#include "support/properties.h"
#include "temporary_folder.h"

TEST(CDSMediaStreamInfo, DescribesASoundAndKeepsWhatIsThere) {
  const TemporaryFolder folder;
  const std::filesystem::path path = folder.path / "sound.wav";
  const std::string format = le16(1) + le16(2) + le32(44100) + le32(176400) + le16(4) + le16(16);
  const std::string samples(352800, '\0');
  const std::string content = "WAVEfmt " + le32(16) + format + "data" +
                              le32(static_cast<std::uint32_t>(samples.size())) + samples;
  std::ofstream(path, std::ios::binary)
      << "RIFF" << le32(static_cast<std::uint32_t>(content.size())) << content;

  StreamList audio = {{{40101, u"mine"}}};
  StreamList video;
  CDSMediaStreamInfo info;
  EXPECT_FALSE(info.identifyByFileName((folder.path / "missing.wav").u16string(), audio, video));
  EXPECT_EQ(lines(audio), "40101=mine\n");
  if (!info.identifyByFileName(path.u16string(), audio, video)) {
    GTEST_SKIP() << "this system's DirectShow has no reader for sound files";
  }
  EXPECT_TRUE(video.empty());
  EXPECT_EQ(lines(audio), "40101=mine 40102=1.41 Mbps 40103=2 40104=44100 Hz, 16 bit 40106=0:02\n");
}
