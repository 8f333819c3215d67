#pragma once

#include <tinyxml.h>

#include <array>
#include <cstdint>
#include <string>
#include <vector>

#include "mediainfo/property_map.h"
#include "platform/picture.h"
#include "platform/types.h"
#include "tessaron_export.h"

/// The description of one file.
class TESSARON_API CFileInfo {
 public:
  std::u16string path;
  std::u16string name;            ///< with the extension
  std::u16string extension;       ///< without the full stop
  std::u16string ownerText;       ///< the owner's; neither filled nor written here
  std::int32_t category = 0;      ///< one category bit; 1 is "other", 0 not read yet
  std::int32_t detectMask = 127;  ///< sum of the categories that may be detected
  std::uint32_t sizeLow = 0;
  std::uint32_t sizeHigh = 0;
  FILETIME creationTime{};
  FILETIME lastWriteTime{};
  std::uint32_t attributes = 0;  ///< attribute bits as Windows numbers them
  std::uint32_t encryptionStatus = 0;
  std::array<std::uint8_t, 16> checksum{};  ///< the owner's; never computed here
  std::u16string digest;                    ///< the owner's; never computed here
  PropertyMap info;
  PropertyMap metaInfo;
  StreamList audioStreams;
  StreamList videoStreams;
  std::vector<fipWinImage> thumbnails;

  virtual bool fromElem(TiXmlElement* elem);
  /// Appends the description's children to `elem`. Always false, also after success.
  virtual bool toElem(TiXmlElement* elem);
};
