#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "records/record.h"
#include "tessaron_export.h"

namespace tessaron {

/// A record from a file of another program, and where it stands there.
struct SourceItem {
  CRecord record;
  std::size_t line = 0;  ///< where it begins, from 1; 0 where a line tells nothing
  std::string error;     ///< why it cannot be taken, one line in English; empty: it can
  /// What tells it from others that have the same title, person and group; often empty.
  std::u16string distinction;
  bool isDated = false;  ///< the file tells when it came into the collection, or that nobody knows
};

/// Why a source ends early.
struct SourceError {
  enum class Kind { None, Unreadable, Damaged, Foreign };
  Kind kind = Kind::None;
  std::string message;   ///< one line in English
  std::size_t line = 0;  ///< from 1; 0 when the error is about the whole file
  std::size_t column = 0;

  explicit operator bool() const { return kind != Kind::None; }
};

/// What was recognized in a file.
struct SourceSummary {
  std::string_view format;   ///< "CSV"
  std::string_view program;  ///< whose file it is; empty for one of no known program
  std::string_view encoding = "UTF-8";
  std::string_view separator;  ///< between cells: "comma"; empty in other formats
  /// The columns that are taken, each with its field.
  std::vector<std::pair<std::string, std::string>> columns;
  std::vector<std::string> ignored;  ///< columns, fields or keys that are not taken, each once
  bool isOwn = false;                ///< an export of ours, whose texts are taken as they are
};

/// The records of a file, one after another. Memory depends on the largest item alone. For one
/// thread at a time.
class TESSARON_API RecordSource {
 public:
  virtual ~RecordSource();
  /// Reads the next item into `item`, which is fresh. False after the last one and at an error.
  virtual bool next(SourceItem& item) = 0;
  const SourceError& error() const { return error_; }
  /// Columns are known from the start; what is ignored, after the last item.
  const SourceSummary& summary() const { return summary_; }

 protected:
  /// Ends the source with an error. Always false.
  bool fail(SourceError::Kind kind, std::string message, std::size_t line = 0,
            std::size_t column = 0);
  /// Takes note, once for each name, that something is not taken.
  void ignore(std::string name);

  SourceError error_;
  SourceSummary summary_;
};

}  // namespace tessaron
