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

/// The description of one file. A second `fromFile` replaces the single facts and adds to the maps
/// and to the stream lists. One thread at a time may use a record; threads may fill different ones.
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
  /// also "/"), when the file cannot be opened, and when it is no plain file (on Linux a pipe or a
  /// device is not even opened); what was found before that stays. True also when a reader failed.
  virtual bool fromFile(const std::u16string& filePath);
  /// Does nothing. Always false.
  virtual bool fromElem(TiXmlElement* elem);
  /// Appends the description's children to `elem`. Always false, also after success.
  virtual bool toElem(TiXmlElement* elem);

 protected:
  /// Reads what needs the open file: a picture's thumbnail and measures, the streams of a video.
  /// Always false.
  virtual bool fromFileHandle(tessaron::File& file);
  /// Describes a picture as `fromFileHandle` does, but from its header alone and without a
  /// thumbnail: for classes that override it and need no thumbnails. Does not notice damage behind
  /// the header.
  void measurePicture(tessaron::File& file);
  /// Reads what needs the file's path: streams, tags, picture properties. Always true.
  virtual bool fromFilePostProcess();
};
