#pragma once

namespace tessaron {

/// Makes every CImageListEx keep alpha channels while `*flag` is true. `flag` is not owned and must
/// live as long as lists are filled; without one alpha channels are dropped. Any thread may call
/// this; `*flag` itself must not change while another thread fills a list.
void followAlphaFlag(const bool* flag);

}  // namespace tessaron
