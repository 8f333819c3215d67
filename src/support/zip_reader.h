#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "platform/file.h"
#include "tessaron_export.h"

namespace tessaron {

/// Whether `file`, a seekable one, begins as a zip archive does.
TESSARON_API bool isZip(File& file);

/// What the directory of a zip archive tells of an entry.
struct ZipEntry {
  std::string name;        ///< as the archive has it, mostly UTF-8
  std::uint64_t size = 0;  ///< bytes, as the archive claims
  bool isEncrypted = false;
};

/// The entries of a zip archive, in the order of its directory, which takes at most 16 MiB. Nothing
/// when the directory is damaged or the archive has more than 4 GiB.
TESSARON_API std::optional<std::vector<ZipEntry>> listZipEntries(File& zip);

/// Hands the content of the entry `name` of a zip archive to `sink`, piece by piece. The archive
/// is read through a small buffer and its directory; at most `limit` bytes come out, whatever it
/// claims. Returns why that failed, one line in English ("the archive is damaged"), empty when all
/// of the entry came and its checksum is right. What came before a failure is not to be used. False
/// from `sink` fails as well. Neither encryption nor archives above 4 GiB are read.
TESSARON_API std::string extractZipEntry(File& zip, std::string_view name, std::uint64_t limit,
                                         const std::function<bool(std::string_view)>& sink);

}  // namespace tessaron
