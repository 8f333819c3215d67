#pragma once

#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "catalogue/readers/record_source.h"
#include "catalogue/readers/table_source.h"
#include "platform/file.h"
#include "tessaron_export.h"

namespace tessaron {

/// What a file with items may be.
enum class SourceFormat { Xml, Json, Csv, Tsv, Tellico, Opf };

/// The format that `name` names ("json"), in small letters; nothing for an unknown name.
TESSARON_API std::optional<SourceFormat> sourceFormatNamed(std::string_view name);

/// The format that the first bytes of `file`, a seekable one, show: XML for responses and
/// collections, and for what is none of the others. Nothing when it cannot be read. The position is
/// at the start afterwards.
TESSARON_API std::optional<SourceFormat> recognizeFormat(File& file);

/// Opens a file in any of the formats but Xml. Its `error` may be set.
TESSARON_API std::unique_ptr<RecordSource> openSource(std::unique_ptr<File> file,
                                                      SourceFormat format,
                                                      std::vector<ColumnMapping> mappings = {});

}  // namespace tessaron
