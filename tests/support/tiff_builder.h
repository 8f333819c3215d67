#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <vector>

/// Writes TIFF files of one gray pixel, with whatever entries, in either byte order.
class TiffBuilder {
 public:
  enum Directory { kMain, kExif, kGps };

  explicit TiffBuilder(bool bigEndian) : bigEndian_(bigEndian) {}

  /// An entry of numbers of a type; a rational takes two of them.
  TiffBuilder& put(std::uint16_t number, std::uint16_t type,
                   const std::vector<std::uint32_t>& values, Directory directory = kMain);
  /// An entry of bytes. The count of its elements may be a lie.
  TiffBuilder& putBytes(std::uint16_t number, std::uint16_t type, const std::string& bytes,
                        Directory directory = kMain);
  TiffBuilder& lie(std::uint16_t number, std::uint32_t count, Directory directory = kMain);

  std::string build() const;

  std::string u16(std::uint32_t value) const;
  std::string u32(std::uint32_t value) const;

 private:
  struct Entry {
    std::uint16_t type;
    std::uint32_t count;
    std::string value;
  };
  using Entries = std::map<std::uint16_t, Entry>;

  std::string directory(const Entries& entries, std::size_t at) const;

  bool bigEndian_;
  std::map<Directory, Entries> directories_;
};

/// `jpeg` with `block`, a TIFF file, as its Exif data.
std::string withExif(const std::string& jpeg, const std::string& block);
