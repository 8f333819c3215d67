// What saving promises where processes can be killed, limited and stripped of their rights.

#include <gtest/gtest.h>
#include <sys/ptrace.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <filesystem>
#include <functional>
#include <string>

#include "platform/file.h"
#include "records/record_set.h"
#include "support/files.h"
#include "temporary_folder.h"

namespace {

namespace fs = std::filesystem;

CRecordSet sample(const std::u16string& title) {
  CRecordSet set;
  set.records.resize(200);
  for (CRecord& record : set.records) record.Title = title;
  return set;
}

std::string content(const fs::path& path) {
  std::string text;
  ReadFileToString(path.u16string(), text);
  return text;
}

std::error_code save(CRecordSet set, const fs::path& path) {
  std::error_code error;
  set.saveTo(path.u16string(), error);
  return error;
}

// Runs `work` in a child process and returns its result.
int inChild(const std::function<int()>& work) {
  const pid_t child = fork();
  if (child == 0) _exit(work());
  int status = 0;
  waitpid(child, &status, 0);
  return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

TEST(CRecordSetSaving, KeepsPermissionsAndLinks) {
  const TemporaryFolder folder;
  const fs::path path = folder.path / "a.xml", link = folder.path / "link.xml";
  ASSERT_FALSE(save(sample(u"old"), path));
  fs::create_symlink("a.xml", link);
  ASSERT_EQ(chmod(path.c_str(), 0640), 0);
  EXPECT_FALSE(save(sample(u"new"), link));
  EXPECT_TRUE(fs::is_symlink(link));
  struct stat info {};
  ASSERT_EQ(lstat(path.c_str(), &info), 0);
  EXPECT_EQ(info.st_mode & 07777, 0640u);
  EXPECT_EQ(content(path), content(link));
  EXPECT_NE(content(path).find("new"), std::string::npos);

  fs::create_symlink("later.xml", folder.path / "dangling.xml");
  EXPECT_FALSE(save(sample(u"later"), folder.path / "dangling.xml"));
  EXPECT_TRUE(fs::is_regular_file(folder.path / "later.xml"));
  EXPECT_EQ(folder.entries(), 4u);
}

TEST(CRecordSetSaving, LeavesTheOldFileWhenTheDiskIsFull) {
  const TemporaryFolder folder;
  const fs::path path = folder.path / "a.xml";
  ASSERT_FALSE(save(sample(u"old"), path));
  const std::string before = content(path);
  const int code = inChild([&] {
    const rlimit limit{1000, 1000};  // as a disk with 1000 bytes left
    std::signal(SIGXFSZ, SIG_IGN);
    setrlimit(RLIMIT_FSIZE, &limit);
    return save(sample(u"new"), path).value();
  });
  EXPECT_EQ(code, EFBIG);
  EXPECT_EQ(content(path), before);
  EXPECT_EQ(folder.entries(), 1u);
}

TEST(CRecordSetSaving, RespectsWhatTheUserMayNot) {
  const TemporaryFolder folder;
  const fs::path open = folder.path / "open", closed = folder.path / "closed";
  for (const fs::path& sub : {open, closed}) {
    fs::create_directory(sub);
    ASSERT_FALSE(save(sample(u"old"), sub / "a.xml"));
  }
  ASSERT_EQ(chmod(folder.path.c_str(), 0755), 0);
  ASSERT_EQ(chmod((open / "a.xml").c_str(), 0444), 0);    // the file is protected
  ASSERT_EQ(chmod((closed / "a.xml").c_str(), 0666), 0);  // its folder is
  ASSERT_EQ(chmod(open.c_str(), 0777), 0);
  ASSERT_EQ(chmod(closed.c_str(), 0555), 0);
  for (const fs::path& sub : {open, closed}) {
    const std::string before = content(sub / "a.xml");
    const int code = inChild([&] {
      // Nothing is forbidden to root.
      if (geteuid() == 0 && (setgid(65534) != 0 || setuid(65534) != 0)) return -1;
      return save(sample(u"new"), sub / "a.xml").value();
    });
    EXPECT_EQ(code, EACCES) << sub;
    EXPECT_EQ(content(sub / "a.xml"), before);
    EXPECT_EQ(std::distance(fs::directory_iterator(sub), {}), 1);
  }
  chmod(closed.c_str(), 0755);
}

// Saves in a child that is killed at its `stops`-th stop before or behind a system call. True when
// the child got to its end before.
bool saveAndKill(const std::string& text, const fs::path& path, int stops) {
  const pid_t child = fork();
  if (child == 0) {
    ptrace(PTRACE_TRACEME, 0, nullptr, nullptr);
    raise(SIGSTOP);
    _exit(tessaron::replaceFile(path.u16string(), text).value());
  }
  int status = 0;
  waitpid(child, &status, 0);
  for (int i = 0; i < stops && WIFSTOPPED(status); ++i) {
    EXPECT_EQ(ptrace(PTRACE_SYSCALL, child, nullptr, nullptr), 0);
    waitpid(child, &status, 0);
  }
  if (WIFEXITED(status)) return true;
  kill(child, SIGKILL);
  waitpid(child, &status, 0);
  return false;
}

TEST(CRecordSetSaving, SurvivesBeingKilledAtAnySystemCall) {
  const TemporaryFolder folder;
  const fs::path path = folder.path / "a.xml";
  CRecordSet old = sample(u"old"), fresh = sample(u"new");
  std::string oldText, newText;
  old.toString(oldText);
  fresh.toString(newText);
  int olds = 0, news = 0;
  for (int stops = 0;; ++stops) {
    ASSERT_LT(stops, 500) << "the child never ends";
    ASSERT_FALSE(tessaron::replaceFile(path.u16string(), oldText));
    ASSERT_EQ(folder.entries(), 1u) << "what was left behind after " << stops - 1 << " stops";
    const bool ended = saveAndKill(newText, path, stops);
    const std::string text = content(path);
    ASSERT_TRUE(text == oldText || text == newText) << "after " << stops << " stops";
    ++(text == oldText ? olds : news);
    if (ended) break;
  }
  EXPECT_GT(olds, 10);
  EXPECT_GT(news, 2) << "killed behind the replacement, too";
}

}  // namespace
