#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <system_error>
#include <vector>

#include "platform/file.h"
#include "records/record.h"
#include "tessaron_export.h"

namespace tessaron {

// The files that are linked to items. A link has the path from the collection's folder on where the
// file is below it, so that both may be moved together, and the absolute path elsewhere.
//
// Any thread may call these functions; a record or a file is for one thread at a time.

/// The folder of the collection at this path, which may be missing: absolute, with slashes, links
/// followed.
TESSARON_API std::u16string linkFolder(std::u16string_view collection);

/// The path by which a collection in `folder` (see `linkFolder`) links the file at `path`.
TESSARON_API std::u16string linkPath(std::u16string_view folder, std::u16string_view path);

/// The path at which a file that is linked as `link` is opened.
TESSARON_API std::u16string linkedPath(std::u16string_view folder, std::u16string_view link);

/// A checksum of the beginning, the middle and the end of a file of `size` bytes, 32 KiB each, as
/// 16 hexadecimal digits: files of one size that differ are told apart as good as always, without
/// reading films through. The same on all systems. Empty when the file cannot be read.
TESSARON_API std::u16string fileChecksum(File& file, std::uint64_t size);

/// The link of a collection in `folder` to the file at `path`, which is opened and must be a
/// regular file. Nothing, and `error` is set, when it cannot be read.
TESSARON_API std::optional<CLinkedFile> makeLink(std::u16string_view folder,
                                                 std::u16string_view path, std::uint16_t today,
                                                 std::error_code& error);

/// What became of a linked file.
enum class LinkState {
  Present,  ///< size and checksum are those of the link
  Changed,  ///< another size or checksum
  Missing,  ///< it cannot be opened
};
/// Opens the file.
TESSARON_API LinkState linkState(std::u16string_view folder, const CLinkedFile& file);

/// Whether files are linked to the record of which none can be opened.
TESSARON_API bool hasOnlyMissingFiles(std::u16string_view folder, const CRecord& record);

/// Adds a link, or renews the one with its path. Returns whether the record has changed.
TESSARON_API bool linkFile(CRecord& record, const CLinkedFile& file);

}  // namespace tessaron
