#pragma once

#include <tinyxml.h>

#include <cstdint>
#include <string>
#include <vector>

#include "mediainfo/file_info.h"
#include "tessaron_export.h"

/// The description of one folder: the plain files directly in it. One thread at a time may use it.
class TESSARON_API CFolderInfo {
 public:
  std::int32_t id = 0;
  std::int32_t parentId = -1;
  std::u16string path;
  std::vector<CFileInfo> files;  ///< in the order of the directory enumeration

  CFolderInfo();
  CFolderInfo(const CFolderInfo&);
  CFolderInfo(CFolderInfo&&) noexcept;
  CFolderInfo& operator=(const CFolderInfo&);
  CFolderInfo& operator=(CFolderInfo&&) noexcept;
  ~CFolderInfo();

  /// Describes the plain files directly in a folder; what cannot be read is left out. Always false,
  /// also after success.
  virtual bool fromFolder(const std::u16string& folderPath);
  /// Does nothing. Always true.
  virtual bool fromElem(TiXmlElement* elem);
  /// Sets the attributes "ID" and "ParentID" and appends one "File" element per file. Always true,
  /// but for an unreadable pointer.
  virtual bool toElem(TiXmlElement* elem);
};
