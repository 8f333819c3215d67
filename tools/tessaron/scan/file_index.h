#pragma once

#include <sqlite3.h>

#include <cstdint>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <tuple>
#include <vector>

#include "platform/file.h"
#include "scan/finding.h"

namespace tessaron::tool {

/// What became of a file since the last run.
enum class Change { None, New, Changed, Moved, Gone };

/// Whether a path leads below a folder. Both are absolute and without a separator at their ends.
bool isBelow(std::string_view path, std::string_view folder);

/// A file as the index knows it.
struct IndexedFile {
  std::string path;  ///< absolute, UTF-8
  std::uint64_t size = 0;
  std::uint64_t time = 0;  ///< of its last change, as a FILETIME
};

/// Keeps what was found in files from one run to the next, in an SQLite database: path, size, time,
/// a checksum of the content's beginning and end, and the finding. Each row has a checksum of its
/// own; a damaged row counts as missing, and a damaged database is made anew. Nothing is changed
/// before `commit`. Any thread may call `recall`, `look` and `keep`; the others are for one thread.
class FileIndex {
 public:
  /// Opens the index, or creates it. Findings of runs with other `options` are made anew. Fails
  /// with kBadData when the file is something else, with kCannotCreate or kCannotWrite.
  FileIndex(std::string path, std::string options);
  ~FileIndex();
  FileIndex(const FileIndex&) = delete;
  FileIndex& operator=(const FileIndex&) = delete;

  /// Whether the database was damaged and is empty now.
  bool wasDamaged() const { return wasDamaged_; }

  /// Which files a run finds.
  struct Scope {
    std::vector<std::uint64_t> present;  ///< `fingerprint` of the paths of all files, sorted
    std::vector<std::string> trees;      ///< folders listed with all that is below
    std::vector<std::string> folders;    ///< folders listed alone, sorted
    std::vector<std::string> unlisted;   ///< folders that could not be listed
  };
  /// Looks for the files that were there and are not in the scope any more. To be called first.
  void begin(const Scope& scope);

  struct Known {
    Change change = Change::New;
    std::string before;              ///< the path of a file that was moved
    std::uint64_t content = 0;       ///< for `keep`
    std::optional<Finding> finding;  ///< when the content need not be read again
    bool hadThumbnail = false;
  };
  /// What is known of a file with the path, size and time of an earlier run, and with its finding;
  /// nothing for others.
  std::optional<Known> recall(const IndexedFile& indexed);
  /// What is known of the file. Reads from `file` unless path, size and time are known.
  Known look(const IndexedFile& indexed, File& file);
  /// Keeps what was found, without its thumbnail.
  void keep(const IndexedFile& indexed, std::uint64_t content, const Finding& finding);

  /// The paths of files that are gone and were not moved, sorted.
  std::vector<std::string> gone() const;
  /// Makes all changes. Fails with kCannotWrite.
  void commit();
  /// As `commit` after a run that has not looked at all files: does not forget those that are gone.
  void commitPart();

 private:
  struct Row;
  class Statement;
  struct Close {
    void operator()(sqlite3* database) const { sqlite3_close_v2(database); }
  };
  using Content = std::tuple<std::uint64_t, std::uint64_t, std::uint64_t>;  // size, time, checksum
  struct Missing {
    std::string path;
    bool isMoved = false;
  };

  int open();
  int prepareDatabase();
  void requireIndex() const;
  void rebuild();
  [[noreturn]] void fail(int code) const;
  void require(int code) const;
  std::optional<Row> find(std::string_view path);
  void put(const Row& row);
  void forget(bool onlyMoved);
  void useMoved(const IndexedFile& indexed, Known& known);

  std::string path_;
  std::string options_;
  std::unique_ptr<sqlite3, Close> database_;
  std::unique_ptr<Statement> find_, put_;  // prepared when they are needed
  bool wasDamaged_ = false;
  mutable std::mutex mutex_;
  std::multimap<Content, Missing> missing_;
};

}  // namespace tessaron::tool
