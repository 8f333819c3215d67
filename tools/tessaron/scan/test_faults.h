#pragma once

#include <string_view>

#include "platform/file.h"

namespace tessaron::tool {

#ifdef TESSARON_TEST_FAULTS
using Misbehavior = void (*)();

/// What the beginning of a file's name asks for; null for other names. Each system has its own.
Misbehavior misbehaviorFor(std::u16string_view name);

/// A file that makes its reader misbehave, in place of one that has taken it over: where the
/// environment variable TESSARON_TEST_FAULTS is set, by the beginning of the file's name ("abort.",
/// "loop.", "connect.", ...), when the reader has read a few bytes; with a number behind that,
/// "abort.5.", after so many reads. Without the variable reads are forwarded.
class FaultyFile : public File {
 public:
  FaultyFile(File& file, std::u16string_view name);

  std::optional<std::size_t> read(std::span<std::byte> buffer) override;
  std::optional<std::size_t> readAt(std::uint64_t offset, std::span<std::byte> buffer) override;
  bool write(std::span<const std::byte>) override { return false; }
  bool seek(std::uint64_t offset) override { return file_.seek(offset); }
  std::optional<std::uint64_t> size() override { return file_.size(); }
  bool setEnd() override { return false; }
  std::optional<FileStatus> status() override { return file_.status(); }

 private:
  void misbehave(std::size_t size);

  File& file_;
  Misbehavior fault_ = nullptr;
  unsigned reads_ = 0;  // to forward before the fault
};
#else
/// The file itself: faults are for builds with tests.
struct FaultyFile {
  FaultyFile(File& opened, std::u16string_view) : file(opened) {}
  operator File&() const { return file; }
  File& file;
};
#endif

}  // namespace tessaron::tool
