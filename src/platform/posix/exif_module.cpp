#include "platform/posix/exif_module.h"

#include <exiv2/error.hpp>
#include <exiv2/exif.hpp>
#include <vector>

namespace {

void readExif(const std::byte* tiff, std::size_t size, TessaronExifFound found, void* context) {
  Exiv2::ExifData data;
  Exiv2::ExifParser::decode(data, reinterpret_cast<const Exiv2::byte*>(tiff),
                            static_cast<std::uint32_t>(size));
  std::vector<std::byte> value;
  for (const Exiv2::Exifdatum& datum : data) {
    value.resize(static_cast<std::size_t>(datum.size()));
    datum.copy(reinterpret_cast<Exiv2::byte*>(value.data()), Exiv2::littleEndian);
    found(context, datum.tag(), static_cast<std::uint16_t>(datum.typeId()), value.data(),
          value.size());
  }
}

}  // namespace

extern "C" __attribute__((visibility("default"))) void tessaronReadExif(const std::byte* tiff,
                                                                        std::size_t size,
                                                                        TessaronExifFound found,
                                                                        void* context) {
  static const bool silent = (Exiv2::LogMsg::setLevel(Exiv2::LogMsg::mute), true);
  static_cast<void>(silent);
  try {
    readExif(tiff, size, found, context);
  } catch (const Exiv2::AnyError&) {
    // Entries before the error were reported.
  }
}

static_assert(std::is_same_v<decltype(&tessaronReadExif), TessaronReadExif>);
