#include "scan/test_faults.h"

#include <cstdlib>

namespace tessaron::tool {

FaultyFile::FaultyFile(File& file, std::u16string_view name) : file_(file) {
  if (std::getenv("TESSARON_TEST_FAULTS")) fault_ = misbehaviorFor(name);
}

void FaultyFile::misbehave(std::size_t size) {
  if (fault_ && size > 1) fault_();  // the first byte is read by no decoder
}

std::optional<std::size_t> FaultyFile::read(std::span<std::byte> buffer) {
  misbehave(buffer.size());
  return file_.read(buffer);
}

std::optional<std::size_t> FaultyFile::readAt(std::uint64_t offset, std::span<std::byte> buffer) {
  misbehave(buffer.size());
  return file_.readAt(offset, buffer);
}

}  // namespace tessaron::tool
