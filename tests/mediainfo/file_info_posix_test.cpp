// What only this system has: links, pipes, devices, dot files, permission bits.
#include <gtest/gtest.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <ctime>
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
  }
  EXPECT_FALSE(info.fromFile(u"C:\\dir\\archive.TAR.GZ"));  // both separators are one
  EXPECT_EQ(info.name, u"archive.TAR.GZ");
  EXPECT_EQ(info.category, 2);
}

TEST(CFileInfo, TellsWhenAFileWasCreated) {
  TemporaryFolder folder;
  const fs::path path = folder.path / "file";
  const auto now = [] {
    timespec time;
    clock_gettime(CLOCK_REALTIME_COARSE, &time);
    return static_cast<std::uint64_t>(time.tv_sec) * 10'000'000 + 116'444'736'000'000'000 +
           static_cast<std::uint64_t>(time.tv_nsec) / 100;
  };
  const std::uint64_t before = now();
  std::ofstream(path) << "x";
  const std::uint64_t after = now();
  fs::last_write_time(path, fs::file_time_type::clock::now() - std::chrono::hours(1000));
  CFileInfo info;
  EXPECT_TRUE(info.fromFile(path.u16string()));
  const std::uint64_t created =
      std::uint64_t{info.creationTime.dwHighDateTime} << 32 | info.creationTime.dwLowDateTime;
  EXPECT_GE(created, before);
  EXPECT_LE(created, after + 10'000'000);  // a file system without birth times gives the change
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
  fs::create_symlink("file.txt", in("link.txt"));
  fs::create_symlink("nowhere", in("dead.jpg"));
  fs::create_symlink("loop.avi", in("loop.avi"));
  fs::create_symlink("/dev/zero", in("zero.jpg"));
  fs::create_symlink(".", in("folder.avi"));
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

  std::error_code error;
  std::map<std::u16string, tessaron::EntryKind> kinds;
  for (const auto& entry : tessaron::readFolder(folder.path.u16string(), error))
    kinds[entry.name] = entry.kind;
  using tessaron::EntryKind;
  EXPECT_EQ(kinds[u"file.txt"], EntryKind::File);
  EXPECT_EQ(kinds[u"pipe.mpg"], EntryKind::Other);
  EXPECT_EQ(kinds[u"socket.mp3"], EntryKind::Other);
  EXPECT_EQ(kinds[u"folder.avi"], EntryKind::Link);
  EXPECT_EQ(kinds.size(), 8u);
}

}  // namespace
