#include "cli/input.h"

#include <fmt/format.h>

#include "cli/failures.h"
#include "cli/paths.h"

namespace tessaron::tool {
namespace {

/// Limit of what is read, so that endless inputs do not fill the memory.
struct InputLimit {
  std::uint64_t bytes;
  const char* text;
};

InputLimit limitOf(InputStream::Kind kind) {
  if (kind == InputStream::Kind::Regular) return {UINT64_MAX, ""};
  if (kind == InputStream::Kind::Device)
    return {std::uint64_t{16} << 20, "16 MiB, the most of a device"};
  return {std::uint64_t{1} << 30, "1 GiB, the most of a pipe"};
}

}  // namespace

Input::Input(const std::string& path) : path_(path) {
  static bool standardInputTaken = false;
  const bool standard = path == "-";
  if (path.empty()) throw Failure{kNoInput, {}, "the file's name is empty"};
  if (standard && standardInputTaken)
    throw Failure{kNoInput, displayName(path), "it can be read only once"};
  standardInputTaken = standardInputTaken || standard;
  std::error_code error;
  stream_ = standard ? InputStream::standardInput() : InputStream::open(path, error);
  if (error == std::errc::no_such_file_or_directory && !isUtf8(path))
    throw Failure{kNoInput, path, "the file's name is not UTF-8, and no file has it"};
  if (error) throw Failure{kNoInput, displayName(path), error.message()};
}

Input::~Input() = default;

bool Input::isRegular() const { return stream_->kind() == InputStream::Kind::Regular; }

std::optional<std::size_t> Input::read(std::span<std::byte> buffer) {
  std::error_code error;
  const std::optional<std::size_t> got = stream_->read(buffer, error);
  if (!got) {
    reason_ = error.message();
    return std::nullopt;
  }
  const InputLimit limit = limitOf(stream_->kind().value_or(InputStream::Kind::Pipe));
  count_ += *got;
  if (count_ <= limit.bytes) return got;
  reason_ = fmt::format("it has more than {} that is read", limit.text);
  return std::nullopt;
}

bool Input::seek(std::uint64_t offset) { return stream_->seek(offset); }

std::optional<std::uint64_t> Input::size() { return stream_->size(); }

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

}  // namespace tessaron::tool
