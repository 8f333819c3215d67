#pragma once

#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "catalogue/readers/record_source.h"
#include "platform/file.h"
#include "records/record_cells.h"
#include "tessaron_export.h"

namespace tessaron {

/// Which field a column of a table goes to, when the caller tells it.
struct ColumnMapping {
  RecordColumn field;
  std::string column;  ///< the name in the heading, in any case
};

struct TableOptions {
  std::vector<ColumnMapping> mappings;
  std::optional<char> separator;  ///< recognized by the heading without one
};

/// The rows of a table with a heading, separated by commas, semicolons or tabs: an export of ours,
/// one of a program whose columns are known, or one whose columns are named as the fields of a
/// record. `text` is seekable, in any encoding that `asUtf8` recognizes. Check `error` before the
/// first `next`: a table without a column for the title is refused there.
TESSARON_API std::unique_ptr<RecordSource> openTable(std::unique_ptr<File> text,
                                                     const TableOptions& options);

}  // namespace tessaron
