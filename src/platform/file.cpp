#include "platform/file.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <filesystem>

#include "platform/system.h"

namespace tessaron {
namespace {

class MemoryFile : public File {
 public:
  explicit MemoryFile(std::string content) : content_(std::move(content)) {}

  std::optional<std::size_t> read(std::span<std::byte> buffer) override {
    const std::size_t count =
        at_ < content_.size() ? std::min(buffer.size(), content_.size() - at_) : 0;
    if (count > 0) std::memcpy(buffer.data(), content_.data() + at_, count);
    at_ += count;
    return count;
  }
  bool write(std::span<const std::byte> bytes) override {
    if (bytes.empty()) return true;
    if (content_.size() < at_ + bytes.size()) content_.resize(at_ + bytes.size());
    std::memcpy(content_.data() + at_, bytes.data(), bytes.size());
    at_ += bytes.size();
    return true;
  }
  bool seek(std::uint64_t offset) override {
    at_ = static_cast<std::size_t>(offset);
    return true;
  }
  std::optional<std::uint64_t> size() override { return content_.size(); }
  bool setEnd() override {
    content_.resize(at_);
    return true;
  }
  std::optional<FileStatus> status() override {
    FileStatus status;
    status.size = content_.size();
    return status;
  }

 private:
  std::string content_;
  std::size_t at_ = 0;
};

/// Reads from another file, at its own position.
class FileView : public File {
 public:
  explicit FileView(File& file) : file_(file) {}

  std::optional<std::size_t> read(std::span<std::byte> buffer) override {
    const std::optional<std::size_t> count = file_.readAt(at_, buffer);
    at_ += count.value_or(0);
    return count;
  }
  std::optional<std::size_t> readAt(std::uint64_t offset, std::span<std::byte> buffer) override {
    return file_.readAt(offset, buffer);
  }
  bool write(std::span<const std::byte>) override { return false; }
  bool seek(std::uint64_t offset) override {
    at_ = offset;
    return true;
  }
  std::optional<std::uint64_t> size() override { return file_.size(); }
  bool setEnd() override { return false; }
  std::optional<FileStatus> status() override { return file_.status(); }

 private:
  File& file_;
  std::uint64_t at_ = 0;
};

thread_local LentFile* lentFile = nullptr;

}  // namespace

LentFile::LentFile(std::u16string_view path, File& file) : path_(path), file_(file) {
  lentFile = this;
}

LentFile::~LentFile() { lentFile = nullptr; }

std::unique_ptr<File> LentFile::open(std::u16string_view path, const OpenMode& mode) {
  if (!lentFile || mode.write || path != lentFile->path_) return nullptr;
  return std::make_unique<FileView>(lentFile->file_);
}

std::unique_ptr<File> memoryFile(std::string content) {
  return std::make_unique<MemoryFile>(std::move(content));
}

std::unique_ptr<File> temporaryFile() {
  const std::u16string path = temporaryFileName(temporaryFolder(), u"TRC", 0);
  if (path.empty()) return nullptr;
  OpenMode mode;
  mode.write = mode.deleteOnClose = true;
  std::error_code error;
  std::unique_ptr<File> file = openFile(path, mode, error);
  if (!file) std::filesystem::remove(path, error);
  return file;
}

bool readToEnd(File& file, std::string& out) {
  constexpr std::size_t kStep = 64 << 10;
  constexpr std::uint64_t kTrustedSize = 64 << 20;  // a claim worth one allocation
  const std::uint64_t claimed = std::min(file.size().value_or(0), kTrustedSize);
  std::size_t step = std::max<std::size_t>(kStep, static_cast<std::size_t>(claimed) + 1);
  for (;;) {
    const std::size_t done = out.size();
    out.resize(done + step);
    const std::optional<std::size_t> count =
        file.read(std::as_writable_bytes(std::span(out).subspan(done)));
    out.resize(done + count.value_or(0));
    if (!count) return false;
    if (*count == 0) return true;
    step = std::max(kStep, std::min<std::size_t>(out.size(), kTrustedSize));
  }
}

std::optional<std::size_t> readFully(File& file, std::uint64_t offset,
                                     std::span<std::byte> buffer) {
  std::size_t done = 0;
  while (done < buffer.size()) {
    const std::optional<std::size_t> count = file.readAt(offset + done, buffer.subspan(done));
    if (!count) return std::nullopt;
    if (*count == 0) break;
    done += *count;
  }
  return done;
}

std::optional<std::uint64_t> copyBytes(File& from, std::uint64_t source, File& to,
                                       std::uint64_t target, std::uint64_t count) {
  std::array<std::byte, 128 << 10> buffer;
  if (!to.seek(target)) return std::nullopt;
  std::uint64_t done = 0;
  while (done < count) {
    // Writes end where blocks end; those that cut blocks in two cost half as much again.
    const std::uint64_t most = buffer.size() - (target + done) % buffer.size();
    const auto part = std::span(buffer).first(
        static_cast<std::size_t>(std::min<std::uint64_t>(count - done, most)));
    const std::size_t got = from.readAt(source + done, part).value_or(0);
    if (got == 0) break;
    if (!to.write(part.first(got))) return std::nullopt;
    done += got;
  }
  return done;
}

std::error_code replaceFile(std::u16string_view path, std::string_view content) {
  return replaceFile(path,
                     [&](File& file) { return file.write(std::as_bytes(std::span(content))); });
}

std::error_code replaceFile(std::u16string_view path, const std::function<bool(File&)>& write) {
  std::error_code error;
  FileReplacement replacement(path, error);
  if (!error) error = replacement.run(write);
  return error ? error : replacement.commit();
}

std::error_code FileReplacement::write(std::string_view content) {
  return run([&](File& file) { return file.write(std::as_bytes(std::span(content))); });
}

}  // namespace tessaron
