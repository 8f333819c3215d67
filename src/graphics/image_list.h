#pragma once

#include <string>
#include <vector>

#include "platform/image_list.h"
#include "tessaron_export.h"

/// Fills an image list with a strip of images and with images from files, each scaled to the list's
/// image size.
///
/// The list is not owned; a copy fills the same one. What cannot be read adds nothing. One thread
/// at a time per list; different lists may be filled by different threads.
///
/// While the flag `has32BitDisplay` of the application's settings (`_Config`) is on, pictures and
/// strips keep their alpha channel; otherwise their magenta pixels become transparent. Do not
/// change the flag while another thread fills a list.
class TESSARON_API CImageListEx {
 public:
  HIMAGELIST imageList;  ///< not owned

  explicit CImageListEx(HIMAGELIST list = nullptr);
  CImageListEx(const CImageListEx&);
  CImageListEx& operator=(const CImageListEx&);
  ~CImageListEx();

  /// Empties the list, then adds one of the library's strips (102, 103, 104), then every file whose
  /// path ends in "ico" (as InsertIconEx), "bmp" or "png" (as InsertImageEx), ignoring case. Skips
  /// other files and an unknown bitmap.
  void Reload(ATL::_U_STRINGorID bitmap, const std::vector<std::u16string>& files);

  /// Appends the icon in a file. `index` is ignored.
  void InsertIconEx(const std::u16string& path, int index);

  /// Appends a picture in any format that FreeImage reads, stretched to the list's image size.
  /// `index` is ignored.
  void InsertImageEx(const std::u16string& path, int index);
};
