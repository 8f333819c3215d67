#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <utility>
#include <vector>

#include "support/deflated.h"

/// Parts of package files, written independently of the library's reader.
namespace samples {

inline constexpr const char* kIdentifier = "000102030405060708090A0B0C0D0E0F";

inline constexpr std::size_t kEntryHeader = 76;

/// A header with the identifier above.
std::string packageHeader();
/// An entry with sizes as given, whatever data follows.
std::string rawEntry(std::uint32_t id, std::int32_t packedSize, std::int32_t size,
                     const std::string& data);
/// An entry that holds `content`.
std::string entry(std::uint32_t id, const std::string& content);
/// An index with these ids and names, which must need no escaping.
std::string indexXml(const std::vector<std::pair<std::uint32_t, std::string>>& files);
/// A description with an author and two schemes, "Dark" and "Light", that name "back.png".
std::string mainXml();
/// A package of mainXml() as entry 1 and further files, which count from 2.
std::string package(const std::vector<std::pair<std::string, std::string>>& files);

}  // namespace samples
