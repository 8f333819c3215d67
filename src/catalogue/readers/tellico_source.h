#pragma once

#include <memory>

#include "catalogue/readers/record_source.h"
#include "platform/file.h"
#include "tessaron_export.h"

namespace tessaron {

/// The entries of a collection of Tellico's: its file (a zip archive with "tellico.xml") or that
/// document alone. Books, comics, music, videos and games get their product group. `file` is
/// seekable.
TESSARON_API std::unique_ptr<RecordSource> openTellico(std::unique_ptr<File> file);

}  // namespace tessaron
