#include "cli.h"

#include <fcntl.h>
#include <fmt/format.h>
#include <sys/stat.h>
#include <unistd.h>

#include <CLI/CLI.hpp>
#include <algorithm>
#include <cctype>
#include <cerrno>
#include <cstdio>
#include <filesystem>
#include <nlohmann/json.hpp>
#include <optional>
#include <system_error>
#include <utility>
#include <vector>

#include "platform/file.h"
#include "support/text.h"
#include "support/units.h"
#include "terminal.h"

namespace tessaron::tool {
namespace {

std::string reasonOf(int number) { return std::generic_category().message(number); }

/// A file descriptor that is closed by its owner.
struct Descriptor {
  int number;
  ~Descriptor() {
    if (number > STDERR_FILENO) ::close(number);
  }
};

bool isUtf8(const std::string& text) { return toUtf8(fromUtf8(text)) == text; }

/// Writes to standard error. There is nobody to tell when that fails.
void say(const std::string& text) {
  std::fputs(text.c_str(), stderr);
  std::fflush(stderr);
}

bool fileExists(const std::string& path) {
  struct stat status;
  return ::stat(path.c_str(), &status) == 0 || errno != ENOENT;
}

[[noreturn]] void throwWriteFailure(const std::string& path, const std::error_code& error) {
  if (error == std::errc::broken_pipe) throw BrokenPipe{};
  const bool midway = error == std::errc::io_error || error == std::errc::no_space_on_device ||
                      error == std::errc::file_too_large || error.value() == EDQUOT;
  throw Failure{midway ? kCannotWrite : kCannotCreate, path, error.message()};
}

[[noreturn]] void throwPrintFailure() {
  if (errno == EPIPE) throw BrokenPipe{};
  throw Failure{kCannotWrite, "standard output", reasonOf(errno)};
}

/// How many characters have to be added, left out, replaced or swapped with the next one to turn
/// one word into the other, whatever their case.
std::size_t editDistance(std::string_view a, std::string_view b) {
  const auto same = [](char x, char y) {
    return std::tolower(static_cast<unsigned char>(x)) ==
           std::tolower(static_cast<unsigned char>(y));
  };
  std::vector<std::vector<std::size_t>> rows(a.size() + 1, std::vector<std::size_t>(b.size() + 1));
  for (std::size_t i = 0; i <= a.size(); ++i) {
    for (std::size_t j = 0; j <= b.size(); ++j) {
      std::size_t& cost = rows[i][j] = i + j;  // right where either word is empty
      if (i == 0 || j == 0) continue;
      cost = std::min({rows[i - 1][j] + 1, rows[i][j - 1] + 1,
                       rows[i - 1][j - 1] + (same(a[i - 1], b[j - 1]) ? 0 : 1)});
      if (i > 1 && j > 1 && same(a[i - 1], b[j - 2]) && same(a[i - 2], b[j - 1]))
        cost = std::min(cost, rows[i - 2][j - 2] + 1);
    }
  }
  return rows[a.size()][b.size()];
}

/// The most that is read, so that nothing endless fills the memory.
struct InputLimit {
  std::uint64_t bytes;
  const char* text;
};

InputLimit limitOf(const struct stat& status) {
  if (S_ISREG(status.st_mode)) return {std::uint64_t{4} << 30, "4 GiB, the most of a file"};
  if (S_ISCHR(status.st_mode)) return {std::uint64_t{16} << 20, "16 MiB, the most of a device"};
  return {std::uint64_t{1} << 30, "1 GiB, the most of a pipe"};
}

/// Reads an input, see `readInput`. With `toEdit` everything but a regular file is refused, and not
/// even opened: a pipe would be emptied, and opening one may wait for ever.
std::string readFrom(const std::string& path, bool toEdit) {
  static bool standardInputTaken = false;
  const bool standard = path == "-" && !toEdit;
  if (path.empty()) throw Failure{kNoInput, {}, "the file's name is empty"};
  if (standard && standardInputTaken)
    throw Failure{kNoInput, displayName(path), "it can be read only once"};
  standardInputTaken = standardInputTaken || standard;

  struct stat status;
  const auto requireFile = [&](int failed) {
    if (failed != 0) throw Failure{kNoInput, displayName(path), reasonOf(errno)};
    if (toEdit && S_ISDIR(status.st_mode)) throw Failure{kNoInput, path, reasonOf(EISDIR)};
    if (toEdit && !S_ISREG(status.st_mode))
      throw Failure{kNoInput, path,
                    "only a regular file can be edited; this is a pipe or a device"};
  };
  if (toEdit) requireFile(::stat(path.c_str(), &status));
  const int flags = O_RDONLY | O_CLOEXEC | O_NOCTTY | (toEdit ? O_NONBLOCK : 0);
  const Descriptor file{standard ? STDIN_FILENO : ::open(path.c_str(), flags)};
  if (file.number < 0 && errno == ENOENT && !isUtf8(path))
    throw Failure{kNoInput, path, "the file's name is not UTF-8, and no file has it"};
  if (file.number < 0) throw Failure{kNoInput, displayName(path), reasonOf(errno)};
  requireFile(::fstat(file.number, &status));

  const InputLimit limit = limitOf(status);
  std::string content;
  char buffer[1 << 16];
  for (;;) {
    if (content.size() > limit.bytes ||
        (S_ISREG(status.st_mode) && static_cast<std::uint64_t>(status.st_size) > limit.bytes))
      throw Failure{kNoInput, displayName(path),
                    fmt::format("it has more than {} that is read", limit.text)};
    const ssize_t got = ::read(file.number, buffer, sizeof buffer);
    if (got > 0) content.append(buffer, static_cast<std::size_t>(got));
    if (got == 0) return content;
    if (got < 0 && errno != EINTR) throw Failure{kNoInput, displayName(path), reasonOf(errno)};
  }
}

Collection parseCollection(const std::string& path, const std::string& text) {
  Collection collection;
  requireSound(path, collection.parse(text));
  if (!collection.records().empty()) return collection;
  TiXmlDocument document;  // without items the root has to tell what this is
  parseXml(text, document);
  if (!canHoldItems(document))
    throw Failure{kBadData, displayName(path), "this is no collection: it has no place for items"};
  return collection;
}

}  // namespace

void addCollectionOption(CLI::App& verb, std::string& path, bool editable) {
  verb.add_option("-c,--collection", path, "The collection's file")
      ->type_name("FILE")
      ->required()
      ->check([editable](const std::string& value) -> std::string {
        if (value.empty()) return "the file's name is empty";
        return editable && value == "-" ? "standard input cannot be changed" : "";
      });
}

void addFormFlags(CLI::App& verb, Form& form, std::initializer_list<Form> offered) {
  struct Flag {
    const char* name;
    const char* help;
  };
  static constexpr Flag kFlags[] = {
      {nullptr, nullptr},
      {"--json", "Give the result as JSON"},
      {"--csv", "Give it as CSV (RFC 4180); no spreadsheet takes a text for a formula"},
      {"--tsv",
       "Give it tab-separated, a line a row: tabs, line ends and backslashes as \\t, "
       "\\n, \\r, \\\\"},
      {"--html", "Give it as a page for web browsers"},
      {"--ics", "Give it as a calendar (iCalendar)"},
      {"--xml", "Give it as XML"},
      {"--png", "Give it as a picture (PNG)"},
  };
  std::vector<CLI::Option*> flags;
  for (const Form each : offered) {
    const Flag& flag = kFlags[static_cast<std::size_t>(each)];
    CLI::Option* added = verb.add_flag_callback(
        flag.name, [&form, each] { form = each; }, flag.help);
    for (CLI::Option* other : flags) added->excludes(other);
    flags.push_back(added);
  }
}

void addOutputOption(CLI::App& verb, std::string& path) {
  verb.add_option("-o,--output", path, "Where to write the result, if not to standard output (-)")
      ->type_name("FILE")
      ->check([](const std::string& value) {
        return value.empty() ? std::string("the file's name is empty") : std::string();
      });
}

std::string_view nearest(std::string_view word, const std::vector<std::string>& candidates) {
  std::string_view best;
  std::size_t least = (word.size() + 2) / 4 + 1;  // a near one has fewer typing errors than that
  if (word.size() > 64) return best;              // not typed, and slow to compare
  for (const std::string& candidate : candidates) {
    const std::size_t distance = editDistance(word, candidate);
    if (distance >= least) continue;
    least = distance;
    best = candidate;
  }
  return best;
}

std::string displayName(const std::string& path) { return path == "-" ? "standard input" : path; }

std::u16string widePath(const std::string& path, ExitCode code) {
  if (path.empty()) throw Failure{code, {}, "the file's name is empty"};
  if (!isUtf8(path)) throw Failure{code, path, "the file's name is not UTF-8"};
  return fromUtf8(path);
}

std::string readInput(const std::string& path) { return readFrom(path, false); }

void requireSound(const std::string& path, const XmlFault& fault) {
  if (!fault) return;
  throw Failure{kBadData, fmt::format("{}:{}:{}", displayName(path), fault.line, fault.column),
                fault.message};
}

Collection loadCollection(const std::string& path) {
  return parseCollection(path, readInput(path));
}

bool canHoldItems(const TiXmlDocument& document) {
  const TiXmlElement* root = document.RootElement();
  if (root == nullptr) return false;
  const std::string_view name = root->Value();
  return name == "PriceTracker" || name == "ProductInfo" ||
         root->FirstChildElement("Items") != nullptr ||
         root->FirstChildElement("Details") != nullptr;
}

void writeOutput(const std::string& path, std::string_view content) {
  if (const std::error_code error = replaceFile(widePath(path), content))
    throwWriteFailure(path, error);
}

void writeOutput(const std::string& path, const std::function<bool(File&)>& write) {
  if (const std::error_code error = replaceFile(widePath(path), write))
    throwWriteFailure(path, error);
}

void requireOtherFile(const std::string& output, const std::string& input) {
  if (output.empty() || output == "-" || input == "-") return;
  std::error_code error;  // an output that does not exist yet is another file
  if (std::filesystem::equivalent(input, output, error))
    throw Failure{kUsage, output, "the output would replace the input"};
}

Output::Output(std::string path) : path_(std::move(path)) {}

bool Output::isFile() const { return !path_.empty() && path_ != "-"; }

void Output::write(std::string_view text) {
  if (isFile())
    content_ += text;
  else
    print(text);
}

void Output::finish() {
  if (isFile())
    writeOutput(path_, content_);
  else
    flushOutput();
}

void writeResult(const std::string& path, std::string_view text) {
  Output output(path);
  if (output.isFile()) return writeOutput(path, text);
  output.write(text);
  output.finish();
}

void editCollection(const std::string& path, EditMode mode,
                    const std::function<void(Collection&)>& change) {
  if (mode == EditMode::Existing && !fileExists(path))
    throw Failure{kNoInput, path, reasonOf(ENOENT)};
  std::error_code error;
  std::optional<FolderLock> lock;
  if (mode != EditMode::DryRun) lock.emplace(widePath(path), error);
  if (error) throwWriteFailure(path, error);

  Collection collection;
  if (mode == EditMode::Existing || fileExists(path))
    collection = parseCollection(path, readFrom(path, true));
  const std::string before = collection.text();
  change(collection);
  const std::string after = collection.text();
  if (mode == EditMode::DryRun || after == before) return;
  if (const std::error_code failed = replaceFile(widePath(path), after))
    throwWriteFailure(path, failed);
}

void print(std::string_view text) {
  if (std::fwrite(text.data(), 1, text.size(), stdout) != text.size()) throwPrintFailure();
}

std::string jsonText(const nlohmann::ordered_json& document) {
  const std::string dumped = document.dump(2);
  std::string text;
  text.reserve(dumped.size() + 1);
  // JSON leaves U+007F to U+009F alone, but terminals obey some of them.
  for (std::size_t i = 0; i < dumped.size(); ++i) {
    const auto byte = static_cast<unsigned char>(dumped[i]);
    const auto next = static_cast<unsigned char>(i + 1 < dumped.size() ? dumped[i + 1] : 0);
    if (byte == 0x7F) {
      text += "\\u007f";
    } else if (byte == 0xC2 && next >= 0x80 && next < 0xA0) {
      text += fmt::format("\\u{:04x}", next);
      ++i;
    } else {
      text += dumped[i];
    }
  }
  return text;
}

void printJson(const nlohmann::ordered_json& document) { print(jsonText(document) + '\n'); }

void flushOutput() {
  if (std::fflush(stdout) != 0) throwPrintFailure();
}

void warn(std::string_view line) { say(fmt::format("tessaron: {}\n", printable(line))); }

void note(const Context& context, std::string_view line) {
  if (!context.quiet) say(printable(line) + '\n');
}

Progress::Progress(const Context& context, std::string_view task, std::size_t total)
    : active_(!context.quiet && terminalWidth(STDERR_FILENO).has_value()),
      task_(task),
      total_(total) {}

void Progress::draw(const std::string& line) {
  // Asked anew each time: the window may have been resized. The last column stays free, because
  // terminals differ in what they do with a cursor behind it.
  const std::size_t width = terminalWidth(STDERR_FILENO).value_or(80);
  say("\r\x1b[K" + cutToWidth(line, width - 1));
}

void Progress::show(std::size_t done, std::string_view next) {
  if (active_) draw(fmt::format("{} {}/{} {}", task_, done, total_, printable(next)));
}

void Progress::showPace(std::size_t done, std::string_view next) {
  constexpr std::chrono::milliseconds kInterval(100);
  constexpr std::size_t kBar = 20;
  const Clock::time_point now = Clock::now();
  if (!active_ || total_ == 0 || now - shown_ < kInterval) return;
  shown_ = now;
  const double seconds = std::chrono::duration<double>(now - begin_).count();
  const double pace = static_cast<double>(done) / std::max(seconds, 1e-3);
  const std::string left =
      done > 0 ? toUtf8(runTimeText(static_cast<double>(total_ - done) / pace)) : "?";
  const std::string bar(kBar * done / total_, '#');
  draw(fmt::format("{} [{:.<{}}] {}/{}, {:.0f}/s, {} left, {}", task_, bar, kBar, done, total_,
                   pace, left, printable(next)));
}

Progress::~Progress() {
  if (active_) say("\r\x1b[K");
}

}  // namespace tessaron::tool
