#pragma once
// What `import` takes items from.

#include <cstddef>
#include <memory>
#include <nlohmann/json_fwd.hpp>
#include <optional>
#include <string>
#include <vector>

#include "catalogue/import.h"
#include "catalogue/readers/source_format.h"
#include "cli/input.h"

namespace tessaron::tool {

/// A file or folder with items, and the summary of its import.
struct ImportSource {
  std::string path;                    ///< or the name of content that comes without a file
  std::unique_ptr<Input> input;        ///< of a file, until it is added
  std::optional<std::string> content;  ///< of a source that can be read only once
  SourceFormat format = SourceFormat::Xml;
  std::unique_ptr<RecordSource> records;  ///< of one in another format than XML
  ResponseSummary response;               ///< of one in XML
  std::size_t items = 0;                  ///< rejected ones included
};

/// The columns that --map names, as FIELD=COLUMN. Fails with kUsage for an unknown field.
std::vector<ColumnMapping> mappingsOf(const std::vector<std::string>& maps);

/// Opens a source, reads it when that can be done only once, and recognizes its format unless
/// `from` names it. Fails with kNoInput.
ImportSource openSource(const std::string& path, const std::string& from);

/// A source of content that comes without a file, and is known by `name`.
ImportSource sourceOf(const std::string& name, std::string content);

/// Adds a source to the import. Fails when it cannot be read or is damaged.
void addSource(Import& import, ImportSource& source, const std::vector<ColumnMapping>& mappings);

/// Why a source has no items. Fails with kBadData when it is XML but no response.
std::string emptyReason(const ImportSource& source);

/// The counts of an import and what was recognized in its sources, as `import --json` prints them.
nlohmann::ordered_json importJson(const std::vector<ImportSource>& sources,
                                  const ImportCounts& counts);

}  // namespace tessaron::tool
