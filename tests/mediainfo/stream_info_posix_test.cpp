#include <gtest/gtest.h>

#include <cstdlib>
#include <fstream>

#include "mediainfo/file_info.h"
#include "mediainfo/stream_info.h"
#include "support/properties.h"
#include "temporary_folder.h"

namespace {

// A file that ffmpeg makes; what it is made of stands before its name.
std::string make(const std::filesystem::path& path, const std::string& arguments) {
  const std::string command =
      "ffmpeg -v error -f lavfi -i " + arguments + " '" + path.string() + "'";
  EXPECT_EQ(std::system(command.c_str()), 0) << command;
  return path;
}

}  // namespace

TEST(CDSMediaStreamInfo, CompletesWhatIsThereAndKeepsIt) {
  const TemporaryFolder folder;
  const std::string path = make(folder.path / "a.wav", "sine=d=2:r=44100");
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
  make(folder.path / "sound.wav", "sine=d=2");
  const std::filesystem::path before = std::filesystem::current_path();
  std::filesystem::current_path(folder.path);  // which the list's names are looked up in
  ASSERT_EQ(std::system(("mkfifo '" + (folder.path / "pipe.avi").string() + "'").c_str()), 0);
  const std::pair<const char*, std::string> files[] = {
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
  std::filesystem::current_path(before);
}

TEST(CDSMediaStreamInfo, TellsNoRunTimeOfABrokenOffRecording) {
  const TemporaryFolder folder;
  // A pipe does not let ffmpeg go back and fill in the sizes.
  const std::string path =
      make(folder.path / "broken.avi", "testsrc=s=320x240:d=2 -c:v mjpeg -f avi - | cat >");
  CFileInfo info;
  ASSERT_TRUE(info.fromFile(tessaron::fromUtf8(path)));
  EXPECT_EQ(lines(info.videoStreams), "40003=320 x 240 40101=Motion JPEG 40107=25 fps 40108=4:3\n");
}
