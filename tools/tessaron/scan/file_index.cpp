#include "scan/file_index.h"

#include <fmt/format.h>

#include <algorithm>
#include <chrono>
#include <filesystem>
#include <fstream>
#include <span>
#include <utility>

#include "cli/failures.h"
#include "cli/paths.h"
#include "support/fingerprint.h"

namespace tessaron::tool {
namespace {

constexpr char kMark[] = "tessaron_files";  // the table's name, which damage to a header leaves
constexpr int kApplicationId = 0x54734669, kVersion = 1;
constexpr int kWait = 2000;  // milliseconds for another process

/// A time that no file has: it was written so recently that it may change within the same tick of
/// the file system's clock.
constexpr std::uint64_t kUnsure = 0;

std::uint64_t now() {
  constexpr std::uint64_t kTo1970 = 116'444'736'000'000'000;  // 100-nanosecond steps
  const auto time = std::chrono::system_clock::now().time_since_epoch();
  return kTo1970 + static_cast<std::uint64_t>(std::chrono::nanoseconds(time).count()) / 100;
}

/// A checksum of the beginning and the end of a file.
std::uint64_t checksumOf(File& file, std::uint64_t size) {
  constexpr std::uint64_t kPart = 32 << 10;
  std::string bytes(static_cast<std::size_t>(std::min(size, 2 * kPart)), '\0');
  const auto whole = std::as_writable_bytes(std::span(bytes));
  const std::size_t first = std::min<std::size_t>(bytes.size(), kPart);
  readFully(file, 0, whole.first(first));
  readFully(file, size - (bytes.size() - first), whole.subspan(first));
  return fingerprint(bytes);
}

std::string_view folderOf(std::string_view path) {
  const std::size_t slash = path.rfind('/');
  return path.substr(0, std::max<std::size_t>(slash == path.npos ? 0 : slash, 1));
}

bool isInScope(std::string_view path, const FileIndex::Scope& scope) {
  const auto isBelowIt = [&](const std::string& folder) { return isBelow(path, folder); };
  if (std::ranges::any_of(scope.unlisted, isBelowIt)) return false;
  return std::ranges::any_of(scope.trees, isBelowIt) ||
         std::ranges::binary_search(scope.folders, folderOf(path));
}

}  // namespace

bool isBelow(std::string_view path, std::string_view folder) {
  if (folder == "/") return true;
  return path.size() > folder.size() && path.starts_with(folder) && path[folder.size()] == '/';
}

struct FileIndex::Row {
  IndexedFile file;
  std::uint64_t content = 0;
  bool hasThumbnail = false;
  std::string options;
  std::string finding;

  std::uint64_t checksum() const {
    return fingerprint(fmt::format("{}\n{}\n{}\n{}\n{}\n{}\n{}", file.path, file.size, file.time,
                                   content, hasThumbnail, options, finding));
  }
};

/// A prepared statement; finalized by the destructor.
class FileIndex::Statement {
 public:
  Statement(sqlite3* database, const char* sql) {
    code_ = sqlite3_prepare_v2(database, sql, -1, &statement_, nullptr);
  }
  ~Statement() { sqlite3_finalize(statement_); }
  Statement(const Statement&) = delete;
  Statement& operator=(const Statement&) = delete;

  Statement& bind(std::string_view text) {
    return done(sqlite3_bind_blob64(statement_, ++bound_, text.data() ? text.data() : "",
                                    text.size(), SQLITE_STATIC));
  }
  Statement& bind(std::uint64_t number) {
    return done(sqlite3_bind_int64(statement_, ++bound_, static_cast<sqlite3_int64>(number)));
  }
  /// Ends a run of the statement, so that it can be bound and run again.
  Statement& restart() {
    sqlite3_reset(statement_);
    if (statement_) code_ = SQLITE_OK;
    bound_ = 0;
    return *this;
  }
  /// SQLITE_ROW, SQLITE_DONE, or an error.
  int step() {
    if (code_ == SQLITE_OK || code_ == SQLITE_ROW) code_ = sqlite3_step(statement_);
    return code_;
  }
  std::string text(int column) const {
    const auto* bytes = static_cast<const char*>(sqlite3_column_blob(statement_, column));
    const auto size = static_cast<std::size_t>(sqlite3_column_bytes(statement_, column));
    return bytes ? std::string(bytes, size) : std::string();
  }
  std::uint64_t number(int column) const {
    return static_cast<std::uint64_t>(sqlite3_column_int64(statement_, column));
  }

 private:
  Statement& done(int code) {
    if (code_ == SQLITE_OK) code_ = code;
    return *this;
  }

  sqlite3_stmt* statement_ = nullptr;
  int code_;
  int bound_ = 0;
};

FileIndex::FileIndex(std::string path, std::string options)
    : path_(std::move(path)), options_(std::move(options)) {
  requireIndex();
  int code = open();
  if (code == SQLITE_CORRUPT || code == SQLITE_NOTADB) {
    rebuild();
    code = open();
  }
  require(code);
}

FileIndex::~FileIndex() = default;

void FileIndex::fail(int code) const {
  const bool isBusy = code == SQLITE_BUSY || code == SQLITE_LOCKED;
  const ExitCode exit = code == SQLITE_CANTOPEN ? kCannotCreate : kCannotWrite;
  throw Failure{exit, path_,
                isBusy ? "another process is using the index"
                       : std::string("the index cannot be used: ") + sqlite3_errstr(code)};
}

void FileIndex::require(int code) const {
  if (code != SQLITE_OK && code != SQLITE_DONE && code != SQLITE_ROW) fail(code);
}

/// Refuses files that are no index, not even a damaged one, since those would be replaced.
void FileIndex::requireIndex() const {
  std::ifstream file(filePath(path_), std::ios::binary);
  std::string beginning(4096, '\0');
  file.read(beginning.data(), static_cast<std::streamsize>(beginning.size()));
  beginning.resize(static_cast<std::size_t>(file.gcount()));
  if (!beginning.empty() && beginning.find(kMark) == std::string::npos)
    throw Failure{kBadData, path_, "it is no index of files; name another file, or remove it"};
}

int FileIndex::open() {
  sqlite3* database = nullptr;
  // The index lets one thread at a time use the database.
  const int flags = SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE | SQLITE_OPEN_NOMUTEX;
  const int code = sqlite3_open_v2(path_.c_str(), &database, flags, nullptr);
  database_.reset(database);
  if (code != SQLITE_OK) return code;
  sqlite3_extended_result_codes(database, 0);
  sqlite3_busy_timeout(database, kWait);
  return prepareDatabase();
}

/// Checks what is there, creates the table in an empty file and starts the run's transaction.
int FileIndex::prepareDatabase() {
  sqlite3* const database = database_.get();
  const auto run = [&](const std::string& sql) {
    return sqlite3_exec(database, sql.c_str(), nullptr, nullptr, nullptr);
  };
  run("PRAGMA cache_size = -16384");  // KiB
  if (const int code = run("BEGIN IMMEDIATE"); code != SQLITE_OK) return code;
  {
    Statement check(database, "PRAGMA quick_check(1)");
    if (const int code = check.step(); code != SQLITE_ROW) return code;
    if (check.text(0) != "ok") return SQLITE_CORRUPT;
  }
  Statement count(database, "SELECT count(*) FROM sqlite_master");
  if (const int code = count.step(); code != SQLITE_ROW) return code;
  if (count.number(0) == 0) {
    const int code =
        run(fmt::format("PRAGMA application_id = {}; PRAGMA user_version = {};"
                        "CREATE TABLE {} (path BLOB PRIMARY KEY, size INTEGER, time "
                        "INTEGER, content INTEGER, thumbnail INTEGER, options BLOB, "
                        "finding BLOB, checksum INTEGER)",
                        kApplicationId, kVersion, kMark));
    if (code != SQLITE_OK) return code;
  }
  Statement version(database, "PRAGMA user_version"), id(database, "PRAGMA application_id");
  if (version.step() != SQLITE_ROW || id.step() != SQLITE_ROW) return SQLITE_CORRUPT;
  return version.number(0) == kVersion && id.number(0) == kApplicationId ? SQLITE_OK
                                                                         : SQLITE_CORRUPT;
}

void FileIndex::rebuild() {
  database_.reset();  // no statement has been kept yet
  std::error_code error;
  std::filesystem::remove(filePath(path_ + "-journal"), error);
  std::filesystem::remove(filePath(path_), error);
  if (error) throw Failure{kCannotWrite, path_, error.message()};
  wasDamaged_ = true;
}

void FileIndex::begin(const Scope& scope) {
  Statement rows(database_.get(), "SELECT path, size, time, content FROM tessaron_files");
  while (rows.step() == SQLITE_ROW) {
    std::string path = rows.text(0);
    if (!isInScope(path, scope)) continue;
    if (std::ranges::binary_search(scope.present, fingerprint(path))) continue;
    missing_.emplace(Content{rows.number(1), rows.number(2), rows.number(3)},
                     Missing{std::move(path)});
  }
  require(rows.step());
}

std::optional<FileIndex::Row> FileIndex::find(std::string_view path) {
  if (!find_)
    find_ = std::make_unique<Statement>(
        database_.get(),
        "SELECT size, time, content, thumbnail, options, finding, checksum "
        "FROM tessaron_files WHERE path = ?");
  Statement& query = find_->restart();
  if (query.bind(path).step() != SQLITE_ROW) {
    query.restart();
    return std::nullopt;
  }
  Row row{{std::string(path), query.number(0), query.number(1)},
          query.number(2),
          query.number(3) != 0,
          query.text(4),
          query.text(5)};
  const bool isWhole = row.checksum() == query.number(6);
  query.restart();
  return isWhole ? std::optional(std::move(row)) : std::nullopt;
}

void FileIndex::put(const Row& row) {
  if (!put_)
    put_ = std::make_unique<Statement>(
        database_.get(), "INSERT OR REPLACE INTO tessaron_files VALUES (?, ?, ?, ?, ?, ?, ?, ?)");
  Statement& insert = put_->restart();
  insert.bind(row.file.path).bind(row.file.size).bind(row.file.time).bind(row.content);
  insert.bind(std::uint64_t{row.hasThumbnail}).bind(row.options).bind(row.finding);
  const int code = insert.bind(row.checksum()).step();
  insert.restart();
  require(code);
}

std::optional<FileIndex::Known> FileIndex::recall(const IndexedFile& indexed) {
  std::unique_lock lock(mutex_);
  const std::optional<Row> row = find(indexed.path);
  lock.unlock();
  const bool isSame = row && row->file.size == indexed.size && row->file.time == indexed.time;
  if (!isSame || row->options != options_) return std::nullopt;
  Known known{Change::None, {}, row->content, decodeFinding(row->finding), row->hasThumbnail};
  return known.finding ? std::optional(std::move(known)) : std::nullopt;
}

/// Takes over what is known of a file that stood elsewhere, if it is this one.
void FileIndex::useMoved(const IndexedFile& indexed, Known& known) {
  const auto [begin, end] = missing_.equal_range({indexed.size, indexed.time, known.content});
  const auto moved =
      std::find_if(begin, end, [](const auto& each) { return !each.second.isMoved; });
  if (moved == end) return;
  moved->second.isMoved = true;
  known.change = Change::Moved;
  known.before = moved->second.path;
  const std::optional<Row> row = find(known.before);
  if (row && row->options == options_) known.finding = decodeFinding(row->finding);
  known.hadThumbnail = row && row->hasThumbnail;
}

FileIndex::Known FileIndex::look(const IndexedFile& indexed, File& file) {
  Known known;
  std::unique_lock lock(mutex_);
  const std::optional<Row> row = find(indexed.path);
  if (row && row->file.size == indexed.size && row->file.time == indexed.time) {
    known.change = Change::None;
    known.content = row->content;
    known.hadThumbnail = row->hasThumbnail;
    if (row->options == options_) known.finding = decodeFinding(row->finding);
    return known;
  }
  lock.unlock();
  known.content = checksumOf(file, indexed.size);
  lock.lock();
  if (!row) {
    useMoved(indexed, known);
  } else {
    const bool isSame = row->file.time == kUnsure && row->file.size == indexed.size &&
                        row->content == known.content;
    known.change = isSame ? Change::None : Change::Changed;
  }
  return known;
}

void FileIndex::keep(const IndexedFile& indexed, std::uint64_t content, const Finding& finding) {
  constexpr std::uint64_t kTick = 200'000;  // 20 ms
  Finding kept = finding;
  kept.thumbnail.clear();
  Row row{indexed, content, !finding.thumbnail.empty(), options_, encode(kept)};
  if (indexed.time + kTick > now()) row.file.time = kUnsure;
  const std::lock_guard lock(mutex_);
  put(row);
}

std::vector<std::string> FileIndex::gone() const {
  std::vector<std::string> paths;
  for (const auto& [content, file] : missing_)
    if (!file.isMoved) paths.push_back(file.path);
  std::ranges::sort(paths);
  return paths;
}

void FileIndex::forget(bool onlyMoved) {
  for (const auto& [content, file] : missing_) {
    if (onlyMoved && !file.isMoved) continue;
    Statement remove(database_.get(), "DELETE FROM tessaron_files WHERE path = ?");
    require(remove.bind(file.path).step());
  }
  require(sqlite3_exec(database_.get(), "COMMIT", nullptr, nullptr, nullptr));
}

void FileIndex::commit() { forget(false); }

void FileIndex::commitPart() { forget(true); }

}  // namespace tessaron::tool
