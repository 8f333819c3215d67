#pragma once

#include <sqlite3.h>
#include <sys/types.h>

#include <array>
#include <chrono>
#include <cstdint>
#include <memory>
#include <mutex>
#include <string>
#include <string_view>

#include "platform/registry.h"

namespace tessaron {

/// The file behind the keys: one SQLite database with one connection per process, open as long as a
/// key is. Keys and values go by numbers; names are folded to one case where they are compared.
/// Results are the system's error codes. Safe for several threads.
class RegistryStore {
 public:
  static constexpr std::int64_t kRoot = 0;  ///< the number of the root key

  /// The store if it is open already, or else the file. With `create` a missing or empty file is
  /// made a store and a damaged one quarantined first; without, nothing is written. Null on
  /// failure, ERROR_FILE_NOT_FOUND when there is no store. For the other codes see CRegKey.
  static std::shared_ptr<RegistryStore> open(bool create, std::int32_t& code);
  ~RegistryStore();
  RegistryStore(const RegistryStore&) = delete;
  RegistryStore& operator=(const RegistryStore&) = delete;

  /// Changes how long operations wait for others from now on; for tests.
  static void setWait(std::chrono::milliseconds wait);

  /// One prepared statement, reset when it goes out of scope. Other threads wait until then.
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

  using Lock = std::unique_lock<std::recursive_timed_mutex>;
  /// Takes the store for this thread. The result owns nothing when others held it for too long.
  Lock lock();

  // With the lock:
  std::int32_t execute(const char* sql);
  void rollBack() { sqlite3_exec(database_, "ROLLBACK", nullptr, nullptr, nullptr); }
  bool isInTransaction() const { return sqlite3_get_autocommit(database_) == 0; }

 private:
  RegistryStore() = default;
  static std::shared_ptr<RegistryStore> findOpen(const std::string& path);
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
  std::recursive_timed_mutex mutex_;
};

class RegistryStore::Query {
 public:
  Query(RegistryStore& store, Sql sql);
  ~Query();
  Query(const Query&) = delete;
  Query& operator=(const Query&) = delete;

  Query& bind(std::int64_t value);
  Query& bind(std::string_view bytes);  ///< which must stay until the statement is reset

  /// Moves to the next row: false when there is none, or on a failure, which `code` tells.
  bool next();
  /// Executes a statement without rows; `changed` tells whether it has changed one.
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

/// The path to which a file was quarantined, emptied; see takeQuarantinedStore.
std::string takeQuarantinedPath();

}  // namespace tessaron
