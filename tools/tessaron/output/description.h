#pragma once

#include <memory>
#include <string>

#include "cli/context.h"
#include "cli/inventory.h"
#include "cli/options.h"
#include "cli/output.h"
#include "mediainfo/file_info.h"

namespace tessaron::tool {

/// The description of files in one of its forms, written while it grows: a table and XML keep all
/// of it until the end. Not for several threads at a time.
class Description {
 public:
  Description() = default;
  virtual ~Description() = default;
  Description(const Description&) = delete;
  Description& operator=(const Description&) = delete;

  /// Begins the next folder; the files that follow are in it.
  virtual void addFolder(const Inventory::Folder& folder) = 0;
  /// `thumbnail`: the path of its thumbnail, empty for none.
  virtual void addFile(CFileInfo&& file, const std::string& thumbnail) = 0;
  /// Ends the description. Until a file is added nothing is written before this call. Fails as
  /// `Output::write` does, and so do the others.
  virtual void finish() = 0;
};

/// A description in the form Table, Json, Csv, Tsv or Xml. `context` and `output` must outlive it.
std::unique_ptr<Description> newDescription(Form form, const Context& context, Output& output);

}  // namespace tessaron::tool
