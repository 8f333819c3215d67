#pragma once

#include <string>
#include <vector>

#include "platform/image_list.h"
#include "tessaron_export.h"

/// Fills an image list with a strip of images and with further ones from files, each brought to the
/// list's image size.
///
/// The list stays its maker's: nothing here creates or destroys it, and a copy fills the same one.
/// What cannot be read adds nothing. For one thread at a time.
///
/// While the flag `has32BitDisplay` of the application's settings (`_Config`) is on, pictures and
/// strips keep their alpha channel; otherwise their magenta pixels become transparent.
class TESSARON_API CImageListEx {
 public:
  HIMAGELIST imageList;  ///< not owned

  explicit CImageListEx(HIMAGELIST list = nullptr);
  CImageListEx(const CImageListEx&);
  CImageListEx& operator=(const CImageListEx&);
  ~CImageListEx();

  /// Empties the list, then adds a strip among the library's bitmaps (102, 103, 104), then every
  /// file whose path ends in "ico" (as InsertIconEx) or in "bmp" or "png" (as InsertImageEx),
  /// whatever the case. Other files are skipped, as is a bitmap that the library does not have.
  void Reload(ATL::_U_STRINGorID bitmap, const std::vector<std::u16string>& files);

  /// Appends the icon in a file. `index` is not looked at.
  void InsertIconEx(const std::u16string& path, int index);

  /// Appends a picture in any format that FreeImage reads, stretched to the list's image size.
  /// `index` is not looked at.
  void InsertImageEx(const std::u16string& path, int index);
};
