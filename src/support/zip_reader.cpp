#include "support/zip_reader.h"

#include <zlib.h>

#include <algorithm>
#include <array>
#include <optional>
#include <span>
#include <vector>

#include "support/byte_reader.h"
#include "support/zlib.h"

namespace tessaron {
namespace {

constexpr std::uint32_t kEntrySignature = 0x04034B50;
constexpr std::uint32_t kDirectorySignature = 0x02014B50;
constexpr std::uint32_t kEndSignature = 0x06054B50;
constexpr std::size_t kEntryHeader = 30;
constexpr std::size_t kDirectoryHeader = 46;
constexpr std::size_t kEndHeader = 22;
constexpr std::size_t kMaxComment = 0xFFFF;
constexpr std::size_t kMaxDirectory = std::size_t{16} << 20;
constexpr std::size_t kBlock = std::size_t{64} << 10;
constexpr std::uint16_t kStored = 0, kDeflated = 8;

constexpr std::string_view kDamaged = "the archive is damaged";

struct Entry {
  std::uint16_t flags = 0;
  std::uint16_t method = 0;
  std::uint32_t checksum = 0;
  std::uint32_t packedSize = 0;
  std::uint32_t offset = 0;  // of its header
};

// Reads `size` bytes at `offset`; fewer or none where the file ends or cannot be read.
std::vector<std::byte> bytesAt(File& file, std::uint64_t offset, std::size_t size) {
  std::vector<std::byte> bytes(size);
  bytes.resize(readFully(file, offset, bytes).value_or(0));
  return bytes;
}

// The directory of the archive; nothing when there is none.
std::optional<std::vector<std::byte>> readDirectory(File& zip) {
  const std::uint64_t size = zip.size().value_or(0);
  const auto tailSize =
      static_cast<std::size_t>(std::min<std::uint64_t>(size, kEndHeader + kMaxComment));
  const std::vector<std::byte> tail = bytesAt(zip, size - tailSize, tailSize);
  const std::span<const std::byte> bytes(tail);
  for (std::size_t at = tail.size() < kEndHeader ? 0 : tail.size() - kEndHeader + 1; at-- > 0;) {
    ByteReader end(bytes.subspan(at));
    if (end.u32le() != kEndSignature) continue;
    end.skip(8);
    const std::uint32_t length = end.u32le(), offset = end.u32le();
    if (!end.ok() || offset > size || length > size - offset || length > kMaxDirectory)
      return std::nullopt;
    std::vector<std::byte> directory = bytesAt(zip, offset, length);
    if (directory.size() != length) return std::nullopt;
    return directory;
  }
  return std::nullopt;
}

// Reads the next entry of a directory. False where the directory ends or is damaged.
bool readEntry(ByteReader& reader, Entry& entry, std::string_view& name, std::uint32_t& size) {
  if (reader.remaining() < kDirectoryHeader || reader.u32le() != kDirectorySignature) return false;
  reader.skip(4);
  entry.flags = reader.u16le();
  entry.method = reader.u16le();
  reader.skip(4);
  entry.checksum = reader.u32le();
  entry.packedSize = reader.u32le();
  size = reader.u32le();
  const std::size_t nameSize = reader.u16le();
  const std::size_t rest = reader.u16le() + std::size_t{reader.u16le()};
  reader.skip(8);
  entry.offset = reader.u32le();
  const auto bytes = reader.bytes(nameSize);
  name = {reinterpret_cast<const char*>(bytes.data()), bytes.size()};
  const bool isWhole = reader.ok();
  reader.skip(rest);
  return isWhole;
}

// Looks the entry up. An error when the directory is damaged or has no such entry.
std::string findEntry(File& zip, std::string_view wanted, Entry& entry) {
  const auto directory = readDirectory(zip);
  if (!directory) return std::string(kDamaged);
  ByteReader reader(*directory);
  std::string_view name;
  std::uint32_t size = 0;
  while (readEntry(reader, entry, name, size))
    if (name == wanted) return {};
  if (!reader.ok() || reader.remaining() > 0) return std::string(kDamaged);
  return "the archive holds no \"" + std::string(wanted) + '"';
}

// Passes the content of an entry on, and watches its length and its checksum.
class Checked {
 public:
  Checked(std::uint64_t limit, const std::function<bool(std::string_view)>& sink)
      : left_(limit), sink_(sink) {}

  bool take(std::span<const std::byte> bytes) {
    if (bytes.size() > left_) {
      error_ = "it is longer than what is read of it";
      return false;
    }
    left_ -= bytes.size();
    const auto* data = reinterpret_cast<const unsigned char*>(bytes.data());
    sum_ = crc32_z(sum_, data, bytes.size());
    if (sink_({reinterpret_cast<const char*>(data), bytes.size()})) return true;
    error_ = "it cannot be unpacked into the folder for temporary files";
    return false;
  }
  std::string result(std::uint32_t checksum) const {
    if (!error_.empty()) return error_;
    return sum_ == checksum ? std::string() : std::string(kDamaged);
  }
  const std::string& error() const { return error_; }

 private:
  std::uint64_t left_;
  const std::function<bool(std::string_view)>& sink_;
  uLong sum_ = 0;
  std::string error_;
};

// Inflates a block. False when nothing more is to come.
bool inflateBlock(Inflater& inflater, std::span<const std::byte> block, Checked& out) {
  std::array<std::byte, kBlock> buffer;
  while (inflater.state() == Inflater::State::Open) {
    const std::size_t count = inflater.inflate(block, buffer);
    if (!out.take(std::span(buffer).first(count))) return false;
    if (count < buffer.size() && block.empty()) break;
  }
  return inflater.state() == Inflater::State::Open;
}

}  // namespace

bool isZip(File& file) {
  const std::vector<std::byte> head = bytesAt(file, 0, 4);
  return ByteReader(head).u32le() == kEntrySignature;
}

std::optional<std::vector<ZipEntry>> listZipEntries(File& zip) {
  const auto directory = readDirectory(zip);
  if (!directory) return std::nullopt;
  std::vector<ZipEntry> entries;
  ByteReader reader(*directory);
  Entry entry;
  std::string_view name;
  std::uint32_t size = 0;
  while (readEntry(reader, entry, name, size))
    entries.push_back({std::string(name), size, (entry.flags & 1) != 0});
  return entries;
}

std::string extractZipEntry(File& zip, std::string_view name, std::uint64_t limit,
                            const std::function<bool(std::string_view)>& sink) {
  Entry entry;
  if (std::string error = findEntry(zip, name, entry); !error.empty()) return error;
  if (entry.flags & 1) return "the archive is encrypted";
  if (entry.method != kStored && entry.method != kDeflated)
    return "the archive is packed by an unknown method";
  const std::vector<std::byte> header = bytesAt(zip, entry.offset, kEntryHeader);
  ByteReader reader(header);
  const bool isEntry = reader.u32le() == kEntrySignature;
  reader.skip(22);
  const std::uint64_t names = reader.u16le() + std::uint64_t{reader.u16le()};
  if (!isEntry || !reader.ok()) return std::string(kDamaged);

  Checked out(limit, sink);
  Inflater inflater(Inflater::Format::Raw);
  std::uint64_t at = entry.offset + kEntryHeader + names;
  for (std::uint64_t left = entry.packedSize; left > 0;) {
    const auto size = static_cast<std::size_t>(std::min<std::uint64_t>(left, kBlock));
    const std::vector<std::byte> block = bytesAt(zip, at, size);
    if (block.size() != size) return std::string(kDamaged);
    at += size;
    left -= size;
    if (!(entry.method == kStored ? out.take(block) : inflateBlock(inflater, block, out))) break;
  }
  if (out.error().empty() && entry.method == kDeflated &&
      inflater.state() != Inflater::State::Ended)
    return std::string(kDamaged);
  return out.result(entry.checksum);
}

}  // namespace tessaron
