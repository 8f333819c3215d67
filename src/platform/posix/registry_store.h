#pragma once

#include <sqlite3.h>

#include <array>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>

#include "platform/types.h"

namespace tessaron {

/// The file behind the keys: one SQLite database, open as long as a key is. Keys and values go by
/// numbers; names are folded to one case where they are compared. Results are the system's error
/// codes.
class RegistryStore {
 public:
  static constexpr std::int64_t kRoot = 0;  ///< the number of the root key

  /// The store that is open already, or else the file, which is made when it is missing if `create`
  /// says so. Null on failure, ERROR_FILE_NOT_FOUND when there is no file. A file that is damaged
  /// is set aside first.
  static std::shared_ptr<RegistryStore> open(bool create, std::int32_t& code);
  ~RegistryStore();
  RegistryStore(const RegistryStore&) = delete;
  RegistryStore& operator=(const RegistryStore&) = delete;

  /// One prepared statement, reset when it goes out of scope.
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

  std::int32_t execute(const char* sql);
  bool isInTransaction() const { return sqlite3_get_autocommit(database_) == 0; }

 private:
  RegistryStore() = default;
  /// What was found where the file is.
  enum class State { Ready, Damaged, Failed };
  State load(const std::string& path, bool create, std::int32_t& code);
  int prepareFile();
  int pragma(const char* sql, std::string& first);

  std::string path_;
  sqlite3* database_ = nullptr;
  std::array<sqlite3_stmt*, kSqlCount> prepared_{};
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
  /// Bytes of the row at hand, until the next step.
  std::string_view blob(int column) const;

 private:
  sqlite3_stmt* statement_ = nullptr;
  int bound_ = 0;
  std::int32_t code_ = ERROR_SUCCESS;
};

/// Where a file was set aside, as `takeSetAsideStore` gives it.
std::string& setAsideStore();

}  // namespace tessaron
