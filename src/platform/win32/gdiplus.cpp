#include "platform/gdiplus.h"

namespace tessaron {

bool startGdiplus() {
  // Never shut down: the application may still hold a canvas when the library goes.
  static const bool ready = [] {
    const Gdiplus::GdiplusStartupInput input;
    ULONG_PTR token;
    return Gdiplus::GdiplusStartup(&token, &input, nullptr) == Gdiplus::Ok;
  }();
  return ready;
}

}  // namespace tessaron
