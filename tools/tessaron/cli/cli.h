#pragma once
// What every verb of the tool shares: failures, reading, saving, and what is said to whom.

#include <chrono>
#include <cstddef>
#include <functional>
#include <initializer_list>
#include <memory>
#include <nlohmann/json_fwd.hpp>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "catalogue/edit.h"
#include "platform/file.h"

namespace CLI {
class App;
}

namespace tessaron::tool {

enum ExitCode : int {
  kDone = 0,
  kFailed = 1,  ///< the request found nothing, or could not be carried out
  kUsage = 2,
  kBadData = 65,       ///< damaged or foreign data
  kNoInput = 66,       ///< an input is missing or unreadable
  kCannotCreate = 73,  ///< an output cannot be made where it is to stand
  kCannotWrite = 74,   ///< an error while writing
};

/// Ends a verb. `main` prints it as "tessaron: WHERE: REASON" and exits with `code`.
struct Failure {
  ExitCode code;
  std::string where;  ///< file[:line:column]; empty when it is about no file
  std::string reason;
};

/// Ends a verb silently: nobody reads what it writes any more. `main` ends the process as SIGPIPE
/// does.
struct BrokenPipe {};

/// The options that all verbs have in common, and what the chosen verb does.
struct Context {
  bool quiet = false;
  std::string color = "auto";
  std::function<int()> run;  ///< set while the command line is parsed; gives the exit code
};

/// Adds the required option -c,--collection FILE. With `editable` "-" is refused.
void addCollectionOption(CLI::App& verb, std::string& path, bool editable);

/// The forms in which verbs give their results: a table for people, or one for programs.
enum class Form { Table, Json, Csv, Tsv, Html, Ics, Xml, Png };

/// Adds the flags (--json, --csv, ...) of the forms that the verb offers; at most one of them can
/// be given. `form` keeps its value without one.
void addFormFlags(CLI::App& verb, Form& form, std::initializer_list<Form> offered);

/// Adds -o,--output FILE; `path` keeps its value ("-" or empty: standard output) without it.
void addOutputOption(CLI::App& verb, std::string& path);

/// The candidate that `word` is most likely a misspelling of, whatever its case; empty when none is
/// near.
std::string_view nearest(std::string_view word, const std::vector<std::string>& candidates);

/// The file's name as messages give it: "standard input" for "-".
std::string displayName(const std::string& path);

/// The path as the library takes it. Fails with `code` when it is empty, or not UTF-8: it would
/// come out as another file's.
std::u16string widePath(const std::string& path, ExitCode code = kCannotCreate);

/// The bytes of a file, or of standard input for "-" (which can be read only once). Fails with
/// kNoInput, also for more than 1 GiB of a pipe or 16 MiB of a device.
std::string readInput(const std::string& path);

/// An input that is read as it comes: a file, a pipe, or standard input for "-". Fails as
/// `readInput` does, but a regular file may have any size.
class Input : public File {
 public:
  explicit Input(const std::string& path);
  ~Input() override;

  /// Whether it can be read more than once.
  bool isRegular() const;
  /// Fails when a read has failed.
  void requireRead() const;

  std::optional<std::size_t> read(std::span<std::byte> buffer) override;
  bool write(std::span<const std::byte>) override { return false; }
  bool seek(std::uint64_t offset) override;
  std::optional<std::uint64_t> size() override { return std::nullopt; }
  bool setEnd() override { return false; }
  std::optional<FileStatus> status() override { return std::nullopt; }

 private:
  std::string path_;
  int descriptor_ = -1;
  std::uint64_t count_ = 0;
  std::string reason_;
};

/// Fails with kBadData and the error's place when there is an error.
void requireSound(const std::string& path, const XmlError& error);

/// A collection's items, one at a time. Fails with kNoInput when it cannot be read, with kBadData
/// when it is damaged or something else altogether: what came before that has been visited.
class CollectionReader {
 public:
  /// With `twice` it can be walked over twice, though it be a pipe.
  explicit CollectionReader(std::string path, bool twice = false);
  ~CollectionReader();

  void forEachItem(const std::function<void(const ItemStream&)>& visit);
  /// With `detail` the records are complete; without it they lack texts that only `show` and
  /// `export` tell (see CRecord::fullDetail).
  void forEachRecord(bool detail, const std::function<void(const CRecord&)>& visit);
  /// How many items the last walk came by.
  std::size_t count() const { return count_; }
  std::string name() const { return displayName(path_); }

 private:
  std::string path_;
  std::unique_ptr<Input> input_;
  std::optional<std::string> content_;
  bool walked_ = false;
  std::size_t count_ = 0;
};

/// Replaces or creates a file in one step. Fails with kCannotCreate or kCannotWrite; the old file
/// is then as it was. BrokenPipe when it is a pipe that nobody reads.
void writeOutput(const std::string& path, std::string_view content);

/// As above, with what `write` writes; false from it is a failure of the last system call.
void writeOutput(const std::string& path, const std::function<bool(File&)>& write);

/// Fails with kUsage when `output` is the file `input`, by whatever name.
void requireOtherFile(const std::string& output, const std::string& input);

/// Where a result goes: to standard output as it comes ("-" or an empty path), or into a file,
/// which `finish` replaces in one step.
class Output {
 public:
  explicit Output(std::string path);
  bool isFile() const;
  /// Fails as `print` or `writeOutput` does.
  void write(std::string_view text);
  /// Ends the result; without it the old file stays. Fails as `write` does.
  void finish();

 private:
  std::string path_;
  std::optional<FileReplacement> file_;  // as soon as there is something to write
  std::string block_;
};

/// Hands a complete result to standard output or into a file, as `Output` does.
void writeResult(const std::string& path, std::string_view text);

/// Changes a collection by `edit`, see `editCollection`. Fails with kNoInput for what cannot be
/// read or is no regular file, with kBadData for what is damaged or no collection, with
/// kCannotCreate or kCannotWrite when the new file cannot be put in its place; nothing changes
/// then. What `edit` throws is passed on.
void changeCollection(const std::string& path, EditMode mode, ItemEdit& edit);

/// Writes to standard output. Fails with kCannotWrite, or BrokenPipe.
void print(std::string_view text);

/// One JSON document, indented, with every control character escaped.
std::string jsonText(const nlohmann::ordered_json& document);

/// Writes one JSON document and a line end to standard output.
void printJson(const nlohmann::ordered_json& document);

/// Hands over all that was printed so far. Fails as `print` does.
void flushOutput();

/// One line on standard error, with the program's name in front: about something that went wrong.
void warn(std::string_view line);

/// One line on standard error, unless --quiet: about what was done.
void note(const Context& context, std::string_view line);

/// One line on standard error that tells how far the work is; only on a terminal, never wider than
/// it, and gone when the object goes.
class Progress {
 public:
  Progress(const Context& context, std::string_view task, std::size_t total);
  ~Progress();
  Progress(const Progress&) = delete;
  Progress& operator=(const Progress&) = delete;

  /// Shows that `done` of the total are done, and what comes next.
  void show(std::size_t done, std::string_view next);
  /// As `show`, with a bar, the pace and the time that is left; for many short steps, of which it
  /// shows some.
  void showPace(std::size_t done, std::string_view next);

 private:
  using Clock = std::chrono::steady_clock;
  static void draw(const std::string& line);

  bool active_;
  std::string task_;
  std::size_t total_;
  Clock::time_point begin_ = Clock::now();
  Clock::time_point shown_{};
};

}  // namespace tessaron::tool
