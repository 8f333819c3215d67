#include "support/tiff_builder.h"

#include "support/bytes.h"

namespace {

// The bytes that an element of each type takes.
constexpr unsigned kWidths[] = {0, 1, 1, 2, 4, 8, 1, 1, 2, 4, 8, 4, 8};
constexpr std::size_t kHeader = 8;

std::size_t tableSize(std::size_t entries) { return 2 + 12 * entries + 4; }

}  // namespace

std::string TiffBuilder::u16(std::uint32_t value) const {
  return bigEndian_ ? be16(value) : le16(value);
}
std::string TiffBuilder::u32(std::uint32_t value) const {
  return bigEndian_ ? be32(value) : le32(value);
}

TiffBuilder& TiffBuilder::put(std::uint16_t number, std::uint16_t type,
                              const std::vector<std::uint32_t>& values, Directory directory) {
  std::string value;
  for (const std::uint32_t item : values) {
    value += kWidths[type] == 1   ? std::string(1, static_cast<char>(item))
             : kWidths[type] == 2 ? u16(item)
                                  : u32(item);
  }
  return putBytes(number, type, value, directory);
}

TiffBuilder& TiffBuilder::putBytes(std::uint16_t number, std::uint16_t type,
                                   const std::string& value, Directory directory) {
  const auto count = static_cast<std::uint32_t>(value.size() / kWidths[type]);
  directories_[directory][number] = {type, count, value};
  return *this;
}

TiffBuilder& TiffBuilder::lie(std::uint16_t number, std::uint32_t count, Directory directory) {
  directories_[directory][number].count = count;
  return *this;
}

// A directory at `at` and, behind it, the values that do not fit into it.
std::string TiffBuilder::directory(const Entries& entries, std::size_t at) const {
  std::string table = u16(static_cast<std::uint32_t>(entries.size()));
  std::string values;
  const std::size_t valuesAt = at + tableSize(entries.size());
  for (const auto& [number, entry] : entries) {
    table += u16(number) + u16(entry.type) + u32(entry.count);
    if (entry.value.size() <= 4) {
      table += entry.value + std::string(4 - entry.value.size(), '\0');
    } else {
      table += u32(static_cast<std::uint32_t>(valuesAt + values.size()));
      values += entry.value + std::string(entry.value.size() % 2, '\0');
    }
  }
  return table + u32(0) + values;
}

std::string TiffBuilder::build() const {
  constexpr std::pair<Directory, std::uint16_t> kInner[] = {{kExif, 0x8769}, {kGps, 0x8825}};
  TiffBuilder main(bigEndian_);
  main.put(0x0100, 3, {1}).put(0x0101, 3, {1}).put(0x0102, 3, {8});  // width, height, bits
  main.put(0x0103, 3, {1}).put(0x0106, 3, {1});                      // plain, black is zero
  main.put(0x0111, 4, {0}).put(0x0115, 3, {1});                      // the strip, its samples
  main.put(0x0116, 3, {1}).put(0x0117, 4, {1});                      // rows and bytes in it
  if (const auto own = directories_.find(kMain); own != directories_.end())
    for (const auto& [number, entry] : own->second) main.directories_[kMain][number] = entry;
  for (const auto& [kind, pointer] : kInner)
    if (directories_.count(kind) != 0) main.put(pointer, 4, {0});
  const Entries& entries = main.directories_[kMain];
  const std::size_t mainSize = directory(entries, kHeader).size();  // wherever the others are
  std::string behind;
  const auto place = [&] { return static_cast<std::uint32_t>(kHeader + mainSize + behind.size()); };
  for (const auto& [kind, pointer] : kInner) {
    const auto found = directories_.find(kind);
    if (found == directories_.end()) continue;
    main.put(pointer, 4, {place()});
    behind += directory(found->second, place());
  }
  main.put(0x0111, 4, {place()});
  behind += '\x7F';  // the pixel
  const std::string header = (bigEndian_ ? "MM" : "II") + u16(42) + u32(kHeader);
  return header + directory(entries, kHeader) + behind;
}

std::string withExif(const std::string& jpeg, const std::string& block) {
  const std::string segment = std::string("Exif\0\0", 6) + block;
  return jpeg.substr(0, 2) + "\xFF\xE1" + be16(static_cast<std::uint32_t>(segment.size() + 2)) +
         segment + jpeg.substr(2);
}
