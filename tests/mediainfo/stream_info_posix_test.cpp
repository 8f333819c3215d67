#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <map>
#include <vector>

#include "mediainfo/file_info.h"
#include "mediainfo/stream_info.h"
#include "support/properties.h"
#include "support/units.h"
#include "temporary_folder.h"

namespace {

/// What ffprobe says about one stream: "codec_type" is "audio" or "video".
using Probe = std::map<std::string, std::string>;

std::vector<Probe> probe(const std::string& path) {
  const std::string command = "ffprobe -v error -show_streams -of default '" + path + "'";
  std::vector<Probe> streams;
  FILE* output = popen(command.c_str(), "r");
  if (output == nullptr) return streams;
  std::array<char, 4096> buffer;
  while (std::fgets(buffer.data(), buffer.size(), output) != nullptr) {
    std::string row = buffer.data();
    row.resize(row.find_last_not_of('\n') + 1);
    if (row == "[STREAM]") streams.emplace_back();
    if (const std::size_t equals = row.find('='); equals != row.npos && !streams.empty()) {
      streams.back()[row.substr(0, equals)] = row.substr(equals + 1);
    }
  }
  EXPECT_EQ(pclose(output), 0) << command;
  return streams;
}

// Ours for one label; empty when it is not there.
std::string value(const PropertyMap& map, std::uint32_t label) {
  const auto found = map.find(label);
  return found == map.end() ? "" : tessaron::toUtf8(found->second);
}

double quotient(const std::string& text) {
  int above = 0;
  int below = 0;
  return std::sscanf(text.c_str(), "%d/%d", &above, &below) == 2 && below != 0
             ? static_cast<double>(above) / below
             : 0;
}

int secondsIn(const std::string& text) {
  int minutes = 0;
  int seconds = 0;
  EXPECT_EQ(std::sscanf(text.c_str(), "%d:%d", &minutes, &seconds), 2) << text;
  return minutes * 60 + seconds;
}

void expectSame(const PropertyMap& ours, Probe& theirs) {
  SCOPED_TRACE(line(ours));
  EXPECT_NE(value(ours, 40101), "");
  if (theirs["duration"] != "N/A") {
    EXPECT_NEAR(secondsIn(value(ours, 40106)), std::atof(theirs["duration"].c_str()), 0.6);
  }
  if (theirs["codec_type"] == "video") {
    EXPECT_EQ(value(ours, 40003), theirs["width"] + " x " + theirs["height"]);
    const double frameRate = quotient(theirs["avg_frame_rate"]);
    EXPECT_EQ(value(ours, 40107), tessaron::toUtf8(tessaron::decimalText(frameRate, 3)) + " fps");
  } else {
    EXPECT_EQ(value(ours, 40103), theirs["channels"]);
    const std::string sample = value(ours, 40104);
    EXPECT_EQ(sample.substr(0, sample.find(" Hz")), theirs["sample_rate"]);
    EXPECT_EQ(value(ours, 40102),
              tessaron::toUtf8(tessaron::dataRateText(std::atof(theirs["bit_rate"].c_str()))));
  }
}

const char* const kPicture = "-f lavfi -i testsrc=s=320x240:d=2:r=";
const char* const kSound = " -f lavfi -i sine=d=2:r=44100";

struct Row {
  const char* name;
  std::string arguments;
  const char* video;  // formats and ratios, a line for each stream
  const char* audio;
};

}  // namespace

TEST(CDSMediaStreamInfo, SaysWhatFfprobeSays) {
  const std::string film = kPicture + std::string("25") + kSound;
  const std::string ntsc = kPicture + std::string("30000/1001") + kSound;
  const Row rows[] = {
      {"one.mpg", film + " -f mpeg -c:v mpeg1video -b:v 1M -c:a mp2 -b:a 128k", "MPEG-1 4:3\n",
       "MPEG-1\n"},
      {"wide.mpg", film + " -f vob -c:v mpeg2video -aspect 16:9 -c:a mp2 -b:a 192k",
       "MPEG-2 16:9\n", "MPEG-1\n"},
      {"narrow.mpeg", ntsc + " -f vob -c:v mpeg2video -aspect 4:3 -c:a ac3 -b:a 192k",
       "MPEG-2 3:4\n", "Dolby AC3\n"},
      {"xvid.avi", film + " -c:v mpeg4 -vtag XVID -c:a libmp3lame -b:a 128k", "XviD MPEG-4 4:3\n",
       "MPEG-1 Layer 3\n"},
      {"jpeg.avi", ntsc + " -c:v mjpeg -c:a pcm_s16le", "Motion JPEG 4:3\n",
       "Microsoft Wave PCM\n"},
      {"ffv1.avi", film + " -map 0 -map 1 -map 1 -c:v ffv1 -c:a adpcm_ms", "FFV1 4:3\n",
       "Microsoft Wave ADPCM\nMicrosoft Wave ADPCM\n"},
      {"film.wmv", film + " -c:v wmv2 -c:a wmav2 -b:a 128k",
       "Microsoft Windows Media Video 8 4:3\n", "Microsoft Windows Media Audio\n"},
      {"film.mov", film + " -c:v mpeg4 -c:a aac", "MPEG-4 part 2 4:3\n",
       "AAC (Advanced Audio Coding)\n"},
      {"sound.wav", kSound, "", "Microsoft Wave PCM\n"},
      {"sound.mp3", kSound + std::string(" -b:a 128k"), "", "MPEG-1 Layer 3\n"},
      {"sound.ogg", kSound + std::string(" -c:a libvorbis"), "", "Vorbis\n"},
      {"sound.wma", kSound + std::string(" -c:a wmav2 -b:a 64k"), "",
       "Microsoft Windows Media Audio\n"},
  };
  const TemporaryFolder folder;
  for (const Row& row : rows) {
    SCOPED_TRACE(row.name);
    const std::string path = folder.path / row.name;
    const std::string command = "ffmpeg -v error " + row.arguments + " '" + path + "'";
    ASSERT_EQ(std::system(command.c_str()), 0) << command;
    CFileInfo info;
    ASSERT_TRUE(info.fromFile(tessaron::fromUtf8(path)));

    std::size_t audio = 0;
    std::size_t video = 0;
    for (Probe& theirs : probe(path)) {
      const bool isVideo = theirs["codec_type"] == "video";
      if (!isVideo && theirs["codec_type"] != "audio") continue;
      const StreamList& list = isVideo ? info.videoStreams : info.audioStreams;
      const std::size_t index = isVideo ? video++ : audio++;
      ASSERT_LT(index, list.size());
      expectSame(list[index], theirs);
    }
    EXPECT_EQ(info.videoStreams.size(), video);
    EXPECT_EQ(info.audioStreams.size(), audio);
    std::string found;
    for (const PropertyMap& map : info.videoStreams) {
      found += value(map, 40101) + ' ' + value(map, 40108) + '\n';
    }
    EXPECT_EQ(found, row.video);
    found.clear();
    for (const PropertyMap& map : info.audioStreams) found += value(map, 40101) + '\n';
    EXPECT_EQ(found, row.audio);
  }
}

TEST(CDSMediaStreamInfo, CompletesWhatIsThereAndKeepsIt) {
  const TemporaryFolder folder;
  const std::string path = folder.path / "a.wav";
  ASSERT_EQ(std::system(("ffmpeg -v error " + std::string(kSound) + " '" + path + "'").c_str()), 0);
  StreamList audio = {{{40101, u"mine"}, {40999, u"other"}}, {{40101, u"second"}}};
  StreamList video = {{{40101, u"picture"}}};
  CDSMediaStreamInfo info;
  EXPECT_TRUE(info.identifyByFileName(tessaron::fromUtf8(path), audio, video));
  EXPECT_EQ(lines(audio),
            "40101=mine 40102=706 kbps 40103=1 40104=44100 Hz, 16 bit 40106=0:02 40999=other\n"
            "40101=second\n");
  EXPECT_EQ(lines(video), "40101=picture\n");
}

TEST(CDSMediaStreamInfo, OpensNothingButTheFile) {
  const TemporaryFolder folder;
  const std::string sound = folder.path / "sound.wav";
  ASSERT_EQ(std::system(("ffmpeg -v error " + std::string(kSound) + " '" + sound + "'").c_str()),
            0);
  ASSERT_EQ(std::system(("mkfifo '" + (folder.path / "pipe.avi").string() + "'").c_str()), 0);
  const std::pair<const char*, std::string> files[] = {
      {"list.m3u8",
       "#EXTM3U\n#EXT-X-TARGETDURATION:2\n#EXTINF:2,\n" + sound + "\n#EXT-X-ENDLIST\n"},
      {"list.ffconcat", "ffconcat version 1.0\nfile sound.wav\n"},
      {"session.sdp",
       "v=0\no=- 0 0 IN IP4 127.0.0.1\ns=x\nc=IN IP4 127.0.0.1\nt=0 0\n"
       "m=audio 49170 RTP/AVP 0\n"},
      {"text.avi", "neither sound nor picture"},
      {"empty.mpg", ""},
  };
  StreamList audio;
  StreamList video;
  CDSMediaStreamInfo info;
  for (const auto& [name, content] : files) {
    const std::filesystem::path path = folder.path / name;
    std::ofstream(path, std::ios::binary) << content;
    info.identifyByFileName(path.u16string(), audio, video);
    EXPECT_TRUE(audio.empty() && video.empty()) << name;
  }
  for (const char* name : {"pipe.avi", "missing.avi", ""}) {
    EXPECT_FALSE(info.identifyByFileName((folder.path / name).u16string(), audio, video));
  }
}

TEST(CDSMediaStreamInfo, TellsNoRunTimeOfABrokenOffRecording) {
  const TemporaryFolder folder;
  const std::string path = folder.path / "broken.avi";
  const std::string command =
      "ffmpeg -v error " + (kPicture + std::string("25")) + " -c:v mjpeg -f avi - | cat > '" + path;
  ASSERT_EQ(std::system((command + '\'').c_str()), 0);
  CFileInfo info;
  ASSERT_TRUE(info.fromFile(tessaron::fromUtf8(path)));
  EXPECT_EQ(lines(info.videoStreams), "40003=320 x 240 40101=Motion JPEG 40107=25 fps 40108=4:3\n");
}
