// What only this system has: links, pipes, devices, dot files, permission bits.
#include <gtest/gtest.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <filesystem>
#include <fstream>
#include <map>
#include <vector>

#include "mediainfo/folder_info.h"
#include "platform/directory.h"
#include "platform/posix/native_path.h"
#include "temporary_folder.h"

namespace fs = std::filesystem;

namespace {

TEST(CFileInfo, TellsAttributesOfThisSystem) {
  const std::tuple<const char*, mode_t, std::uint32_t> rows[] = {
      {"plain", 0644, 0x20}, {".hidden", 0600, 0x22}, {"fixed", 0444, 0x21}};
  TemporaryFolder folder;
  CFileInfo info;
  for (const auto& [name, mode, attributes] : rows) {
    const fs::path path = folder.path / name;
    std::ofstream(path) << "x";
    chmod(path.c_str(), mode);
    EXPECT_TRUE(info.fromFile(path.u16string()));
    EXPECT_EQ(info.attributes, attributes) << name;
    EXPECT_EQ(info.encryptionStatus, 0u);
    // Wine tells the time of the last write instead.
    fs::last_write_time(path, fs::file_time_type::clock::now() - std::chrono::hours(1000));
    EXPECT_TRUE(info.fromFile(path.u16string()));
    constexpr double k1970 = 116'444'736e9;
    const double created =
        info.creationTime.dwHighDateTime * 0x1p32 + info.creationTime.dwLowDateTime;
    const auto now = std::chrono::system_clock::now().time_since_epoch();
    EXPECT_NEAR(created - k1970, std::chrono::duration<double>(now).count() * 1e7, 5e7) << name;
  }
  EXPECT_FALSE(info.fromFile(u"C:\\dir\\archive.TAR.GZ"));  // both separators are one
  EXPECT_EQ(info.name, u"archive.TAR.GZ");
  EXPECT_EQ(info.category, 2);
}

TEST(CFolderInfo, DescribesNoOtherFileThanTheOneThatHasTheName) {
  TemporaryFolder folder;
  const fs::path odd = folder.path / "caf\xE9";
  fs::create_directory(odd);
  std::map<std::uint32_t, std::string> expected;
  for (const char* name : {"\xFF.txt", "\uFFFD.txt", "\xE2\x82 \xED\xA0\x80.txt", "\U0001F3B5"}) {
    std::ofstream(odd / name) << std::string(expected.size() + 1, 'x');
    expected[static_cast<std::uint32_t>(expected.size() + 1)] = name;
  }
  std::error_code error;
  const auto entries = tessaron::readFolder(folder.path.u16string(), error);
  ASSERT_EQ(entries.size(), 1u);
  CFolderInfo info;
  info.fromFolder(tessaron::joinPath(folder.path.u16string(), entries[0].name));
  ASSERT_EQ(info.files.size(), expected.size());
  for (const CFileInfo& file : info.files)
    EXPECT_EQ(tessaron::fromNativePath(expected[file.sizeLow]), file.name);
}

TEST(CFolderInfo, IsNotHeldUpByWhatIsNoFile) {
  TemporaryFolder folder;
  const auto in = [&](const char* name) { return (folder.path / name).string(); };
  std::ofstream(in("file.txt")) << "x";
  ASSERT_EQ(mkfifo(in("pipe.mpg").c_str(), 0600), 0);
  for (const auto& [name, target] : {std::pair("link.txt", "file.txt"),
                                     {"dead.jpg", "nowhere"},
                                     {"loop.avi", "loop.avi"},
                                     {"zero.jpg", "/dev/zero"},
                                     {"folder.avi", "."}})
    fs::create_symlink(target, in(name));
  const int socketNumber = socket(AF_UNIX, SOCK_STREAM, 0);
  sockaddr_un address{};
  address.sun_family = AF_UNIX;
  in("socket.mp3").copy(address.sun_path, sizeof address.sun_path - 1);
  ASSERT_EQ(bind(socketNumber, reinterpret_cast<sockaddr*>(&address), sizeof address), 0);

  CFolderInfo info;
  info.fromFolder(folder.path.u16string());
  std::vector<std::u16string> names;
  for (const CFileInfo& file : info.files) names.push_back(file.name);
  std::ranges::sort(names);
  EXPECT_EQ(names, (std::vector<std::u16string>{u"file.txt", u"link.txt"}));
  close(socketNumber);

  using tessaron::EntryKind;
  std::error_code error;
  std::map<std::u16string, EntryKind> kinds;
  for (const auto& entry : tessaron::readFolder(folder.path.u16string(), error))
    kinds[entry.name] = entry.kind;
  const std::map<std::u16string, EntryKind> expected = {
      // clang-format off
      {u"file.txt", EntryKind::File}, {u"pipe.mpg", EntryKind::Other}, {u"socket.mp3", EntryKind::Other},
      {u"link.txt", EntryKind::Link}, {u"dead.jpg", EntryKind::Link}, {u"loop.avi", EntryKind::Link},
      {u"zero.jpg", EntryKind::Link}, {u"folder.avi", EntryKind::Link}};
  // clang-format on
  EXPECT_EQ(kinds, expected);
}

}  // namespace
