#pragma once

#include <memory>
#include <string>

#include "cli/context.h"
#include "cli/inventory.h"
#include "cli/options.h"
#include "cli/output.h"
#include "mediainfo/file_info.h"

namespace tessaron::tool {

/// Writes the description of files in one form, row by row; a table and XML are written at the end.
/// One thread at a time.
class Description {
 public:
  Description() = default;
  virtual ~Description() = default;
  Description(const Description&) = delete;
  Description& operator=(const Description&) = delete;

  /// Starts the next folder; the following files belong to it.
  virtual void addFolder(const Inventory::Folder& folder) = 0;
  /// Adds a file; `thumbnail` is the path of its thumbnail, empty for none.
  virtual void addFile(CFileInfo&& file, const std::string& thumbnail) = 0;
  /// Ends the description. Nothing is written before the first file or this call. This and the
  /// other functions fail as `Output::write` does.
  virtual void finish() = 0;
};

/// A description in the form Table, Json, Csv, Tsv or Xml. `context` and `output` must outlive it.
std::unique_ptr<Description> newDescription(Form form, const Context& context, Output& output);

}  // namespace tessaron::tool
