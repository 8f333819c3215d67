#pragma once

#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "catalogue/readers/record_source.h"
#include "platform/file.h"
#include "tessaron_export.h"

namespace tessaron {

/// The book that a package document (OPF, as calibre writes it) describes. One that cannot be read
/// is an item with an error.
std::unique_ptr<RecordSource> openPackage(std::unique_ptr<File> document);

/// The books of the package documents named "metadata.opf" in a folder and below it, in the order
/// of their paths. Links are not followed.
TESSARON_API std::unique_ptr<RecordSource> openPackages(std::u16string_view folder);

}  // namespace tessaron
