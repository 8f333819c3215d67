// What is said of real files is held against what other programs say of them.

#include <gtest/gtest.h>

#include <array>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <map>

#include "mediainfo/picture_metadata.h"
#include "mediainfo/wm_metadata.h"
#include "support/picture_samples.h"
#include "support/text.h"
#include "support/tiff_builder.h"
#include "temporary_folder.h"

using namespace std::string_literals;

namespace {

constexpr std::int32_t kAudio = 16;
constexpr std::int32_t kVideo = 64;

using Answers = std::map<std::string, std::string>;

// What a command prints, as lines of a name, a separator and a value; the names in lower case.
Answers ask(const std::string& command, const std::string& separator) {
  Answers answers;
  FILE* const output = popen(command.c_str(), "r");
  if (!output) return answers;
  std::array<char, 4096> buffer;
  while (std::fgets(buffer.data(), buffer.size(), output)) {
    std::string row = buffer.data();
    row.resize(row.find_last_not_of('\n') + 1);
    if (const std::size_t at = row.find(separator); at != row.npos) {
      std::string name = row.substr(0, at);
      for (char& c : name) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
      answers[name] = row.substr(at + separator.size());
    }
  }
  EXPECT_EQ(pclose(output), 0) << command;
  return answers;
}

void run(const std::string& command) { ASSERT_EQ(std::system(command.c_str()), 0) << command; }

std::string value(const PropertyMap& map, std::uint32_t label) {
  const auto found = map.find(label);
  return found == map.end() ? "" : tessaron::toUtf8(found->second);
}

}  // namespace

TEST(CWMMDParserOnRealFiles, SaysWhatFfprobeSays) {
  const std::string sound = " -f lavfi -i sine=d=3:r=44100 -ac 2";
  const std::string film = " -f lavfi -i testsrc=d=1:s=64x48 -f lavfi -i sine=d=1";
  struct Row {
    const char* name;
    std::string arguments;
    std::int32_t category;
    std::vector<std::string> missing;  // that the container, or its usual writer, has no place for
  };
  const Row rows[] = {
      {"a.mp3", sound, kAudio, {}},
      {"b.mp3", sound + " -id3v2_version 3 -write_id3v1 1", kAudio, {}},
      {"a.ogg", sound + " -c:a libvorbis", kAudio, {}},
      {"a.opus", sound + " -c:a libopus", kAudio, {}},
      {"a.flac", sound, kAudio, {}},
      {"a.m4a", sound, kAudio, {}},
      {"a.wav", sound, kAudio, {"album_artist", "composer"}},
      {"a.aiff", sound + " -write_id3v2 1", kAudio, {}},
      {"a.wma", sound + " -metadata WM/Year=2004", kAudio, {}},
      {"a.wmv", film + " -metadata WM/Year=2004", kVideo, {}},
      {"a.mp4", film, kVideo, {}},
  };
  const std::pair<const char*, std::uint32_t> tags[] = {
      {"title", 40301},    {"artist", 40302},       {"album", 40303},     {"date", 40304},
      {"track", 40305},    {"genre", 40306},        {"copyright", 40307}, {"comment", 40308},
      {"composer", 40311}, {"album_artist", 40310},
  };
  const TemporaryFolder folder;
  for (const Row& row : rows) {
    SCOPED_TRACE(row.name);
    const std::string path = folder.path / row.name;
    run("ffmpeg -v error" + row.arguments +
        " -metadata title='Größe' -metadata artist='星を編む' -metadata album='A & B'"
        " -metadata date=2004 -metadata track=3 -metadata genre=Jazz -metadata copyright='© me'"
        " -metadata comment='fine; very' -metadata composer=Bach -metadata album_artist=Various '" +
        path + "'");
    PropertyMap map;
    ASSERT_TRUE(CWMMDParser(row.category).parseByFileName(tessaron::fromUtf8(path), map));
    Answers theirs =
        ask("ffprobe -v error -show_entries format_tags:stream_tags:stream=sample_rate,"
            "channels:format=duration -of default=nw=1 '" +
                path + "'",
            "=");
    int compared = 0;
    for (const auto& [name, label] : tags) {
      const auto found = theirs.find("tag:"s + name);
      if (found == theirs.end()) continue;
      EXPECT_EQ(value(map, label), found->second) << name;
      ++compared;
    }
    EXPECT_GE(compared + static_cast<int>(row.missing.size()), 10);
    if (row.category == kAudio) {
      EXPECT_EQ(value(map, 40103), theirs["channels"]);
      EXPECT_EQ(value(map, 40104), theirs["sample_rate"] + " Hz");
      EXPECT_EQ(value(map, 40106), "0:03");
    }
  }
}

TEST(CGPImageMDParserOnRealFiles, SaysWhatExiftoolSays) {
  constexpr std::uint16_t kText = 2, kShort = 3, kRational = 5, kUndefined = 7,
                          kSignedRational = 10;
  TiffBuilder tiff(true);
  tiff.putBytes(0x010E, kText, "a view\0"s).putBytes(0x010F, kText, "Acme\0"s);
  tiff.putBytes(0x0110, kText, "Foto 3\0"s).put(0x0112, kShort, {5});
  tiff.putBytes(0x0131, kText, "Prog 1.0\0"s).putBytes(0x013B, kText, "Ann\0"s);
  tiff.put(0x829A, kRational, {10, 1250}, TiffBuilder::kExif);
  tiff.put(0x829D, kRational, {28, 10}, TiffBuilder::kExif);
  tiff.put(0x8827, kShort, {400}, TiffBuilder::kExif);
  tiff.put(0x9201, kSignedRational, {6965784, 1000000}, TiffBuilder::kExif);
  tiff.put(0x9202, kRational, {297, 100}, TiffBuilder::kExif);
  tiff.put(0x9204, kSignedRational, {static_cast<std::uint32_t>(-1), 2}, TiffBuilder::kExif);
  tiff.putBytes(0x9286, kUndefined, "UNICODE\0\0s\0e\0e\0n"s, TiffBuilder::kExif);
  tiff.put(0x9206, kRational, {5, 2}, TiffBuilder::kExif);
  tiff.put(0x920A, kRational, {505, 10}, TiffBuilder::kExif);
  tiff.put(0xA405, kShort, {75}, TiffBuilder::kExif);
  JpegSample sample;
  sample.width = sample.height = 8;
  const TemporaryFolder folder;
  const std::string path = folder.path / "a.jpg";
  std::ofstream(path, std::ios::binary) << withExif(makeJpeg(sample), tiff.build());

  PropertyMap map;
  ASSERT_TRUE(CGPImageMDParser().parseByFileName(tessaron::fromUtf8(path), map));
  Answers theirs = ask("exiftool -s -EXIF:all '" + path + "'", ": ");
  Answers trimmed;
  for (auto& [name, text] : theirs) trimmed[name.substr(0, name.find(' '))] = text;
  struct Row {
    const char* name;
    std::uint32_t label;
    std::string ours;  // what we add to theirs
    std::string before = "";
  };
  const Row rows[] = {
      {"imagedescription", 40202, ""},
      {"software", 40203, ""},
      {"artist", 40204, ""},
      {"usercomment", 40206, ""},
      {"make", 40209, ""},
      {"model", 40210, ""},
      {"exposuretime", 40216, " s"},
      {"fnumber", 40217, "", "f/"},
      {"iso", 40219, ""},
      {"shutterspeedvalue", 40220, " s"},
      {"aperturevalue", 40221, "", "f/"},
      {"subjectdistance", 40225, ""},
      {"focallength", 40230, ""},
      {"focallengthin35mmformat", 40231, ""},
  };
  for (const Row& row : rows) {
    ASSERT_EQ(trimmed.count(row.name), 1u) << row.name;
    EXPECT_EQ(value(map, row.label), row.before + trimmed[row.name] + row.ours) << row.name;
  }
}
