#pragma once

#include <tinyxml.h>

#include <cstdint>
#include <string>
#include <vector>

#include "tessaron_export.h"

/// A kind of slot on a scheme's shelf: its picture, and the rectangle of the cover in it. A value:
/// each thread may use its own.
struct TESSARON_API SchemeGroup {
  std::u16string name;
  std::u16string image;       ///< file name
  std::int32_t olx = 0;       ///< pixels from the picture's left edge
  std::int32_t oly = 0;       ///< pixels from its upper edge
  std::int32_t olwidth = 0;   ///< pixels
  std::int32_t olheight = 0;  ///< pixels

  SchemeGroup();
  SchemeGroup(const SchemeGroup&);
  SchemeGroup(SchemeGroup&&) noexcept;
  SchemeGroup& operator=(const SchemeGroup&);
  SchemeGroup& operator=(SchemeGroup&&) noexcept;
  ~SchemeGroup();
};

/// One way in which a theme shows items: the frames of two templates, and a shelf with its slots.
/// File names are taken from the package unchecked; the files may be missing. A value: each thread
/// may use its own.
class TESSARON_API CThemeScheme {
 public:
  std::u16string name;
  std::u16string screenshot;         ///< file name of a preview
  std::u16string fullFrameTemplate;  ///< file name
  std::u16string wideFrameTemplate;  ///< file name
  std::u16string background;         ///< file name of the shelf's background
  std::int32_t uwidth = 0;           ///< width of a shelf unit in pixels
  std::int32_t uheight = 0;
  std::int32_t uhspace = 0;  ///< pixels between two units side by side
  std::int32_t uvspace = 0;
  std::vector<SchemeGroup> groups;  ///< in document order

  CThemeScheme(const CThemeScheme&);
  CThemeScheme(CThemeScheme&&) noexcept;
  CThemeScheme& operator=(const CThemeScheme&);
  CThemeScheme& operator=(CThemeScheme&&) noexcept;
  ~CThemeScheme();

  /// Reads a scheme from its element. Missing attributes, and all of an unreadable pointer, are
  /// empty or 0.
  explicit CThemeScheme(TiXmlElement* scheme);
};
