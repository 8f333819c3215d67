#pragma once

#include <string>

#include "cli/context.h"
#include "cli/options.h"
#include "cli/output.h"
#include "output/table.h"
#include "scan/file_index.h"

namespace tessaron::tool {

/// Writes which files came, went, changed and moved, in the form Table, Json, Csv or Tsv. One
/// thread at a time.
class ChangeList {
 public:
  /// `context` and `output` must outlive it.
  ChangeList(Form form, const Context& context, Output& output);

  /// Adds a file, unless nothing has happened to it; `before` is the former path of a moved one.
  /// This and `finish` fail as `Output::write` does.
  void add(Change change, const std::string& path, const std::string& before);
  /// Ends the list.
  void finish();

 private:
  Form form_;
  const Context& context_;
  Output& output_;
  Table table_{{"Change", "File", "Before"}};
  bool isEmpty_ = true;
};

}  // namespace tessaron::tool
