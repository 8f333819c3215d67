#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <string_view>

#include "platform/file.h"
#include "tessaron_export.h"

namespace tessaron {

/// Whether `file`, a seekable one, begins as a zip archive does.
TESSARON_API bool isZip(File& file);

/// Hands the content of the entry `name` of a zip archive to `sink`, piece by piece. The archive
/// is read through a small buffer and its directory; at most `limit` bytes come out, whatever it
/// claims. Returns why that failed, one line in English ("the archive is damaged"), empty when all
/// of the entry came and its checksum is right. What came before a failure is not to be used. False
/// from `sink` fails as well. Neither encryption nor archives above 4 GiB are read.
TESSARON_API std::string extractZipEntry(File& zip, std::string_view name, std::uint64_t limit,
                                         const std::function<bool(std::string_view)>& sink);

}  // namespace tessaron
