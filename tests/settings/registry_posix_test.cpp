// The store in a file: what happens to it when processes meet, are killed, or leave it damaged.

#include <gmock/gmock.h>
#include <sqlite3.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <functional>
#include <iterator>
#include <memory>

#include "settings/reg_key.h"
#include "temporary_folder.h"

namespace fs = std::filesystem;

namespace {

// All tests of the program have a store and a program's folder of their own.
class OwnStore : public testing::Environment {
 public:
  void SetUp() override {
    folder_ = std::make_unique<TemporaryFolder>();
    setenv("TESSARON_SETTINGS", (folder_->path / "settings.db").c_str(), 1);
    setenv("TESSARON_HOME", (folder_->path / "home").c_str(), 1);
  }
  void TearDown() override { folder_.reset(); }

 private:
  std::unique_ptr<TemporaryFolder> folder_;
};
[[maybe_unused]] const auto* const ownStore = testing::AddGlobalTestEnvironment(new OwnStore);

constexpr const char16_t* kKey = u"Software\\Store";

class StoreTest : public testing::Test {
 protected:
  StoreTest() : before_(std::getenv("TESSARON_SETTINGS")) {
    setenv("TESSARON_SETTINGS", path.c_str(), 1);
  }
  ~StoreTest() override { setenv("TESSARON_SETTINGS", before_.c_str(), 1); }

  // Runs `work` in a process of its own.
  static pid_t start(const std::function<void()>& work) {
    const pid_t process = fork();
    if (process == 0) {
      work();
      _exit(testing::Test::HasFailure() ? 1 : 0);
    }
    return process;
  }
  static int finish(pid_t process) {
    int status = 0;
    EXPECT_EQ(waitpid(process, &status, 0), process);
    return status;
  }
  static void set(CRegKeyEx& key, const std::u16string& name, int value) {
    EXPECT_EQ(key.SetIntValueEx(name.c_str(), value), 0);
  }
  // The value in the store, -1 for none.
  static int get(const std::u16string& name) {
    int value = -1;
    CRegKeyEx key;
    if (key.Open(HKEY_CURRENT_USER, kKey, KEY_READ) == 0) key.QueryIntValueEx(name.c_str(), value);
    return value;
  }
  static void make() {
    CRegKeyEx key;
    ASSERT_EQ(key.Create(HKEY_CURRENT_USER, kKey), 0);
    for (int i = 0; i < 40; ++i) set(key, std::u16string(1, char16_t(u'\u4E00' + i)), i);
  }
  std::string content() const {
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
  }
  void write(const std::string& text) const { std::ofstream(path, std::ios::binary) << text; }

  TemporaryFolder folder;
  const fs::path path = folder.path / "new" / "settings.db";

 private:
  const std::string before_;
};

}  // namespace

TEST_F(StoreTest, IsMadeForItsUserAloneAndOnlyToBeWrittenTo) {
  CRegKeyEx key;
  EXPECT_EQ(key.Open(HKEY_CURRENT_USER, kKey), 2);
  EXPECT_EQ(folder.entries(), 0u);
  make();
  struct stat file, home;
  ASSERT_EQ(stat(path.c_str(), &file) + stat(path.parent_path().c_str(), &home), 0);
  EXPECT_EQ(file.st_mode & 0777, 0600u);
  EXPECT_EQ(home.st_mode & 0777, 0700u);
}

TEST_F(StoreTest, LosesNothingWhenProcessesWriteAtOnce) {
  std::vector<pid_t> processes;
  for (int process = 0; process < 4; ++process) {
    processes.push_back(start([process] {
      CRegKeyEx key;
      ASSERT_EQ(key.Create(HKEY_CURRENT_USER, kKey), 0);
      for (int i = 0; i < 12; ++i) {
        set(key, {char16_t(u'a' + process), char16_t(u'0' + i)}, i);
        set(key, u"same", i);
      }
    }));
  }
  for (const pid_t process : processes) EXPECT_EQ(finish(process), 0);
  for (int process = 0; process < 4; ++process) {
    for (int i = 0; i < 12; ++i) EXPECT_EQ(get({char16_t(u'a' + process), char16_t(u'0' + i)}), i);
  }
  CRegKeyEx key;
  std::uint32_t count = 0;
  ASSERT_EQ(key.Open(HKEY_CURRENT_USER, kKey), 0);
  EXPECT_EQ(key.CountValues(count), 0);
  EXPECT_EQ(count, 49u);
  EXPECT_EQ(get(u"same"), 11);
}

TEST_F(StoreTest, TakesABatchWholeOrNotAtAll) {
  make();
  const auto batch = [](bool die) {
    CRegKeyEx key;
    ASSERT_EQ(key.Open(HKEY_CURRENT_USER, kKey), 0);
    tessaron::RegistryBatch all(key);
    // More than the database keeps in memory, so that the file itself has been written to.
    const std::string large(8 << 20, 'L');
    EXPECT_EQ(key.SetValue(u"large", REG_BINARY, large.data(), 8 << 20), 0);
    set(key, u"\u4E01", 100);
    if (die) std::raise(SIGKILL);
    EXPECT_EQ(all.end(), 0);
  };
  const auto size = fs::file_size(path);
  EXPECT_EQ(finish(start([&] { batch(true); })), SIGKILL);
  EXPECT_GT(fs::file_size(path), size);
  EXPECT_EQ(get(u"\u4E01"), 1);
  EXPECT_EQ(get(u"large"), -1);
  EXPECT_EQ(fs::file_size(path), size);
  EXPECT_EQ(finish(start([&] { batch(false); })), 0);
  EXPECT_EQ(get(u"\u4E01"), 100);
}

TEST_F(StoreTest, SetsADamagedFileAside) {
  make();
  const std::string sound = content();
  std::string foreign = "no database at all", cut = sound.substr(0, sound.size() / 2), odd = sound;
  odd.replace(odd.size() - 4096, 200, 200, '\xFF');
  std::string name = path.string() + ".damaged-1";
  for (const std::string& damaged : {foreign, cut, odd}) {
    write(damaged);
    // Several find it so at once; what one of them writes is not set aside by another.
    std::vector<pid_t> processes;
    for (int process = 0; process < 4; ++process) {
      processes.push_back(start([process] {
        CRegKeyEx key;
        EXPECT_EQ(key.Create(HKEY_CURRENT_USER, kKey), 0);
        set(key, std::u16string(1, char16_t(u'a' + process)), process);
      }));
    }
    for (const pid_t process : processes) EXPECT_EQ(finish(process), 0);
    for (int i = 0; i < 4; ++i) EXPECT_EQ(get(std::u16string(1, char16_t(u'a' + i))), i);
    EXPECT_EQ(get(u"\u4E01"), -1);
    std::ifstream aside(name, std::ios::binary);
    EXPECT_EQ(std::string(std::istreambuf_iterator<char>(aside), {}), damaged);
    ++name.back();
  }
  EXPECT_FALSE(fs::exists(name));
  write(foreign);
  EXPECT_EQ(get(u"a"), -1);
  EXPECT_EQ(tessaron::takeSetAsideStore(), fs::path(name).u16string());
  EXPECT_EQ(tessaron::takeSetAsideStore(), u"");
}

TEST_F(StoreTest, LeavesOtherDatabasesAlone) {
  fs::create_directory(path.parent_path());
  sqlite3* database = nullptr;
  ASSERT_EQ(sqlite3_open(path.c_str(), &database), SQLITE_OK);
  EXPECT_EQ(sqlite3_exec(database, "CREATE TABLE t(x)", nullptr, nullptr, nullptr), SQLITE_OK);
  sqlite3_close(database);
  const std::string before = content();
  CRegKeyEx key;
  EXPECT_EQ(key.Create(HKEY_CURRENT_USER, kKey), ERROR_REGISTRY_IO_FAILED);
  EXPECT_EQ(content(), before);
  fs::remove(path);
  fs::create_directory(path);
  EXPECT_EQ(key.Create(HKEY_CURRENT_USER, kKey), ERROR_CANTOPEN);
}
