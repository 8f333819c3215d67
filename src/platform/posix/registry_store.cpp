#include "platform/posix/registry_store.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <filesystem>
#include <new>
#include <system_error>

#include "platform/posix/environment.h"

namespace tessaron {
namespace {

namespace fs = std::filesystem;

constexpr int kWaitMilliseconds = 10000;
constexpr const char* kApplication = "1414746707";  // marks the file as ours

// Names are UTF-16 in the machine's order, as bytes: they come back as they were, whatever is in
// them. A value keeps its number as long as it is there, and so its place.
constexpr const char* kTables =
    "PRAGMA application_id = 1414746707;"
    "CREATE TABLE key(id INTEGER PRIMARY KEY, parent INTEGER NOT NULL, folded BLOB NOT NULL,"
    " name BLOB NOT NULL, UNIQUE(parent, folded));"
    "CREATE TABLE value(id INTEGER PRIMARY KEY, key INTEGER NOT NULL, folded BLOB NOT NULL,"
    " name BLOB NOT NULL, type INTEGER NOT NULL, data BLOB NOT NULL, UNIQUE(key, folded));"
    "CREATE INDEX value_order ON value(key);";

constexpr std::array<const char*, RegistryStore::kSqlCount> kStatements = {
    "SELECT id FROM key WHERE parent = ? AND folded = ?",
    "INSERT INTO key(parent, folded, name) VALUES(?, ?, ?) ON CONFLICT DO NOTHING",
    "DELETE FROM key WHERE id = ?",
    "DELETE FROM value WHERE key = ?",
    "SELECT 1 FROM key WHERE parent = ? LIMIT 1",
    "SELECT type, data FROM value WHERE key = ? AND folded = ?",
    "INSERT INTO value(key, folded, name, type, data) VALUES(?, ?, ?, ?, ?)"
    " ON CONFLICT(key, folded) DO UPDATE SET type = excluded.type, data = excluded.data",
    "DELETE FROM value WHERE key = ? AND folded = ?",
    "SELECT count(*) FROM value WHERE key = ?",
    "SELECT name FROM value WHERE key = ? ORDER BY id LIMIT 1 OFFSET ?",
};

std::int32_t errorCode(int result) {
  switch (result & 0xFF) {
    case SQLITE_OK:
    case SQLITE_ROW:
    case SQLITE_DONE:
      return ERROR_SUCCESS;
    case SQLITE_NOMEM:
      throw std::bad_alloc();
    case SQLITE_BUSY:
    case SQLITE_LOCKED:
      return ERROR_BUSY;
    case SQLITE_PERM:
    case SQLITE_READONLY:
    case SQLITE_AUTH:
      return ERROR_ACCESS_DENIED;
    case SQLITE_FULL:
      return ERROR_DISK_FULL;
    case SQLITE_CANTOPEN:
      return ERROR_CANTOPEN;
    case SQLITE_CORRUPT:
    case SQLITE_NOTADB:
      return ERROR_BADDB;
    default:
      return ERROR_REGISTRY_IO_FAILED;
  }
}

// Gives a file, and what was being written to it, other names. The journal goes first: a new file
// must never find it.
bool setAside(const std::string& path) {
  std::string to;
  for (int number = 1;; ++number) {
    to = path + ".damaged-" + std::to_string(number);
    std::error_code error;
    if (!fs::exists(to, error)) break;
  }
  const std::string journal = path + "-journal";
  if (rename(journal.c_str(), (to + "-journal").c_str()) != 0 && errno != ENOENT) return false;
  if (rename(path.c_str(), to.c_str()) != 0) return false;
  setAsideStore() = to;
  return true;
}

std::string storePath() {
  const std::string path = environment("TESSARON_SETTINGS");
  return path.empty() ? baseFolder("XDG_CONFIG_HOME", ".config") + "/tessaron/settings.db" : path;
}

// Makes the folder of the store; nobody else is let in where a new one is made.
void makeFolder(const fs::path& folder) {
  std::error_code error;
  if (folder.empty() || fs::exists(folder, error)) return;
  makeFolder(folder.parent_path());
  mkdir(folder.c_str(), 0700);
}

// Holds off other processes that open the store or set it aside. One that still had the old file
// open would take the journal of the new one for its own, and delete it.
class OpeningLock {
 public:
  // Waits. A new file belongs to the user alone: there are addresses in it.
  OpeningLock(const std::string& path, bool create)
      : path_(path),
        file_(::open(path.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC | (create ? O_CREAT : 0), 0600)) {
    while (file_ != -1 && flock(file_, LOCK_EX) != 0 && errno == EINTR) {
    }
  }
  ~OpeningLock() {
    if (file_ != -1) close(file_);
  }
  OpeningLock(const OpeningLock&) = delete;
  OpeningLock& operator=(const OpeningLock&) = delete;

  // Whether the file was set aside while this waited.
  bool isStale() const {
    struct stat locked, named;
    return file_ != -1 && fstat(file_, &locked) == 0 &&
           (stat(path_.c_str(), &named) != 0 || named.st_ino != locked.st_ino);
  }

 private:
  const std::string path_;
  const int file_;
};

}  // namespace

std::string& setAsideStore() {
  static std::string path;
  return path;
}

std::shared_ptr<RegistryStore> RegistryStore::open(bool create, std::int32_t& code) {
  static std::weak_ptr<RegistryStore> current;
  const std::string path = storePath();
  std::shared_ptr<RegistryStore> store = current.lock();
  if (store && store->path_ == path) return store;

  if (create) makeFolder(fs::path(path).parent_path());
  constexpr int kMostTries = 16;
  for (int i = 0; i < kMostTries; ++i) {
    const OpeningLock lock(path, create);
    code = ERROR_BUSY;
    if (lock.isStale()) continue;
    store.reset(new RegistryStore);
    if (store->load(path, create, code) != State::Damaged || !setAside(path)) break;
  }
  if (code != ERROR_SUCCESS) return nullptr;
  current = store;
  return store;
}

RegistryStore::~RegistryStore() {
  for (sqlite3_stmt* statement : prepared_) sqlite3_finalize(statement);
  sqlite3_close(database_);
}

RegistryStore::State RegistryStore::load(const std::string& path, bool create, std::int32_t& code) {
  path_ = path;
  std::error_code error;
  if (!create && !fs::exists(path, error)) {
    code = error ? ERROR_CANTOPEN : ERROR_FILE_NOT_FOUND;
    return State::Failed;
  }
  int result = sqlite3_open_v2(path.c_str(), &database_,
                               SQLITE_OPEN_READWRITE | SQLITE_OPEN_PRIVATECACHE, nullptr);
  if (result == SQLITE_OK) {
    sqlite3_busy_timeout(database_, kWaitMilliseconds);
    result = prepareFile();
  }
  code = errorCode(result);
  const int reason = result & 0xFF;
  return reason == SQLITE_OK                                   ? State::Ready
         : reason == SQLITE_CORRUPT || reason == SQLITE_NOTADB ? State::Damaged
                                                               : State::Failed;
}

// Looks through the whole file, which is small, and makes the tables of an empty one. A result of
// SQLite's.
int RegistryStore::prepareFile() {
  std::string answer;
  int result = sqlite3_exec(database_, "PRAGMA synchronous = FULL", nullptr, nullptr, nullptr);
  if (result == SQLITE_OK) result = pragma("PRAGMA integrity_check(1)", answer);
  if (result == SQLITE_OK && answer != "ok") return SQLITE_CORRUPT;
  if (result == SQLITE_OK) result = pragma("PRAGMA application_id", answer);
  if (result != SQLITE_OK || answer == kApplication) return result;

  result = sqlite3_exec(database_, "BEGIN IMMEDIATE", nullptr, nullptr, nullptr);
  if (result != SQLITE_OK) return result;
  // Another process may have been faster. Tables of somebody else are left alone.
  result = pragma("PRAGMA application_id", answer);
  if (result == SQLITE_OK && answer != kApplication) {
    result = pragma("SELECT count(*) FROM sqlite_schema", answer);
    if (result == SQLITE_OK && answer != "0") result = SQLITE_MISMATCH;
    if (result == SQLITE_OK) result = sqlite3_exec(database_, kTables, nullptr, nullptr, nullptr);
  }
  const int ended = sqlite3_exec(database_, result == SQLITE_OK ? "COMMIT" : "ROLLBACK", nullptr,
                                 nullptr, nullptr);
  return result == SQLITE_OK ? ended : result;
}

// Executes a statement and keeps the first column of its first row.
int RegistryStore::pragma(const char* sql, std::string& first) {
  first.clear();
  const auto keep = [](void* out, int count, char** columns, char**) {
    std::string& text = *static_cast<std::string*>(out);
    if (text.empty() && count > 0 && columns[0]) text = columns[0];
    return 0;
  };
  return sqlite3_exec(database_, sql, keep, &first, nullptr);
}

std::int32_t RegistryStore::execute(const char* sql) {
  return errorCode(sqlite3_exec(database_, sql, nullptr, nullptr, nullptr));
}

RegistryStore::Query::Query(RegistryStore& store, Sql sql) {
  sqlite3_stmt*& prepared = store.prepared_[sql];
  if (!prepared) {
    code_ = errorCode(sqlite3_prepare_v3(store.database_, kStatements[sql], -1,
                                         SQLITE_PREPARE_PERSISTENT, &prepared, nullptr));
  }
  statement_ = prepared;
}

RegistryStore::Query::~Query() {
  sqlite3_reset(statement_);
  sqlite3_clear_bindings(statement_);
}

RegistryStore::Query& RegistryStore::Query::bind(std::int64_t value) {
  sqlite3_bind_int64(statement_, ++bound_, value);
  return *this;
}

RegistryStore::Query& RegistryStore::Query::bind(std::string_view bytes) {
  // A null pointer would be no bytes but NULL. Too many are refused here, and then as NULL.
  sqlite3_bind_blob64(statement_, ++bound_, bytes.empty() ? "" : bytes.data(), bytes.size(),
                      SQLITE_STATIC);
  return *this;
}

bool RegistryStore::Query::next() {
  if (!statement_) return false;
  const int result = sqlite3_step(statement_);
  code_ = errorCode(result);
  return result == SQLITE_ROW;
}

std::int32_t RegistryStore::Query::run(bool* changed) {
  next();
  if (changed && statement_) *changed = sqlite3_changes(sqlite3_db_handle(statement_)) > 0;
  return code_;
}

std::string_view RegistryStore::Query::blob(int column) const {
  const void* bytes = sqlite3_column_blob(statement_, column);
  return {static_cast<const char*>(bytes),
          static_cast<std::size_t>(sqlite3_column_bytes(statement_, column))};
}

}  // namespace tessaron
