#include "platform/posix/registry_store.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <new>
#include <system_error>
#include <thread>
#include <utility>
#include <vector>

#include "platform/posix/environment.h"
#include "platform/posix/retry.h"

namespace tessaron {
namespace {

namespace fs = std::filesystem;
using Clock = std::chrono::steady_clock;
using std::chrono::milliseconds;

// The interval between retries. Longer ones let a busy writer starve the others.
constexpr milliseconds kPause{1};
std::atomic<milliseconds> waitLimit{milliseconds(10'000)};

thread_local int deadlines = 0;  // nested RegistryDeadline objects
thread_local Clock::time_point deadline;

// Sleeps for kPause. Returns false at once when the deadline has passed.
bool pause() {
  if (Clock::now() >= deadline) return false;
  std::this_thread::sleep_for(kPause);
  return true;
}

constexpr std::string_view kMagic("SQLite format 3\0", 16);
constexpr std::string_view kApplicationBytes = "TSRS";  // the number below, at kApplicationOffset
constexpr const char* kApplication = "1414746707";
constexpr std::size_t kWriteVersionOffset = 18, kApplicationOffset = 68, kHeaderSize = 100;

// Increase when the tables change. Stores of format 0 have the same tables.
constexpr int kFormat = 1;

// Names are stored as the bytes of native UTF-16, so that ill-formed ones survive. A value keeps
// its id, and with it its position, until it is deleted.
constexpr const char* kTables =
    "PRAGMA application_id = 1414746707;"
    "PRAGMA user_version = 1;"
    "CREATE TABLE key(id INTEGER PRIMARY KEY, parent INTEGER NOT NULL, folded BLOB NOT NULL,"
    " name BLOB NOT NULL, UNIQUE(parent, folded));"
    "CREATE TABLE value(id INTEGER PRIMARY KEY, key INTEGER NOT NULL, folded BLOB NOT NULL,"
    " name BLOB NOT NULL, type INTEGER NOT NULL, data BLOB NOT NULL, UNIQUE(key, folded));"
    "CREATE INDEX value_order ON value(key);";

// Concatenates the declarations of our tables and indexes.
constexpr const char* kSchema =
    "SELECT group_concat(type || name || coalesce(sql, ''), ';')"
    " FROM (SELECT * FROM sqlite_schema WHERE tbl_name IN ('key', 'value') ORDER BY name)";

// Counts rows with a column of an unexpected type.
constexpr const char* kStrayTypes =
    "SELECT (SELECT count(*) FROM key WHERE typeof(parent) || typeof(folded) || typeof(name)"
    " <> 'integerblobblob') + (SELECT count(*) FROM value WHERE typeof(key) || typeof(folded) ||"
    " typeof(name) || typeof(type) || typeof(data) <> 'integerblobblobintegerblob')";

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

// Reads until `size` bytes are there or the file ends. The count, -1 on a disk error.
ssize_t readAt(int file, char* data, std::size_t size, off_t offset) {
  std::size_t done = 0;
  while (done < size) {
    const off_t from = offset + static_cast<off_t>(done);
    const ssize_t got = retry([&] { return pread(file, data + done, size - done, from); });
    if (got < 0) return -1;
    if (got == 0) break;
    done += static_cast<std::size_t>(got);
  }
  return static_cast<ssize_t>(done);
}

// Reads the whole file. False on a disk error, which must not pass for damage.
bool isReadable(int file) {
  std::vector<char> buffer(1 << 16);
  ssize_t got = 0;
  off_t at = 0;
  while ((got = readAt(file, buffer.data(), buffer.size(), at)) > 0) at += got;
  return got == 0;
}

// Whether a journal of SQLite's is beside the file.
bool hasJournal(const std::string& path) {
  constexpr std::string_view kJournalMagic = "\xD9\xD5\x05\xF9\x20\xA1\x63\xD7";
  char begin[kJournalMagic.size()] = {};
  const int file =
      retry([&] { return ::open((path + "-journal").c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC); });
  if (file == -1) return false;
  const ssize_t got = readAt(file, begin, sizeof begin, 0);
  close(file);
  return got == sizeof begin && std::string_view(begin, sizeof begin) == kJournalMagic;
}

// Classifies a file by its header: ERROR_SUCCESS for a database, ERROR_FILE_NOT_FOUND for an empty
// file.
std::int32_t identify(int file, const std::string& path) {
  struct stat status;
  if (fstat(file, &status) != 0 || !S_ISREG(status.st_mode)) return ERROR_CANTOPEN;
  char header[kHeaderSize] = {};
  const ssize_t got = readAt(file, header, sizeof header, 0);
  if (got < 0) return ERROR_REGISTRY_IO_FAILED;
  if (got == 0) return ERROR_FILE_NOT_FOUND;
  const std::string_view bytes(header, sizeof header);
  const bool isMarked = bytes.substr(kApplicationOffset).starts_with(kApplicationBytes);
  // A power cut may leave a new store without its first page. SQLite empties it by its journal.
  const bool isUnmade = bytes.find_first_not_of('\0') == bytes.npos && hasJournal(path);
  if (!isMarked && !isUnmade && !bytes.starts_with(kMagic)) return ERROR_NOT_REGISTRY_FILE;
  // SQLite would take an unknown one for a file that must not be written to.
  return isMarked && bytes[kWriteVersionOffset] > 2 ? ERROR_BADDB : ERROR_SUCCESS;
}

struct Quarantined {
  std::mutex mutex;
  std::string path;
};

Quarantined& quarantined() {
  static Quarantined last;
  return last;
}

// Renames a file and its journal, the journal first: a new store must not find a stale one.
std::int32_t quarantine(const std::string& path) {
  std::string to;
  for (int number = 1;; ++number) {
    to = path + ".damaged-" + std::to_string(number);
    std::error_code error;
    if (!fs::exists(to, error)) break;
  }
  const std::string journal = path + "-journal";
  if ((rename(journal.c_str(), (to + "-journal").c_str()) != 0 && errno != ENOENT) ||
      rename(path.c_str(), to.c_str()) != 0) {
    return ERROR_ACCESS_DENIED;
  }
  const std::lock_guard lock(quarantined().mutex);
  quarantined().path = to;
  return ERROR_SUCCESS;
}

// Creates the store's folder and its missing parents, accessible to the user alone.
void makeFolder(const fs::path& folder) {
  std::error_code error;
  if (folder.empty() || fs::exists(folder, error)) return;
  makeFolder(folder.parent_path());
  mkdir(folder.c_str(), 0700);
}

// The store's file while it is being opened. Opening takes a shared lock, quarantine an exclusive
// one: a process that still opens the old file would delete the journal of the new one as its own.
class OpenedFile {
 public:
  // Created readable by the user alone: the settings hold addresses.
  OpenedFile(const std::string& path, bool create)
      : path_(path),
        file_(retry([&] {
          return ::open(path.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC | (create ? O_CREAT : 0),
                        0600);
        })),
        error_(errno) {}
  ~OpenedFile() {
    if (file_ != -1) close(file_);
  }
  OpenedFile(const OpenedFile&) = delete;
  OpenedFile& operator=(const OpenedFile&) = delete;

  int get() const { return file_; }

  // Why there is no file.
  std::int32_t code() const {
    if (error_ == ENOENT || error_ == ENOTDIR) return ERROR_FILE_NOT_FOUND;
    return error_ == EACCES ? ERROR_ACCESS_DENIED : ERROR_CANTOPEN;
  }

  // Waits until the deadline; false when it has passed. True on file systems without locks.
  bool lock(int operation) const {
    while (flock(file_, operation | LOCK_NB) != 0) {
      if (errno == EINTR) continue;
      if (errno != EWOULDBLOCK) return true;
      if (!pause()) return false;
    }
    return true;
  }

  // Whether the path now leads to another file.
  bool isStale() const {
    struct stat opened, named;
    return fstat(file_, &opened) != 0 || stat(path_.c_str(), &named) != 0 ||
           named.st_ino != opened.st_ino || named.st_dev != opened.st_dev;
  }

  // Its path without symbolic links.
  std::string realPath() const {
    char* const resolved = realpath(path_.c_str(), nullptr);
    std::string path = resolved ? resolved : path_;
    std::free(resolved);
    return path;
  }

 private:
  const std::string path_;
  const int file_;
  const int error_;
};

std::vector<std::weak_ptr<RegistryStore>>& openStores() {
  static std::vector<std::weak_ptr<RegistryStore>> stores;
  return stores;
}

}  // namespace

bool DeadlineMutex::try_lock_until(Clock::time_point limit) {
  std::unique_lock guard(mutex_);
  const std::thread::id self = std::this_thread::get_id();
  const auto isFree = [&] { return depth_ == 0 || owner_ == self; };
  if (!released_.wait_until(guard, limit, isFree)) return false;
  owner_ = self;
  ++depth_;
  return true;
}

void DeadlineMutex::unlock() {
  const std::lock_guard guard(mutex_);
  if (--depth_ == 0) released_.notify_one();
}

RegistryDeadline::RegistryDeadline() {
  if (deadlines++ == 0) deadline = Clock::now() + waitLimit.load();
}

RegistryDeadline::~RegistryDeadline() { --deadlines; }

std::string storePath() {
  const std::string path = environment("TESSARON_SETTINGS");
  return path.empty() ? baseFolder("XDG_CONFIG_HOME", ".config") + "/tessaron/settings.db" : path;
}

std::string takeQuarantinedPath() {
  const std::lock_guard lock(quarantined().mutex);
  return std::exchange(quarantined().path, {});
}

void RegistryStore::setWait(milliseconds wait) { waitLimit = wait; }

// Use one connection per file: closing any descriptor of a file drops all its POSIX locks.
std::shared_ptr<RegistryStore> RegistryStore::findOpen(const std::string& path) {
  std::erase_if(openStores(), [](const auto& store) { return store.expired(); });
  struct stat status;
  if (stat(path.c_str(), &status) != 0) return nullptr;
  for (const std::weak_ptr<RegistryStore>& open : openStores()) {
    std::shared_ptr<RegistryStore> store = open.lock();
    if (store && store->inode_ == status.st_ino && store->device_ == status.st_dev) return store;
  }
  return nullptr;
}

std::shared_ptr<RegistryStore> RegistryStore::open(bool create, std::int32_t& code) {
  const RegistryDeadline bounded;
  static DeadlineMutex opening;
  const std::unique_lock alone(opening, deadline);
  code = ERROR_BUSY;
  if (!alone) return nullptr;

  const std::string path = storePath();
  if (create) makeFolder(fs::path(path).parent_path());
  bool isDamaged = false;  // found damaged once, under the shared lock
  do {
    std::shared_ptr<RegistryStore> store = findOpen(path);
    code = ERROR_SUCCESS;
    if (store) return store;
    const OpenedFile file(path, create);
    if (file.get() == -1) {
      code = create && file.code() == ERROR_FILE_NOT_FOUND ? ERROR_CANTOPEN : file.code();
      return nullptr;
    }
    code = ERROR_BUSY;
    if (!file.lock(isDamaged ? LOCK_EX : LOCK_SH)) return nullptr;
    if (file.isStale()) continue;
    store = openLocked(file.get(), file.realPath(), create, code);
    if (store) {
      openStores().push_back(store);
      return store;
    }
    if (!create || code != ERROR_BADDB) return nullptr;
    // Quarantine only what is found damaged a second time, under the exclusive lock.
    if (std::exchange(isDamaged, !isDamaged)) code = quarantine(file.realPath());
    if (code == ERROR_ACCESS_DENIED) return nullptr;
  } while (pause());
  code = ERROR_BUSY;
  return nullptr;
}

// Opens and validates the store in a file that this process has locked.
std::shared_ptr<RegistryStore> RegistryStore::openLocked(int file, const std::string& path,
                                                         bool create, std::int32_t& code) {
  code = identify(file, path);
  if (code != ERROR_SUCCESS && !(create && code == ERROR_FILE_NOT_FOUND)) return nullptr;
  std::shared_ptr<RegistryStore> store(new RegistryStore);
  code = store->load(path);
  if (code == ERROR_SUCCESS) code = store->check(create);
  if (code == ERROR_SUCCESS) return store;
  store.reset();  // closed before its file is read or renamed
  if (code == ERROR_BADDB && !isReadable(file)) code = ERROR_REGISTRY_IO_FAILED;
  return nullptr;
}

RegistryStore::~RegistryStore() {
  for (sqlite3_stmt* statement : prepared_) sqlite3_finalize(statement);
  sqlite3_close(database_);
}

std::int32_t RegistryStore::load(const std::string& path) {
  const int result = sqlite3_open_v2(path.c_str(), &database_,
                                     SQLITE_OPEN_READWRITE | SQLITE_OPEN_PRIVATECACHE, nullptr);
  if (result != SQLITE_OK) return errorCode(result);
  struct stat status;
  if (stat(path.c_str(), &status) != 0) return ERROR_CANTOPEN;
  device_ = status.st_dev;
  inode_ = status.st_ino;
  sqlite3_busy_handler(
      database_, [](void*, int) { return pause() ? 1 : 0; }, nullptr);
  return execute("PRAGMA synchronous = FULL");
}

// SQLite reports a page that cannot be read as damage, in results as well as in its integrity
// check.
std::int32_t RegistryStore::damageCode() const {
  int number = 0;
  sqlite3_file_control(database_, "main", SQLITE_FCNTL_LAST_ERRNO, &number);
  return number == 0 ? ERROR_BADDB : ERROR_REGISTRY_IO_FAILED;
}

std::int32_t RegistryStore::codeOf(int result) const {
  const std::int32_t code = errorCode(result);
  return code == ERROR_BADDB ? damageCode() : code;
}

// Validates the store; initializes an empty file if `create`.
std::int32_t RegistryStore::check(bool create) {
  std::string answer;
  std::int32_t code = ask("PRAGMA application_id", answer);
  if (code == ERROR_SUCCESS && answer != kApplication) {
    if (create) {
      code = execute("BEGIN IMMEDIATE");
      if (code != ERROR_SUCCESS) return code;
      code = createTables();
      if (code == ERROR_SUCCESS) code = execute("COMMIT");
      if (isInTransaction()) rollBack();
    } else {
      code = ask("SELECT count(*) FROM sqlite_schema", answer);
      if (code == ERROR_SUCCESS)
        code = answer == "0" ? ERROR_FILE_NOT_FOUND : ERROR_NOT_REGISTRY_FILE;
    }
  }
  return code == ERROR_SUCCESS ? checkContent() : code;
}

// Creates the tables unless another process has. Refuses a foreign database.
std::int32_t RegistryStore::createTables() {
  std::string answer;
  std::int32_t code = ask("PRAGMA application_id", answer);
  if (code != ERROR_SUCCESS || answer == kApplication) return code;
  code = ask("SELECT count(*) FROM sqlite_schema", answer);
  if (code != ERROR_SUCCESS) return code;
  return answer == "0" ? execute(kTables) : ERROR_NOT_REGISTRY_FILE;
}

// Validates the whole file, which is small.
std::int32_t RegistryStore::checkContent() {
  std::string answer, expected;
  std::int32_t code = ask("PRAGMA user_version", answer);
  if (code != ERROR_SUCCESS) return code;
  const int format = std::atoi(answer.c_str());
  if (format > kFormat) return ERROR_REVISION_MISMATCH;
  if (format < 0) return ERROR_BADDB;
  code = ask("PRAGMA integrity_check(1)", answer);
  if (code == ERROR_SUCCESS && answer != "ok") return damageCode();
  if (code == ERROR_SUCCESS) code = ask(kSchema, answer);
  if (code != ERROR_SUCCESS) return code;

  RegistryStore model;
  code = errorCode(sqlite3_open(":memory:", &model.database_));
  if (code == ERROR_SUCCESS) code = model.execute(kTables);
  if (code == ERROR_SUCCESS) code = model.ask(kSchema, expected);
  if (code != ERROR_SUCCESS) return code;
  if (answer != expected) return ERROR_BADDB;
  code = ask(kStrayTypes, answer);
  return code == ERROR_SUCCESS && answer != "0" ? ERROR_BADDB : code;
}

// Executes a query and stores the first column of its first row. Treats SQLITE_ERROR as damage: the
// queries are valid on every sound store.
std::int32_t RegistryStore::ask(const char* sql, std::string& first) {
  first.clear();
  const auto keep = [](void* out, int count, char** columns, char**) {
    std::string& text = *static_cast<std::string*>(out);
    if (text.empty() && count > 0 && columns[0]) text = columns[0];
    return 0;
  };
  const int result = sqlite3_exec(database_, sql, keep, &first, nullptr);
  return result == SQLITE_ERROR ? damageCode() : codeOf(result);
}

std::int32_t RegistryStore::execute(const char* sql) {
  const RegistryDeadline bounded;
  return codeOf(sqlite3_exec(database_, sql, nullptr, nullptr, nullptr));
}

RegistryStore::Lock RegistryStore::lock() {
  const RegistryDeadline bounded;
  return Lock(mutex_, deadline);
}

RegistryStore::Query::Query(RegistryStore& store, Sql sql) : store_(store), lock_(store.lock()) {
  if (!lock_) {
    code_ = ERROR_BUSY;
    return;
  }
  sqlite3_stmt*& prepared = store.prepared_[sql];
  if (!prepared) {
    code_ = store.codeOf(sqlite3_prepare_v3(store.database_, kStatements[sql], -1,
                                            SQLITE_PREPARE_PERSISTENT, &prepared, nullptr));
  }
  statement_ = prepared;
}

RegistryStore::Query::~Query() {
  if (!statement_) return;
  sqlite3_reset(statement_);
  sqlite3_clear_bindings(statement_);
}

RegistryStore::Query& RegistryStore::Query::bind(std::int64_t value) {
  if (statement_) sqlite3_bind_int64(statement_, ++bound_, value);
  return *this;
}

RegistryStore::Query& RegistryStore::Query::bind(std::string_view bytes) {
  // A null pointer would bind NULL, not an empty blob. Binding an oversized blob fails; NOT NULL
  // then rejects the row.
  if (statement_) {
    sqlite3_bind_blob64(statement_, ++bound_, bytes.empty() ? "" : bytes.data(), bytes.size(),
                        SQLITE_STATIC);
  }
  return *this;
}

bool RegistryStore::Query::next() {
  if (!statement_) return false;
  const int result = sqlite3_step(statement_);
  code_ = store_.codeOf(result);
  return result == SQLITE_ROW;
}

std::int32_t RegistryStore::Query::run(bool* changed) {
  next();
  if (changed && statement_) *changed = sqlite3_changes(store_.database_) > 0;
  return code_;
}

std::string_view RegistryStore::Query::blob(int column) const {
  const void* bytes = sqlite3_column_blob(statement_, column);
  return {static_cast<const char*>(bytes),
          static_cast<std::size_t>(sqlite3_column_bytes(statement_, column))};
}

}  // namespace tessaron
