#pragma once

#include <cstdint>
#include <map>
#include <string>

#include "tessaron_export.h"

/// Names of audio codecs by wave format tag. One thread at a time: a lookup may add to `names`.
class TESSARON_API CAudioFormatTagInfo {
 public:
  std::map<std::uint16_t, std::u16string> names;

  CAudioFormatTagInfo();  ///< with all the names there are
  CAudioFormatTagInfo(const CAudioFormatTagInfo&);
  CAudioFormatTagInfo(CAudioFormatTagInfo&&) noexcept;
  CAudioFormatTagInfo& operator=(const CAudioFormatTagInfo&);
  CAudioFormatTagInfo& operator=(CAudioFormatTagInfo&&) noexcept;
  ~CAudioFormatTagInfo();
  /// Sets `name` to the tag's name, or empties it. True when there is one. An unknown tag is added
  /// to `names`, without a name.
  bool getNameByFormatTag(std::uint16_t tag, std::u16string& name);
};

/// Names of video codecs by FourCC, whose first character is the lowest byte. Case matters. One
/// thread at a time: a lookup may add to `names`.
class TESSARON_API CFourCCInfo {
 public:
  std::map<std::uint32_t, std::u16string> names;

  CFourCCInfo();  ///< with all the names there are
  CFourCCInfo(const CFourCCInfo&);
  CFourCCInfo(CFourCCInfo&&) noexcept;
  CFourCCInfo& operator=(const CFourCCInfo&);
  CFourCCInfo& operator=(CFourCCInfo&&) noexcept;
  ~CFourCCInfo();
  /// Sets `name` to the code's name, or empties it. True when there is one. An unknown code is
  /// added to `names`, without a name.
  bool getNameByFourCC(std::uint32_t code, std::u16string& name);
};
