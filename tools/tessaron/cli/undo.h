#pragma once
// Taking edits back.

#include <cstddef>
#include <string>
#include <vector>

#include "catalogue/history.h"

namespace tessaron::tool {

/// Such as "edit 6 (remove, 2026-11-22 03:41:16)".
std::string nameOf(const PastEdit& edit);

/// Takes back the last `count` edits of a collection, or with `redo` the last undos: all of them in
/// one step, or none. Fails as `changeCollection` does, and with kFailed when there are fewer or an
/// item is not as they left it. A trial prints what would change. Returns them, the latest first.
std::vector<PastEdit> takeBack(const std::string& path, std::size_t count, bool redo);

}  // namespace tessaron::tool
