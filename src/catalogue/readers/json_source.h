#pragma once

#include <memory>

#include "catalogue/readers/record_source.h"
#include "platform/file.h"
#include "tessaron_export.h"

namespace tessaron {

/// The records of a JSON document as `export` writes it: a list of objects, or a single one. See
/// `recordFromJson`. `text` is seekable, in UTF-8, or in UTF-16 with a byte-order mark.
TESSARON_API std::unique_ptr<RecordSource> openJson(std::unique_ptr<File> text);

}  // namespace tessaron
