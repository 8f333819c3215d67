#pragma once
// What the verbs that make one item of two have in common.

#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "catalogue/merge_collections.h"
#include "cli/context.h"
#include "output/row_store.h"
#include "support/json_writer.h"

namespace tessaron::tool {

/// Opens a collection that is edited later. Fails with kNoInput when it cannot be read or is no
/// regular file.
std::unique_ptr<File> openForEdit(const std::string& path);

/// An input that can be read more than once; what comes from a pipe is kept in memory. Fails with
/// kNoInput.
std::unique_ptr<File> openSeekable(const std::string& path);

/// Fails with kNoInput or kBadData for what `error` tells about a collection that was read.
void requireCollection(const std::string& path, const XmlError& error, bool isCollection);

/// Fails when an edit found that the collection is not the one that was read for it.
void requireSame(const std::string& path, bool isOutdated);

/// The conflicts between items. Memory does not depend on their number.
class ConflictList {
 public:
  void add(const ItemConflicts& item);
  bool isEmpty() const { return rows_.isEmpty(); }
  /// Prints them as a table to standard output, under these names of the two sides.
  void print(const Context& context, const std::string& ours, const std::string& theirs) const;
  /// Writes an array of objects {ASIN, Title, field, ours, theirs, taken}; `taken` is null for a
  /// conflict that is not settled. `flush` is called now and then.
  void writeJson(JsonWriter& json, const std::function<void()>& flush) const;

 private:
  RowStore rows_;
};

/// Prints the counts, by name, and all conflicts as one JSON object.
void printCounts(const std::vector<std::pair<std::string, std::size_t>>& counts,
                 const ConflictList& conflicts);

}  // namespace tessaron::tool
