#pragma once

#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "catalogue/readers/record_source.h"
#include "tessaron_export.h"

namespace tessaron {

/// The books that package documents (OPF, as calibre writes it) describe: `path` is such a
/// document, or a folder; then those named "metadata.opf" in it and below it count, in the order
/// of their paths. Links are not followed. A document that cannot be read is an item with an error.
TESSARON_API std::unique_ptr<RecordSource> openPackages(std::u16string_view path);

}  // namespace tessaron
