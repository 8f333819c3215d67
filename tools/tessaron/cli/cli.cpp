#include "cli/cli.h"

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

#include "cli/terminal.h"
#include "platform/file.h"
#include "support/text.h"
#include "support/units.h"

namespace tessaron::tool {
namespace {

std::string reasonOf(int number) { return std::generic_category().message(number); }

bool isUtf8(const std::string& text) { return toUtf8(fromUtf8(text)) == text; }

/// Writes to standard error. There is nobody to tell when that fails.
void say(const std::string& text) {
  std::fputs(text.c_str(), stderr);
  std::fflush(stderr);
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
  if (S_ISREG(status.st_mode)) return {UINT64_MAX, ""};
  if (S_ISCHR(status.st_mode)) return {std::uint64_t{16} << 20, "16 MiB, the most of a device"};
  return {std::uint64_t{1} << 30, "1 GiB, the most of a pipe"};
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

Input::Input(const std::string& path) : path_(path) {
  static bool standardInputTaken = false;
  const bool standard = path == "-";
  if (path.empty()) throw Failure{kNoInput, {}, "the file's name is empty"};
  if (standard && standardInputTaken)
    throw Failure{kNoInput, displayName(path), "it can be read only once"};
  standardInputTaken = standardInputTaken || standard;
  descriptor_ = standard ? STDIN_FILENO : ::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NOCTTY);
  if (descriptor_ < 0 && errno == ENOENT && !isUtf8(path))
    throw Failure{kNoInput, path, "the file's name is not UTF-8, and no file has it"};
  if (descriptor_ < 0) throw Failure{kNoInput, displayName(path), reasonOf(errno)};
}

Input::~Input() {
  if (descriptor_ > STDERR_FILENO) ::close(descriptor_);
}

bool Input::isRegular() const {
  struct stat status;
  return ::fstat(descriptor_, &status) == 0 && S_ISREG(status.st_mode);
}

std::optional<std::size_t> Input::read(std::span<std::byte> buffer) {
  struct stat status;
  ssize_t got = ::fstat(descriptor_, &status);
  if (got == 0) {
    do {
      got = ::read(descriptor_, buffer.data(), buffer.size());
    } while (got < 0 && errno == EINTR);
  }
  if (got < 0) {
    reason_ = reasonOf(errno);
    return std::nullopt;
  }
  const InputLimit limit = limitOf(status);
  count_ += static_cast<std::uint64_t>(got);
  if (count_ <= limit.bytes) return static_cast<std::size_t>(got);
  reason_ = fmt::format("it has more than {} that is read", limit.text);
  return std::nullopt;
}

bool Input::seek(std::uint64_t offset) {
  return ::lseek(descriptor_, static_cast<off_t>(offset), SEEK_SET) >= 0;
}

void Input::requireRead() const {
  if (!reason_.empty()) throw Failure{kNoInput, displayName(path_), reason_};
}

std::string readInput(const std::string& path) {
  Input input(path);
  std::string content;
  readToEnd(input, content);
  input.requireRead();
  return content;
}

void requireSound(const std::string& path, const XmlError& error) {
  if (!error) return;
  throw Failure{kBadData, fmt::format("{}:{}:{}", displayName(path), error.line, error.column),
                error.message};
}

CollectionReader::CollectionReader(std::string path, bool twice) : path_(std::move(path)) {
  input_ = std::make_unique<Input>(path_);
  if (!twice || input_->isRegular()) return;
  readToEnd(*input_, content_.emplace());
  input_->requireRead();
}

CollectionReader::~CollectionReader() = default;

void CollectionReader::forEachItem(const std::function<void(const ItemStream&)>& visit) {
  if (walked_ && !content_) input_->seek(0);
  walked_ = true;
  const std::unique_ptr<File> memory = content_ ? memoryFile(*content_) : nullptr;
  ItemStream items(memory ? *memory : *input_);
  while (items.next()) visit(items);
  input_->requireRead();
  requireSound(path_, items.badCharacter());
  requireSound(path_, items.error());
  count_ = items.count();
  if (!items.canHoldItems())
    throw Failure{kBadData, name(), "this is no collection: it has no place for items"};
}

void CollectionReader::forEachRecord(bool detail,
                                     const std::function<void(const CRecord&)>& visit) {
  forEachItem([&](const ItemStream& items) {
    CRecord record;
    record.fullDetail = detail;
    items.read(record);
    visit(record);
  });
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
  constexpr std::size_t kBlock = std::size_t{64} << 10;
  if (!isFile()) return print(text);
  block_ += text;
  if (block_.size() < kBlock) return;
  std::error_code error;
  if (!file_) file_.emplace(widePath(path_), error);
  if (!error) error = file_->write(block_);
  if (error) throwWriteFailure(path_, error);
  block_.clear();
}

void Output::finish() {
  if (!isFile()) return flushOutput();
  if (!file_) return writeOutput(path_, block_);
  std::error_code error = file_->write(block_);
  if (!error) error = file_->commit();
  if (error) throwWriteFailure(path_, error);
}

void writeResult(const std::string& path, std::string_view text) {
  Output output(path);
  output.write(text);
  output.finish();
}

void changeCollection(const std::string& path, EditMode mode, ItemEdit& edit) {
  const EditResult result = editCollection(widePath(path), mode, edit);
  if (result.readError) {
    const bool special = result.readError == std::errc::no_such_device_or_address;
    throw Failure{kNoInput, path,
                  special ? "only a regular file can be edited; this is a pipe or a device"
                          : result.readError.message()};
  }
  if (result.xmlError.kind == XmlError::Kind::Unreadable)
    throw Failure{kNoInput, path, result.xmlError.message};
  requireSound(path, result.xmlError);
  if (result.isForeign)
    throw Failure{kBadData, path, "this is no collection: it has no place for items"};
  if (result.writeError) throwWriteFailure(path, result.writeError);
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
