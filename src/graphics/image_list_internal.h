#pragma once

namespace tessaron {

/// Makes all CImageListEx keep alpha channels while `*flag` is true; not owned. The settings hand
/// down their own flag; before that it counts as false.
void followAlphaFlag(const bool* flag);

}  // namespace tessaron
