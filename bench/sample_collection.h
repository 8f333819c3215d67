#pragma once

#include <cstddef>

#include "records/record_set.h"

namespace tessaron {

/// A collection of `items` invented products, the same for the same number: texts with markup,
/// entities and letters beyond ASCII, lists, reviews, prices, the user's own additions. An item is
/// about 1.5 KB long when it is printed.
CRecordSet sampleCollection(std::size_t items);

}  // namespace tessaron
