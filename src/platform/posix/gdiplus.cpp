#include "platform/gdiplus.h"

#include <dlfcn.h>

#include <fstream>
#include <mutex>
#include <string>
#include <type_traits>

#include "platform/posix/native_path.h"

// The flat functions in use: name and arguments. All of them give a status.
#define FLAT_FUNCTIONS(F)                                                                       \
  F(GdipGetImageEncodersSize, (unsigned*, unsigned*))                                           \
  F(GdipGetImageEncoders, (unsigned, unsigned, ImageCodecInfo*))                                \
  F(GdipCreateBitmapFromScan0, (int, int, int stride, int format, std::uint8_t*, GpImage**))    \
  F(GdipDisposeImage, (GpImage*))                                                               \
  F(GdipGetImageWidth, (GpImage*, unsigned*))                                                   \
  F(GdipGetImageHeight, (GpImage*, unsigned*))                                                  \
  F(GdipSaveImageToDelegate_linux, (GpImage*, void*, int (*)(std::uint8_t*, int), void*, void*, \
                                    void*, const CLSID*, const EncoderParameters*))             \
  F(GdipGetImageGraphicsContext, (GpImage*, GpGraphics**))                                      \
  F(GdipDeleteGraphics, (GpGraphics*))                                                          \
  F(GdipGraphicsClear, (GpGraphics*, std::uint32_t))                                            \
  F(GdipSetSmoothingMode, (GpGraphics*, SmoothingMode))                                         \
  F(GdipFillPieI, (GpGraphics*, GpBrush*, int, int, int, int, float, float))                    \
  F(GdipFillRectangleI, (GpGraphics*, GpBrush*, int, int, int, int))                            \
  F(GdipDrawString, (GpGraphics*, const char16_t*, int, const GpFont*, const RectF*,            \
                     const GpStringFormat*, const GpBrush*))                                    \
  F(GdipCreateSolidFill, (std::uint32_t, GpBrush**))                                            \
  F(GdipDeleteBrush, (GpBrush*))                                                                \
  F(GdipCreateFontFamilyFromName, (const char16_t*, void* collection, GpFontFamily**))          \
  F(GdipGetGenericFontFamilySansSerif, (GpFontFamily**))                                        \
  F(GdipDeleteFontFamily, (GpFontFamily*))                                                      \
  F(GdipCreateFont, (const GpFontFamily*, float, int, Unit, GpFont**))                          \
  F(GdipDeleteFont, (GpFont*))                                                                  \
  F(GdipCreateStringFormat, (int flags, int language, GpStringFormat**))                        \
  F(GdipDeleteStringFormat, (GpStringFormat*))                                                  \
  F(GdipSetStringFormatAlign, (GpStringFormat*, StringAlignment))                               \
  F(GdipSetStringFormatTrimming, (GpStringFormat*, StringTrimming))

namespace Gdiplus {
namespace {

struct StartupInput {
  std::uint32_t version = 1;
  void* debugCallback = nullptr;
  int suppressBackgroundThread = 0;
  int suppressExternalCodecs = 0;
};

struct Flat {
#define DECLARE(name, arguments) Status(*name) arguments = nullptr;
  FLAT_FUNCTIONS(DECLARE)
#undef DECLARE
  bool ready = false;
  mutable std::mutex mutex;

  // Not linked: libgdiplus brings thirty libraries along, and most programs never draw a chart.
  Flat() {
    void* library = dlopen("libgdiplus.so.0", RTLD_NOW | RTLD_LOCAL);
    if (!library) return;
    bool complete = true;
    const auto find = [&](auto& function, const char* name) {
      function =
          reinterpret_cast<std::remove_reference_t<decltype(function)>>(dlsym(library, name));
      complete = complete && function;
    };
    Status (*start)(std::uintptr_t*, const StartupInput*, void*) = nullptr;
    find(start, "GdiplusStartup");
#define FIND(name, arguments) find(name, #name);
    FLAT_FUNCTIONS(FIND)
#undef FIND
    std::uintptr_t token;
    const StartupInput input;
    ready = complete && start(&token, &input, nullptr) == Ok;
  }
};

const Flat& flat() {
  static const Flat functions;
  return functions;
}

/// Calls a flat function, if there is one. One thread at a time: the system's GDI+ lets every
/// thread work with its own objects, but libgdiplus shares fonts among them, unguarded.
template <typename... Parameters, typename... Arguments>
Status call(Status (*Flat::*function)(Parameters...), Arguments... arguments) {
  if (!flat().ready) return GdiplusNotInitialized;
  const std::lock_guard lock(flat().mutex);
  return (flat().*function)(arguments...);
}

}  // namespace

Status GetImageEncodersSize(unsigned* count, unsigned* bytes) {
  return call(&Flat::GdipGetImageEncodersSize, count, bytes);
}

Status GetImageEncoders(unsigned count, unsigned bytes, ImageCodecInfo* encoders) {
  return call(&Flat::GdipGetImageEncoders, count, bytes, encoders);
}

Bitmap::Bitmap(int width, int height, int format) {
  keep(call(&Flat::GdipCreateBitmapFromScan0, width, height, 0, format, nullptr, &native_));
}

Bitmap::~Bitmap() { call(&Flat::GdipDisposeImage, native_); }

unsigned Bitmap::GetWidth() {
  unsigned width = 0;
  keep(call(&Flat::GdipGetImageWidth, native_, &width));
  return width;
}

unsigned Bitmap::GetHeight() {
  unsigned height = 0;
  keep(call(&Flat::GdipGetImageHeight, native_, &height));
  return height;
}

Status Bitmap::Save(std::string& bytes, const CLSID* encoder, const EncoderParameters* parameters) {
  static thread_local std::string* taker;  // the function is told of no context
  const auto take = [](std::uint8_t* data, int size) {
    taker->append(reinterpret_cast<const char*>(data), static_cast<std::size_t>(size));
    return size;
  };
  bytes.clear();
  taker = &bytes;
  const Status status = call(&Flat::GdipSaveImageToDelegate_linux, native_, nullptr, +take, nullptr,
                             nullptr, nullptr, encoder, parameters);
  taker = nullptr;
  return keep(status);
}

// libgdiplus could write the file itself, but libpng tells of a full disk on standard error.
Status Bitmap::Save(const char16_t* path, const CLSID* encoder,
                    const EncoderParameters* parameters) {
  std::string bytes;
  if (const Status status = Save(bytes, encoder, parameters)) return status;
  std::ofstream file(tessaron::nativePath(path), std::ios::binary);
  file << bytes;
  file.close();
  return keep(file ? Ok : GenericError);
}

Brush::~Brush() { call(&Flat::GdipDeleteBrush, native_); }

SolidBrush::SolidBrush(const Color& color) {
  keep(call(&Flat::GdipCreateSolidFill, color.GetValue(), &native_));
}

FontFamily::FontFamily(const char16_t* name) {
  keep(call(&Flat::GdipCreateFontFamilyFromName, name, nullptr, &native_));
}

FontFamily::~FontFamily() { call(&Flat::GdipDeleteFontFamily, native_); }

const FontFamily* FontFamily::GenericSansSerif() {
  static const FontFamily* const family = [] {
    auto* made = new FontFamily;
    made->keep(call(&Flat::GdipGetGenericFontFamilySansSerif, &made->native_));
    return made;
  }();
  return family->IsAvailable() ? family : nullptr;
}

Font::Font(const FontFamily* family, float size, int style, Unit unit) {
  const GpFontFamily* native = family ? family->native_ : nullptr;
  keep(call(&Flat::GdipCreateFont, native, size, style, unit, &native_));
}

Font::~Font() { call(&Flat::GdipDeleteFont, native_); }

StringFormat::StringFormat() { keep(call(&Flat::GdipCreateStringFormat, 0, 0, &native_)); }

StringFormat::~StringFormat() { call(&Flat::GdipDeleteStringFormat, native_); }

Status StringFormat::SetAlignment(StringAlignment alignment) {
  return keep(call(&Flat::GdipSetStringFormatAlign, native_, alignment));
}

Status StringFormat::SetTrimming(StringTrimming trimming) {
  return keep(call(&Flat::GdipSetStringFormatTrimming, native_, trimming));
}

Graphics::Graphics(Bitmap* bitmap) {
  GpImage* image = bitmap ? bitmap->native_ : nullptr;
  keep(call(&Flat::GdipGetImageGraphicsContext, image, &native_));
}

Graphics::~Graphics() { call(&Flat::GdipDeleteGraphics, native_); }

Status Graphics::Clear(const Color& color) {
  return keep(call(&Flat::GdipGraphicsClear, native_, color.GetValue()));
}

Status Graphics::SetSmoothingMode(SmoothingMode mode) {
  return keep(call(&Flat::GdipSetSmoothingMode, native_, mode));
}

Status Graphics::FillPie(const Brush* brush, int x, int y, int width, int height, float start,
                         float sweep) {
  return keep(
      call(&Flat::GdipFillPieI, native_, brush->native_, x, y, width, height, start, sweep));
}

Status Graphics::FillRectangle(const Brush* brush, int x, int y, int width, int height) {
  return keep(call(&Flat::GdipFillRectangleI, native_, brush->native_, x, y, width, height));
}

Status Graphics::DrawString(const char16_t* text, int length, const Font* font, const RectF& box,
                            const StringFormat* format, const Brush* brush) {
  return keep(call(&Flat::GdipDrawString, native_, text, length, font->native_, &box,
                   format->native_, brush->native_));
}

}  // namespace Gdiplus

namespace tessaron {

bool encodeBitmap(Gdiplus::Bitmap& bitmap, const CLSID& encoder, std::string& bytes) {
  return bitmap.Save(bytes, &encoder, nullptr) == Gdiplus::Ok;
}

bool startGdiplus() { return Gdiplus::flat().ready; }

}  // namespace tessaron
