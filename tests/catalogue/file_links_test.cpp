#include "catalogue/file_links.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <string>

#include "catalogue/file_match.h"
#include "mediainfo/category.h"
#include "mediainfo/labels.h"
#include "platform/directory.h"
#include "platform/file.h"
#include "records/item_text.h"
#include "support/text.h"

namespace tessaron {
namespace {

namespace label = tessaron::label;

TEST(FileLinks, LeadFromTheFolderOfTheCollection) {
  const std::u16string folder = linkFolder(u"/home/u/media/shelf.xml");
  const struct {
    const char16_t *path, *link, *opened;
  } rows[] = {
      {u"/home/u/media/a/b.flac", u"a/b.flac", u"/a/b.flac"},
      {u"/home/u/media/./a//../b", u"b", u"/b"},
      {u"/home/u/media2/b", nullptr, nullptr},
      {u"/home/u/media", nullptr, nullptr},
      {u"/home/u/media/../b", nullptr, nullptr},
  };
  for (const auto& row : rows) {
    const std::u16string link = linkPath(folder, row.path);
    const std::u16string outside = absolutePath(row.path, false);
    EXPECT_EQ(link, row.link ? row.link : outside) << toUtf8(row.path);
    EXPECT_EQ(linkedPath(folder, link), row.opened ? folder + row.opened : outside);
  }
}

TEST(FileLinks, TellFilesOfOneSizeApart) {
  const std::string content(300'000, 'x');
  const auto checksumWith = [&](std::size_t changed) {
    std::string other = content;
    if (changed < other.size()) other[changed] = 'y';
    return fileChecksum(*memoryFile(other), other.size());
  };
  const std::u16string whole = checksumWith(content.size());
  EXPECT_EQ(whole, u"3782d4bc7b6c5f06") << toUtf8(whole);  // kept in collections
  for (const std::size_t changed : {0, 32'767, 150'000, 299'999})
    EXPECT_NE(checksumWith(changed), whole) << changed;
  EXPECT_EQ(fileChecksum(*memoryFile("short"), 6), u"");
}

CFileInfo file(std::u16string path, std::int32_t category, PropertyMap tags = {},
               std::u16string time = {}) {
  CFileInfo info;
  info.name = path.substr(path.rfind(u'/') + 1);
  info.path = std::move(path);
  info.category = category;
  info.metaInfo = std::move(tags);
  if (!time.empty()) info.info[label::kRunTime] = time;
  return info;
}

TEST(FileMatcher, ProposesWhatAFileMayBe) {
  const char* const attributes[] = {
      "<Title>Matrix, The</Title><ProductGroup>DVD</ProductGroup><RunningTime>136</RunningTime>"
      "<TheatricalReleaseDate>1999-03-31</TheatricalReleaseDate>",
      "<Title>Matrix</Title><ProductGroup>Book</ProductGroup><Author>Crane, Ida</Author>",
      "<Title>Salt Roads</Title><ProductGroup>Music</ProductGroup><Artist>Finch, Orla</Artist>"
      "<UPC>036000291452</UPC>",
      "<Title>Salt Roads</Title><ProductGroup>Music</ProductGroup><Artist>Lund, Bo</Artist>",
      "<Title>Cartographer of Rain: A Novel</Title><ProductGroup>Book</ProductGroup>"
      "<ISBN>0306406152</ISBN><Author>Vale, Ines</Author>"};
  std::string text = "<R><Items>";
  for (std::size_t i = 0; i < std::size(attributes); ++i)
    text += "<Item><ASIN>" + std::string(1, static_cast<char>('A' + i)) +
            "</ASIN><ItemAttributes>" + attributes[i] + "</ItemAttributes></Item>";
  for (int i = 0; i < 400; ++i)  // a word that is in too many titles to look items up by
    text += "<Item><ItemAttributes><Title>Rain " + std::to_string(i) +
            "</Title></ItemAttributes></Item>";
  const auto document = memoryFile(text + "</Items></R>");
  FileMatcher matcher;
  ItemStream items(*document);
  while (items.next()) matcher.add(items);

  constexpr std::uint32_t kTitle = label::kTitle, kAuthor = label::kAuthor, kAlbum = label::kAlbum;
  const struct {
    CFileInfo file;
    const char* expected;  // the items in order, a sign for a clear match
    const char* reason;    // of the first
  } rows[] = {
      {file(u"films/The.Matrix.1999.1080p.x264.mkv", kVideoCategory, {}, u"2:16:18"), "A!",
       "running time"},
      {file(u"The Matrix (1999)/cd1.avi", kVideoCategory), "A", "folder"},
      {file(u"matrix.mkv", kVideoCategory, {}, u"20:00"), "A", "another running time"},
      {file(u"x.epub", kDocumentCategory, {{kTitle, u"The Matrix"}, {kAuthor, u"Ida Crane"}}), "B!",
       "person"},
      {file(u"x.flac", kAudioCategory, {{kAlbum, u"SALT ROADS"}, {kAuthor, u"Bo Lund & Co"}}),
       "D!C", "album"},
      {file(u"Orla Finch/Salt Roads/02 Rain 7.mp3", kAudioCategory), "CD", "folder"},
      {file(u"x.mp3", kAudioCategory, {{label::kBarCode, u"036000291452"}}), "C!",
       "bar code 0036000291452"},
      {file(u"x.mp3", kAudioCategory, {{label::kAsin, u"D"}}), "D!", "ASIN"},
      {file(u"0-306-40615-2 scan.pdf", kDocumentCategory), "E!",
       "number in the name 9780306406157"},
      {file(u"Ines Vale - The Cartographer of Rain.epub", kDocumentCategory), "E!",
       "file name (80 % alike)"},
      {file(u"x.epub", kDocumentCategory,
            {{kTitle, u"Cartographer of Rain"}, {label::kIsbn, u"9783161484100"}}),
       "", ""},
      {file(u"rain.txt", kDocumentCategory), "", ""},
      {file(u"....", kOtherCategory), "", ""},
  };
  for (const auto& [info, expected, reason] : rows) {
    const std::vector<FileMatch> matches = matcher.match(factsOf(info), 40, 3);
    std::string found;
    for (const FileMatch& match : matches) {
      found += toUtf8(match.asin);
      if (&match == &matches.front() && FileMatcher::isClear(matches)) found += '!';
    }
    EXPECT_EQ(found, expected) << toUtf8(info.path);
    if (matches.empty()) continue;
    EXPECT_NE(std::ranges::find(matches[0].reasons, reason), matches[0].reasons.end())
        << toUtf8(info.path);
  }
}

}  // namespace
}  // namespace tessaron
