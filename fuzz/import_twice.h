#pragma once

#include <memory>

#include "catalogue/readers/record_source.h"
#include "fuzz.h"
#include "support/edited_collection.h"

/// Imports the source that `open` gives, twice. All of its items are accounted for, the collection
/// can be read, and the second time adds none.
template <typename Open>
void importTwice(Open open) {
  tessaron::EditedCollection collection;
  tessaron::ImportCounts first, second;
  const bool isGood = !collection.import(*open(), 1, first);
  CHECK(first.read == first.added + first.updated + first.skipped + first.rejected.size());
  CHECK(isGood || first.read == 0);
  CHECK(collection.records().size() == first.added);
  collection.import(*open(), 1, second);
  CHECK(second.read == first.read && second.added == 0);
}
