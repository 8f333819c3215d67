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

namespace tessaron {
class File;
}

/// The description of one file. A record describes one file: a second `fromFile` replaces the
/// single facts and adds to the maps, and to the stream lists.
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

  CFileInfo();
  CFileInfo(const CFileInfo&);
  CFileInfo(CFileInfo&&) noexcept;
  CFileInfo& operator=(const CFileInfo&);
  CFileInfo& operator=(CFileInfo&&) noexcept;
  ~CFileInfo();

  /// Stores the categories that `fromFile` may detect; any number is taken.
  void setDetectType(std::int32_t mask);

  /// Describes the file at `filePath`: name, category, size, times, attributes, and for pictures,
  /// audio and video what their readers find. False when the path has no separator ("\\", on Linux
  /// also "/"), when the file cannot be opened, and for what is no plain file (on Linux a pipe or a
  /// device is not even opened); what was found before that stays. True also where a reader failed.
  virtual bool fromFile(const std::u16string& filePath);
  /// Does nothing. Always false.
  virtual bool fromElem(TiXmlElement* elem);
  /// Appends the description's children to `elem`. Always false, also after success.
  virtual bool toElem(TiXmlElement* elem);

 protected:
  /// Reads what needs the open file: a picture's thumbnail and measures, the streams of a video.
  /// Always false.
  virtual bool fromFileHandle(tessaron::File& file);
  /// Tells of a picture what `fromFileHandle` tells, from its header alone and without a thumbnail:
  /// for those who override that, and have no use for thumbnails. A fault behind the header is not
  /// seen.
  void measurePicture(tessaron::File& file);
  /// Reads what its readers find by name: streams, tags, picture properties. Always true.
  virtual bool fromFilePostProcess();
};
