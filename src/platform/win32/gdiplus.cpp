#include "platform/gdiplus.h"

namespace tessaron {

bool encodeBitmap(Gdiplus::Bitmap& bitmap, const CLSID& encoder, std::string& bytes) {
  IStream* stream = nullptr;
  HGLOBAL memory = nullptr;
  if (CreateStreamOnHGlobal(nullptr, TRUE, &stream) != S_OK) return false;
  STATSTG about{};
  const bool isDone = bitmap.Save(stream, &encoder, nullptr) == Gdiplus::Ok &&
                      stream->Stat(&about, STATFLAG_NONAME) == S_OK &&
                      GetHGlobalFromStream(stream, &memory) == S_OK;
  const void* const content = isDone ? GlobalLock(memory) : nullptr;
  if (content)
    bytes.assign(static_cast<const char*>(content),
                 static_cast<std::size_t>(about.cbSize.QuadPart));
  if (content) GlobalUnlock(memory);
  stream->Release();
  return static_cast<bool>(content);
}

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
