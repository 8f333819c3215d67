#include "support/pictures/loading.h"

#include <tiffio.h>

#include <algorithm>
#include <cstdarg>
#include <functional>
#include <memory>
#include <mutex>
#include <new>
#include <optional>
#include <system_error>
#include <vector>

#include "support/pictures/bitmap_file.h"
#include "support/pictures/jpeg_scale_internal.h"
#include "support/pictures/picture_format_internal.h"
#include "support/pictures/picture_memory_internal.h"
#include "support/pictures/picture_source_internal.h"
#include "support/pictures/targa_file.h"
#include "support/pictures/tiff_file_internal.h"

namespace tessaron {
namespace {

// Silences libtiff on this thread. libtiff's handlers are global: those of other threads keep
// getting their messages.
class QuietTiff {
 public:
  QuietTiff() : before_(quiet) {
    static std::once_flag once;
    std::call_once(once, [] {
      onError = TIFFSetErrorHandler(forwardError);
      onWarning = TIFFSetWarningHandler(forwardWarning);
    });
    quiet = true;
  }
  ~QuietTiff() { quiet = before_; }
  QuietTiff(const QuietTiff&) = delete;
  QuietTiff& operator=(const QuietTiff&) = delete;

 private:
  static void forwardError(const char* module, const char* format, std::va_list arguments) {
    if (!quiet && onError) onError(module, format, arguments);
  }
  static void forwardWarning(const char* module, const char* format, std::va_list arguments) {
    if (!quiet && onWarning) onWarning(module, format, arguments);
  }

  static thread_local bool quiet;
  static TIFFErrorHandler onError, onWarning;
  bool before_;
};
thread_local bool QuietTiff::quiet = false;
TIFFErrorHandler QuietTiff::onError = nullptr, QuietTiff::onWarning = nullptr;

// A picture that may be decoded: what FreeImage is to see of it, and as what.
struct Prepared {
  FREE_IMAGE_FORMAT format;
  PictureView view;
  PictureMeasures measures;
  std::uint64_t memory = 0;  // bytes that decoding takes
  // Makes of a whole compressed file, which FreeImage fails at, a plain one for the view; it may be
  // empty.
  std::function<std::vector<std::byte>(std::span<const std::byte>)> unpack;
};

std::uint64_t pixelBytes(const PictureMeasures& measures) {
  return (std::uint64_t{measures.width} * measures.bits + 31) / 32 * 4 * measures.height;
}

PictureView wholeView(PictureSource& source) {
  PictureView view(source);
  view.addRange(0, source.size());
  return view;
}

std::optional<Prepared> prepare(FREE_IMAGE_FORMAT format, PictureView view,
                                const PictureMeasures& measures) {
  return Prepared{format, std::move(view), measures, pixelBytes(measures), {}};
}

// Lets FreeImage read the header, for formats of which it then reads little else.
std::optional<Prepared> prepareByHeader(FREE_IMAGE_FORMAT format, PictureView view) {
  const Bitmap bitmap = view.load(format, FIF_LOAD_NOPIXELS);
  if (!bitmap) return std::nullopt;
  constexpr double kCentimeters = 100;  // a meter
  const PictureMeasures measures{FreeImage_GetWidth(bitmap.get()),
                                 FreeImage_GetHeight(bitmap.get()), FreeImage_GetBPP(bitmap.get()),
                                 FreeImage_GetDotsPerMeterX(bitmap.get()) / kCentimeters,
                                 FreeImage_GetDotsPerMeterY(bitmap.get()) / kCentimeters};
  return prepare(format, std::move(view), measures);
}

// Has the file decoded by `unpack` before FreeImage sees it.
template <typename Unpack>
void unpackFirst(Prepared& prepared, const PictureSource& source, std::uint64_t pixels,
                 Unpack unpack) {
  prepared.memory = 2 * pixels + source.size();
  prepared.unpack = std::move(unpack);
}

std::optional<Prepared> prepareTiff(PictureSource& source) {
  const std::optional<TiffFile> tiff = TiffFile::read(source);
  if (!tiff || !tiff->holdsPixels()) return std::nullopt;
  return Prepared{FIF_TIFF, tiff->view(source), tiff->measures(), tiff->memory(), {}};
}

std::optional<Prepared> preparePng(PictureSource& source, std::uint64_t offset) {
  std::optional<PictureView> view = pngView(source, offset);
  if (!view) return std::nullopt;
  return prepareByHeader(FIF_PNG, std::move(*view));
}

std::optional<Prepared> prepareIcon(PictureSource& source) {
  const std::optional<IconFrame> frame = firstIconFrame(source);
  if (!frame) return std::nullopt;
  if (frame->isPng) return preparePng(source, frame->offset);
  return prepare(FIF_ICO, wholeView(source), frame->measures);
}

std::optional<Prepared> prepareWebp(PictureSource& source) {
  if (source.size() > kMaxUnmeasuredBytes) return std::nullopt;  // FreeImage reads all of it
  std::optional<Prepared> prepared = prepareByHeader(FIF_WEBP, wholeView(source));
  if (prepared) prepared->memory = 2 * prepared->memory + source.size();
  return prepared;
}

std::optional<Prepared> prepareBitmap(PictureSource& source) {
  const std::optional<BitmapHeader> header = readBitmapHeader(source.head());
  if (!header || !header->fits(source.size())) return std::nullopt;
  PictureView view(source);
  if (header->isCommon(source.size())) {
    view.addRange(0, source.size());
  } else {
    view.addBytes(plainBitmapHead(*header, source.head()));
    const std::uint64_t pixels = std::min(header->pixelBytes(), source.size() - header->pixelsAt);
    if (!header->isCompressed()) view.addRange(header->pixelsAt, pixels);
  }
  std::optional<Prepared> prepared = prepareByHeader(FIF_BMP, std::move(view));
  if (prepared && header->isCompressed())
    unpackFirst(*prepared, source, header->pixelBytes(),
                [header = *header](auto file) { return plainBitmap(header, file); });
  return prepared;
}

std::optional<Prepared> prepareGif(PictureSource& source) {
  const std::optional<PictureMeasures> measures = measureGif(source);
  if (!measures) return std::nullopt;
  return prepare(FIF_GIF, wholeView(source), *measures);
}

std::optional<Prepared> prepareTarga(PictureSource& source) {
  const std::optional<TargaHeader> header = readTargaHeader(source.head());
  if (!header || !header->fits(source.size())) return std::nullopt;
  PictureView view(source);
  view.addBytes(plainTargaHead(*header));
  view.addRange(header->paletteAt, header->paletteBytes());
  if (!header->isCompressed) view.addRange(header->pixelsAt, header->pixelBytes());
  view.addBytes(std::vector<std::byte>(kTargaEnd));
  std::optional<Prepared> prepared = prepareByHeader(FIF_TARGA, std::move(view));
  if (prepared && header->isCompressed)
    unpackFirst(*prepared, source, header->pixelBytes(),
                [header = *header](auto file) { return plainTarga(header, file); });
  return prepared;
}

std::optional<Prepared> prepare(PictureSource& source) {
  switch (formatOf(source.head())) {
    case FIF_TIFF:
      return prepareTiff(source);
    case FIF_PNG:
      return preparePng(source, 0);
    case FIF_GIF:
      return prepareGif(source);
    case FIF_ICO:
      return prepareIcon(source);
    case FIF_BMP:
      return prepareBitmap(source);
    case FIF_WEBP:
      return prepareWebp(source);
    case FIF_TARGA:
      return prepareTarga(source);
    default:
      return std::nullopt;
  }
}

// As above, for a picture whose header claims no more than the file can hold, and no more than the
// memory for pictures.
std::optional<Prepared> prepareChecked(PictureSource& source) {
  constexpr std::uint64_t kMaxFileBytes = std::uint64_t{1} << 30;
  if (source.size() > kMaxFileBytes) return std::nullopt;
  std::optional<Prepared> prepared = prepare(source);
  if (!prepared || prepared->memory > kMaxPictureBytes) return std::nullopt;
  const bool isHeld =
      prepared->format == FIF_TIFF ||  // has checked that itself
      pixelBytes(prepared->measures) / maxExpansion(prepared->format) <= source.size();
  return isHeld ? std::move(prepared) : std::nullopt;
}

// Replaces the view of a compressed picture by the decoded one.
bool unpack(PictureSource& source, Prepared& prepared) {
  const auto bytes = source.bytes(0, static_cast<std::size_t>(source.size()));
  if (bytes.size() < source.size()) return false;
  std::vector<std::byte> plain = prepared.unpack(bytes);
  if (plain.empty()) return false;
  prepared.view = PictureView(source);
  prepared.view.addBytes(std::move(plain));
  return true;
}

bool load(PictureSource& source, fipImage& picture) {
  if (formatOf(source.head()) == FIF_JPEG) return loadJpeg(source, picture);
  const QuietTiff quiet;
  std::optional<Prepared> prepared = prepareChecked(source);
  if (!prepared) return false;
  const PictureMemory memory(prepared->memory);
  if (!memory.isGranted()) return false;
  if (prepared->unpack && !unpack(source, *prepared)) return false;
  Bitmap bitmap = prepared->view.load(prepared->format, 0);
  if (!bitmap) return false;
  picture = bitmap.release();
  return true;
}

bool measure(PictureSource& source, PictureMeasures& measures) {
  if (formatOf(source.head()) == FIF_JPEG) return measureWholeJpeg(source, measures);
  const QuietTiff quiet;
  const std::optional<Prepared> prepared = prepareChecked(source);
  if (!prepared) return false;
  measures = prepared->measures;
  return true;
}

// Calls `read` with a source made of `from`. Running out of memory costs this picture alone.
template <typename Read, typename... From>
bool tryRead(const Read& read, From&&... from) {
  try {
    PictureSource source(from...);
    return read(source);
  } catch (const std::bad_alloc&) {
    return false;
  }
}

}  // namespace

PictureMeasures measuresOf(const fipImage& picture) {
  return {picture.getWidth(), picture.getHeight(), picture.getBitsPerPixel(),
          picture.getHorizontalResolution(), picture.getVerticalResolution()};
}

bool loadPicture(std::span<const std::byte> bytes, fipImage& picture) {
  return tryRead([&](PictureSource& source) { return load(source, picture); }, bytes);
}

bool loadPicture(File& file, std::uint64_t size, fipImage& picture) {
  return tryRead([&](PictureSource& source) { return load(source, picture); }, file, size);
}

bool loadPicture(const std::u16string& path, fipImage& picture) {
  std::error_code error;
  const std::unique_ptr<File> file = openFile(path, {}, error);
  return file && loadPicture(*file, file->size().value_or(0), picture);
}

bool measurePicture(File& file, std::uint64_t size, PictureMeasures& measures) {
  return tryRead([&](PictureSource& source) { return measure(source, measures); }, file, size);
}

}  // namespace tessaron
