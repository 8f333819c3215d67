#pragma once

#include "tessaron_export.h"

namespace tessaron {

/// Loads the libraries that descriptions load when they first need them: for a process that cannot
/// open files later. Any thread may call it. What is not installed stays unused, as always.
TESSARON_API void loadReaders();

}  // namespace tessaron
