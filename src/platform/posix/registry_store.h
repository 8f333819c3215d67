#pragma once

#include <sqlite3.h>
#include <sys/types.h>

#include <array>
#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <memory>
#include <mutex>
#include <string>
#include <string_view>
#include <thread>

#include "platform/registry.h"

namespace tessaron {

/// A recursive mutex with a time limit. The standard library's timed ones lock by a call that
/// ThreadSanitizer does not know.
class DeadlineMutex {
 public:
  bool try_lock_until(std::chrono::steady_clock::time_point limit);
  void unlock();

 private:
  std::mutex mutex_;
  std::condition_variable released_;
  std::thread::id owner_;  // while depth_ is not 0
  int depth_ = 0;
};

/// The file behind the keys: one SQLite database with one connection per process, open as long as a
/// key is. Keys and values have numeric ids; names compare by their uppercase form. Results are the
/// system's error codes. Any thread may use it: queries and transactions hold its lock.
class RegistryStore {
 public:
  static constexpr std::int64_t kRoot = 0;  ///< the number of the root key

  /// Returns the open store, or opens the file. With `create`, initializes a missing or empty file
  /// and quarantines a damaged one first; without it, writes nothing. Null on failure, with
  /// ERROR_FILE_NOT_FOUND when there is no store. For the other codes see CRegKey.
  static std::shared_ptr<RegistryStore> open(bool create, std::int32_t& code);
  ~RegistryStore();
  RegistryStore(const RegistryStore&) = delete;
  RegistryStore& operator=(const RegistryStore&) = delete;

  /// Sets the time limit of later operations; for tests.
  static void setWait(std::chrono::milliseconds wait);

  /// One prepared statement, reset by the destructor. Holds the store's lock until then.
  class Query;
  enum Sql : int {
    FindKey,
    AddKey,
    DeleteKey,
    DeleteKeyValues,
    HasSubKey,
    GetValue,
    PutValue,
    DeleteValue,
    CountValues,
    NthValue,
    kSqlCount,
  };

  using Lock = std::unique_lock<DeadlineMutex>;
  /// Locks the store for this thread. The result owns nothing when the deadline passed.
  Lock lock();

  // With the lock:
  std::int32_t execute(const char* sql);
  void rollBack() { sqlite3_exec(database_, "ROLLBACK", nullptr, nullptr, nullptr); }
  bool isInTransaction() const { return sqlite3_get_autocommit(database_) == 0; }

 private:
  RegistryStore() = default;
  static std::shared_ptr<RegistryStore> findOpen(const std::string& path);
  static std::shared_ptr<RegistryStore> openLocked(int file, const std::string& path, bool create,
                                                   std::int32_t& code);
  std::int32_t load(const std::string& path);
  std::int32_t damageCode() const;
  std::int32_t codeOf(int result) const;
  std::int32_t check(bool create);
  std::int32_t createTables();
  std::int32_t checkContent();
  std::int32_t ask(const char* sql, std::string& first);

  dev_t device_ = 0;  // with the next: identifies the file
  ino_t inode_ = 0;
  sqlite3* database_ = nullptr;
  std::array<sqlite3_stmt*, kSqlCount> prepared_{};
  DeadlineMutex mutex_;
};

class RegistryStore::Query {
 public:
  Query(RegistryStore& store, Sql sql);
  ~Query();
  Query(const Query&) = delete;
  Query& operator=(const Query&) = delete;

  Query& bind(std::int64_t value);
  Query& bind(std::string_view bytes);  ///< must stay valid until the statement is reset

  /// Moves to the next row. False at the end, and on failure; `code` tells which.
  bool next();
  /// Executes a statement without rows. `changed`, if given, receives whether a row changed.
  std::int32_t run(bool* changed = nullptr);
  std::int32_t code() const { return code_; }

  std::int64_t integer(int column) const { return sqlite3_column_int64(statement_, column); }
  /// Bytes of the current row, valid until the next step.
  std::string_view blob(int column) const;

 private:
  RegistryStore& store_;
  const RegistryDeadline deadline_;
  const Lock lock_;
  sqlite3_stmt* statement_ = nullptr;  // null when preparing has failed
  int bound_ = 0;
  std::int32_t code_ = ERROR_SUCCESS;
};

/// The path of the store's file.
std::string storePath();

/// Returns and clears the path of the last quarantined file; see takeQuarantinedStore.
std::string takeQuarantinedPath();

}  // namespace tessaron
