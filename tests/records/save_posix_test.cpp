// What replacing a file promises where files have permissions and symbolic links.

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <string>

#include "platform/file.h"
#include "support/files.h"
#include "temporary_folder.h"

namespace {

namespace fs = std::filesystem;

std::string content(const fs::path& path) {
  std::string text;
  ReadFileToString(path.u16string(), text);
  return text;
}

std::error_code save(std::string_view text, const fs::path& path) {
  return tessaron::replaceFile(path.u16string(), text);
}

TEST(ReplaceFile, KeepsPermissionsAndLinks) {
  const TemporaryFolder folder;
  const fs::path path = folder.path / "a.xml", link = folder.path / "link.xml";
  ASSERT_FALSE(save("old", path));
  fs::create_symlink("a.xml", link);
  ASSERT_EQ(chmod(path.c_str(), 0640), 0);
  EXPECT_FALSE(save("new", link));
  EXPECT_TRUE(fs::is_symlink(link));
  struct stat info {};
  ASSERT_EQ(lstat(path.c_str(), &info), 0);
  EXPECT_EQ(info.st_mode & 07777, 0640u);
  EXPECT_EQ(content(path), "new");

  fs::create_symlink("later.xml", folder.path / "dangling.xml");
  EXPECT_FALSE(save("later", folder.path / "dangling.xml"));
  EXPECT_TRUE(fs::is_regular_file(folder.path / "later.xml"));
  EXPECT_EQ(folder.entries(), 4u);
}

TEST(ReplaceFile, RespectsWhatTheUserMayNot) {
  const TemporaryFolder folder;
  const fs::path open = folder.path / "open", closed = folder.path / "closed";
  for (const fs::path& sub : {open, closed}) {
    fs::create_directory(sub);
    ASSERT_FALSE(save("old", sub / "a.xml"));
  }
  ASSERT_EQ(chmod(folder.path.c_str(), 0755), 0);
  ASSERT_EQ(chmod((open / "a.xml").c_str(), 0444), 0);    // the file is protected
  ASSERT_EQ(chmod((closed / "a.xml").c_str(), 0666), 0);  // its folder is
  ASSERT_EQ(chmod(open.c_str(), 0777), 0);
  ASSERT_EQ(chmod(closed.c_str(), 0555), 0);
  const uid_t user = geteuid();
  for (const fs::path& sub : {open, closed}) {
    ASSERT_EQ(seteuid(user == 0 ? 65534 : user), 0);  // nothing is forbidden to root
    const std::error_code error = save("new", sub / "a.xml");
    ASSERT_EQ(seteuid(user), 0);
    EXPECT_EQ(error.value(), EACCES) << sub;
    EXPECT_EQ(content(sub / "a.xml"), "old");
    EXPECT_EQ(std::distance(fs::directory_iterator(sub), {}), 1);
  }
  chmod(closed.c_str(), 0755);
}

}  // namespace
