#include "cli/output.h"

#include <filesystem>
#include <utility>

#include "cli/failures.h"
#include "cli/paths.h"
#include "platform/standard_streams.h"

namespace tessaron::tool {
namespace {

/// What is yet to be written to standard output; what a failed verb leaves is written at the end.
class Pending {
 public:
  ~Pending() { [[maybe_unused]] const std::error_code ignored = write(); }
  void add(std::string_view text) {
    constexpr std::size_t kBlock = std::size_t{32} << 10;
    text_ += text;
    const bool isLine = isShown_ && text_.ends_with('\n');
    if (isLine || text_.size() >= kBlock) flush();
  }
  void flush() {
    const std::error_code error = write();
    if (error == std::errc::broken_pipe) throw BrokenPipe{};
    if (error) throw Failure{kCannotWrite, "standard output", error.message()};
  }

 private:
  std::error_code write() {
    if (text_.empty()) return {};
    const std::error_code error = writeTo(StandardStream::Out, text_);
    text_.clear();
    return error;
  }

  std::string text_;
  const bool isShown_ = isTerminal(StandardStream::Out);
};

Pending& pending() {
  static Pending text;
  return text;
}

}  // namespace

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
  std::error_code error;  // an output that does not exist is another file
  if (std::filesystem::equivalent(filePath(input), filePath(output), error))
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

void print(std::string_view text) { pending().add(text); }

void flushOutput() { pending().flush(); }

}  // namespace tessaron::tool
