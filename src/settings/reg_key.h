#pragma once

#include <cstdint>
#include <map>
#include <set>
#include <string>
#include <vector>

#include "platform/registry.h"
#include "tessaron_export.h"

/// Lists of texts by name; each list is sorted and holds a text once.
using StringSetMap = std::map<std::u16string, std::set<std::u16string>>;

/// An open key with typed values. Every operation gives an error code of the system: 0 for success,
/// 2 when there is no such value, 13 (ERROR_INVALID_DATA) when it is of another type or its data
/// is malformed, or what else the registry says. A read that fails leaves its target as it was.
/// Names are NUL-terminated. What is written is taken by reference but never changed. For one
/// thread at a time; several threads may work with objects of their own on the same keys.
class TESSARON_API CRegKeyEx : public CRegKey {
 public:
  CRegKeyEx();
  CRegKeyEx(const CRegKeyEx&);
  CRegKeyEx& operator=(const CRegKeyEx&);
  ~CRegKeyEx();

  /// REG_DWORD; any number but 0 is true.
  std::int32_t QueryBoolValueEx(const char16_t* name, bool& value);
  std::int32_t SetBoolValueEx(const char16_t* name, bool& value);

  /// REG_DWORD. Of a value that is shorter the missing bytes count as zero; a longer one gives
  /// ERROR_MORE_DATA.
  std::int32_t QueryIntValueEx(const char16_t* name, int& value);
  std::int32_t SetIntValueEx(const char16_t* name, int& value);
  /// The same with numbers from 0 to 4294967295; higher bits are not written.
  std::int32_t QueryDWORDValueEx(const char16_t* name, unsigned long& value);
  std::int32_t SetDWORDValueEx(const char16_t* name, unsigned long& value);

  /// REG_SZ with its terminating zero unit, up to which the text is written; REG_EXPAND_SZ is read
  /// as it stands, too. The text that is read ends at its first zero unit. 13 when the value ends
  /// within a unit or without a zero unit.
  std::int32_t QueryStringValueEx(const char16_t* name, std::u16string& value);
  std::int32_t SetStringValueEx(const char16_t* name, std::u16string& value);

  /// REG_BINARY, a byte for each flag; any byte but 0 is true. The vector tells how many flags
  /// there are to be: a value of another length is ignored, with success.
  std::int32_t QueryVectorBoolValueEx(const char16_t* name, std::vector<bool>& value);
  std::int32_t SetVectorBoolValueEx(const char16_t* name, std::vector<bool>& value);

  /// REG_MULTI_SZ: texts, each with its zero unit, and one more. What is read is added behind what
  /// the vector holds. 13 when the value ends within a unit or without two zero units.
  /// Empty texts are neither read nor written; a vector without any other text writes nothing at
  /// all, so that an older value stays.
  std::int32_t QueryVectorStringValueEx(const char16_t* name, std::vector<std::u16string>& value);
  std::int32_t SetVectorStringValueEx(const char16_t* name, std::vector<std::u16string>& value);

  /// Adds the texts of one REG_MULTI_SZ to the set of that name, which is made if there is none.
  std::int32_t QueryMapStringValueEx(StringSetMap& value, std::u16string name);
  /// Adds those of every value of the key. Values that cannot be read are passed over, as are those
  /// with names of 16383 units. The code is that of the last name that was asked for, 0 when the
  /// key has no values.
  std::int32_t QueryMapStringValueEx(StringSetMap& value);
  /// Writes every set under its name. Always 0. Values that the map does not name stay, as do those
  /// whose set holds nothing but an empty text.
  std::int32_t SetMapStringValueEx(StringSetMap& value);

  /// REG_BINARY of 16 bytes: left, top, right, bottom, little-endian. A value of another length is
  /// ignored, with success.
  std::int32_t QueryWTLCRectValueEx(const char16_t* name, CRect& value);
  std::int32_t SetWTLCRectValueEx(const char16_t* name, CRect& value);

  /// Deletes every second value: the first, the third and so on, in their order. The code is that
  /// of the last name that was asked for: 259 when there were two or more, 0 when there were none.
  std::int32_t RemoveAllValues();
};
