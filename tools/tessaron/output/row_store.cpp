#include "output/row_store.h"

#include <cerrno>
#include <cstdint>
#include <cstring>

#include "cli/failures.h"
#include "platform/system.h"

namespace tessaron::tool {
namespace {

constexpr std::size_t kBlock = std::size_t{4} << 20;

void putSize(std::string& out, std::size_t size) {
  const auto number = static_cast<std::uint64_t>(size);
  out.append(reinterpret_cast<const char*>(&number), sizeof number);
}

std::size_t takeSize(std::string_view& from) {
  std::uint64_t number = 0;
  std::memcpy(&number, from.data(), sizeof number);
  from.remove_prefix(sizeof number);
  return static_cast<std::size_t>(number);
}

[[noreturn]] void fail() { throw Failure{kCannotWrite, "temporary file", std::strerror(errno)}; }

}  // namespace

std::uint64_t RowStore::add(const std::vector<std::string>& row) {
  const std::uint64_t place = spilledSize_ + block_.size();
  putSize(block_, row.size());
  for (const std::string& text : row) {
    putSize(block_, text.size());
    block_ += text;
  }
  if (block_.size() >= kBlock) spill();
  return place;
}

void RowStore::readBytes(std::uint64_t place, char* to, std::size_t size) const {
  if (place >= spilledSize_) {
    block_.copy(to, size, static_cast<std::size_t>(place - spilledSize_));
  } else if (!seekFile(file_.get(), place) || std::fread(to, 1, size, file_.get()) != size) {
    fail();
  }
}

std::vector<std::string> RowStore::read(std::uint64_t place) const {
  const auto readSize = [&] {
    std::uint64_t size = 0;
    readBytes(place, reinterpret_cast<char*>(&size), sizeof size);
    place += sizeof size;
    return static_cast<std::size_t>(size);
  };
  std::vector<std::string> row(readSize());
  for (std::string& text : row) {
    text.resize(readSize());
    readBytes(place, text.data(), text.size());
    place += text.size();
  }
  if (file_ && std::fseek(file_.get(), 0, SEEK_END) != 0) fail();
  return row;
}

void RowStore::spill() {
  if (!file_) file_.reset(openTemporaryFile());
  if (!file_ || std::fwrite(block_.data(), 1, block_.size(), file_.get()) != block_.size()) fail();
  spilled_.push_back(block_.size());
  spilledSize_ += block_.size();
  block_.clear();
}

void RowStore::visitBlock(std::string_view block,
                          const std::function<void(const std::vector<std::string_view>&)>& visit) {
  std::vector<std::string_view> row;
  while (!block.empty()) {
    row.resize(takeSize(block));
    for (std::string_view& text : row) {
      const std::size_t size = takeSize(block);
      text = block.substr(0, size);
      block.remove_prefix(size);
    }
    visit(row);
  }
}

void RowStore::forEach(
    const std::function<void(const std::vector<std::string_view>&)>& visit) const {
  if (file_) std::rewind(file_.get());
  std::string block;
  for (const std::size_t size : spilled_) {
    block.resize(size);
    if (std::fread(block.data(), 1, size, file_.get()) != size) fail();
    visitBlock(block, visit);
  }
  if (file_ && std::fseek(file_.get(), 0, SEEK_END) != 0) fail();
  visitBlock(block_, visit);
}

}  // namespace tessaron::tool
