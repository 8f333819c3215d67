#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "mediainfo/property_map.h"
#include "platform/file.h"

namespace tessaron {

/// What a picture's header tells; 0 and empty where it tells nothing.
struct PictureContent {
  std::uint32_t width = 0;  ///< pixels, before it is turned
  std::uint32_t height = 0;
  std::uint32_t bits = 0;           ///< a pixel
  std::uint32_t componentBits = 0;  ///< a color component, where `bits` is unknown
  std::uint32_t frames = 0;         ///< of an animation
  double across = 0;                ///< dots per inch
  double down = 0;
  int rotation = 0;  ///< degrees clockwise that it is to be turned by
  bool isHdr = false;
  std::string exif;  ///< an embedded TIFF file
  std::string xmp;   ///< an XML document
  std::string iptc;  ///< records of IPTC
  PropertyMap texts;
};

/// Describes a picture of any kind that `findContentKind` gives to this reader, from its header.
/// Reads a bounded part of the file. A damaged picture gives what was found before the damage.
PictureContent readPictureContent(File& file);

/// Describes an SVG drawing from the beginning of its document.
PictureContent readSvgContent(File& file);

/// Adds what an XMP packet and IPTC records tell: title, description, keywords, author, rating,
/// date, and the place when `wantsLocation`. Entries that are there stay as they are.
void addXmp(std::string_view packet, bool wantsLocation, PropertyMap& map);
void addIptc(std::string_view records, PropertyMap& map);

}  // namespace tessaron
