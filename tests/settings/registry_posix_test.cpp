// The store in a file: what happens to it when processes meet, are killed, or leave it damaged.

#include <fcntl.h>
#include <gmock/gmock.h>
#include <sqlite3.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <functional>
#include <iterator>
#include <memory>

#include "platform/posix/registry_store.h"
#include "settings/config.h"
#include "support/file_content.h"
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
  std::string content() const { return readFile(path); }
  void write(const std::string& text) const { writeFile(path, text); }

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

TEST_F(StoreTest, QuarantinesADamagedFileWhenItIsWrittenTo) {
  make();
  const std::string sound = content();
  std::string odd = sound, header = sound, tables = sound;
  odd.replace(odd.size() - 4096, 200, 200, '\xFF');
  header[3] ^= 1;
  tables.replace(tables.find("TABLE value"), 5, "VALUE");
  fs::rename(path, folder.path / "elsewhere.db");
  fs::create_symlink(folder.path / "elsewhere.db", path);
  std::string name = (folder.path / "elsewhere.db.damaged-1").string();
  for (const std::string& damaged : {sound.substr(0, sound.size() / 2), odd, header, tables}) {
    write(damaged);
    CRegKeyEx reader;
    EXPECT_EQ(reader.Open(HKEY_CURRENT_USER, kKey), ERROR_BADDB);
    EXPECT_EQ(content(), damaged);
    // Several find it so at once; what one of them writes is not quarantined by another.
    std::vector<pid_t> processes;
    for (int process = 0; process < 4; ++process) {
      processes.push_back(start([process] {
        CRegKeyEx key;
        EXPECT_EQ(key.Create(HKEY_CURRENT_USER, kKey), 0);
        for (int i = 0; i < 5; ++i) {
          set(key, {char16_t(u'a' + process), char16_t(u'0' + i)}, i);
          set(key, u"same", i);
        }
      }));
    }
    for (const pid_t process : processes) EXPECT_EQ(finish(process), 0);
    for (int i = 0; i < 20; ++i)
      EXPECT_EQ(get({char16_t(u'a' + i / 5), char16_t(u'0' + i % 5)}), i % 5);
    EXPECT_EQ(get(u"same"), 4);
    EXPECT_EQ(get(u"\u4E01"), -1);
    EXPECT_TRUE(fs::is_symlink(path));
    EXPECT_EQ(readFile(name), damaged);
    ++name.back();
  }
  EXPECT_FALSE(fs::exists(name));
  write(odd);
  CRegKeyEx key;
  EXPECT_EQ(key.Create(HKEY_CURRENT_USER, kKey), 0);
  EXPECT_EQ(tessaron::takeQuarantinedStore(), fs::path(name).u16string());
  EXPECT_EQ(tessaron::takeQuarantinedStore(), u"");
}

TEST_F(StoreTest, LeavesOtherFilesAlone) {
  fs::create_directory(path.parent_path());
  const auto execute = [&](const char* sql) {
    sqlite3* database = nullptr;
    ASSERT_EQ(sqlite3_open(path.c_str(), &database), SQLITE_OK);
    EXPECT_EQ(sqlite3_exec(database, sql, nullptr, nullptr, nullptr), SQLITE_OK);
    sqlite3_close(database);
  };
  const auto refuses = [&](int code) {
    const std::string before = content();
    CRegKeyEx key;
    EXPECT_EQ(key.Open(HKEY_CURRENT_USER, kKey), code);
    EXPECT_EQ(key.Create(HKEY_CURRENT_USER, kKey), code);
    EXPECT_EQ(content(), before);
    EXPECT_EQ(std::distance(fs::directory_iterator(path.parent_path()), {}), 1);
  };
  write("my notes");
  refuses(ERROR_NOT_REGISTRY_FILE);
  write("");
  execute("CREATE TABLE t(x)");
  refuses(ERROR_NOT_REGISTRY_FILE);
  CRegKeyEx key;
  write("");
  EXPECT_EQ(key.Open(HKEY_CURRENT_USER, kKey), ERROR_FILE_NOT_FOUND);
  EXPECT_EQ(content(), "");
  make();
  execute("PRAGMA user_version = 2");
  refuses(ERROR_REVISION_MISMATCH);
  fs::remove(path);
  fs::create_directory(path);
  EXPECT_EQ(key.Create(HKEY_CURRENT_USER, kKey), ERROR_CANTOPEN);
}

TEST_F(StoreTest, TellsAClosedFolderFromAMissingStore) {
  make();
  ASSERT_EQ(chmod(folder.path.c_str(), 0755) + chmod(path.c_str(), 0644), 0);
  for (const mode_t mode : {0600, 0555}) {
    ASSERT_EQ(chmod(path.parent_path().c_str(), mode), 0);
    EXPECT_EQ(
        finish(start([&] {
          // Nothing is forbidden to root.
          if (geteuid() == 0 && (setgid(65534) != 0 || setuid(65534) != 0)) _exit(2);
          CRegKeyEx key;
          EXPECT_EQ(key.Open(HKEY_CURRENT_USER, kKey), mode == 0600 ? ERROR_ACCESS_DENIED : 0);
          EXPECT_EQ(get(u"\u4E01"), mode == 0600 ? -1 : 1);
          setenv("TESSARON_SETTINGS", (path.parent_path() / "no" / "s.db").c_str(), 1);
          EXPECT_EQ(key.Open(HKEY_CURRENT_USER, kKey), mode == 0600 ? ERROR_ACCESS_DENIED : 2);
        })),
        0);
  }
  chmod(path.parent_path().c_str(), 0755);
}

TEST_F(StoreTest, StandsSingleFlippedBits) {
  make();
  const std::string sound = content();
  const std::size_t flips = 600, bits = sound.size() * 8;
  const auto refusal =
      testing::AnyOf(ERROR_BADDB, ERROR_NOT_REGISTRY_FILE, ERROR_REVISION_MISMATCH);
  int refused = 0;
  for (std::size_t i = 0; i < flips; ++i) {
    const std::size_t bit = i * (bits - 8) / flips + i % 8;  // every position in a byte
    std::string flipped = sound;
    flipped[bit / 8] = static_cast<char>(flipped[bit / 8] ^ 1 << bit % 8);
    write(flipped);
    CRegKeyEx key;
    const std::int32_t code = key.Open(HKEY_CURRENT_USER, kKey, KEY_READ);
    for (char16_t unit = u'\u4E00'; code == 0 && unit < u'\u4E00' + 40; ++unit) {
      // A flip within a value cannot be told from another value.
      int value = 0;
      const std::int32_t read = key.QueryIntValueEx(std::u16string(1, unit).c_str(), value);
      EXPECT_THAT(read, testing::AnyOf(0, ERROR_INVALID_DATA, ERROR_MORE_DATA)) << bit;
    }
    if (code == 0) continue;
    EXPECT_THAT(code, refusal) << bit;
    EXPECT_EQ(content(), flipped) << bit;
    ++refused;
  }
  EXPECT_GT(refused, 0);
}

TEST_F(StoreTest, WaitsForOthersWithinOneDeadline) {
  make();
  const auto second = std::chrono::seconds(1);
  tessaron::RegistryStore::setWait(second / 4);
  sqlite3* database = nullptr;
  ASSERT_EQ(sqlite3_open(path.c_str(), &database), SQLITE_OK);
  const int file = open(path.c_str(), O_RDONLY);
  const std::pair<std::function<void()>, std::function<void()>> locks[] = {
      {[&] { flock(file, LOCK_EX); }, [&] { flock(file, LOCK_UN); }},
      {[&] { sqlite3_exec(database, "BEGIN EXCLUSIVE", nullptr, nullptr, nullptr); },
       [&] { sqlite3_exec(database, "ROLLBACK", nullptr, nullptr, nullptr); }}};
  for (const auto& [hold, release] : locks) {
    Config config;
    hold();
    const auto begin = std::chrono::steady_clock::now();
    EXPECT_EQ(config.Initialize(), ERROR_BUSY);
    EXPECT_LT(std::chrono::steady_clock::now() - begin, second);
    release();
    EXPECT_EQ(config.Uninitialize(), ERROR_INVALID_HANDLE) << "its defaults replace nothing";
    EXPECT_EQ(config.Initialize(), 0);
    hold();
    if (&hold != &locks[0].first) {
      EXPECT_EQ(config.Uninitialize(), ERROR_BUSY);
    }
    release();
    EXPECT_EQ(config.Uninitialize(), 0);
  }
  close(file);
  sqlite3_close(database);
  tessaron::RegistryStore::setWait(10 * second);
}
