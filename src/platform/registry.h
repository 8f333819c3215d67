#pragma once
// Typed, named values below hierarchical keys: on Windows the registry, elsewhere a store with the
// same rules in one file, `$TESSARON_SETTINGS` or else `$XDG_CONFIG_HOME/tessaron/settings.db`
// (with its usual default, `~/.config`).

#include <cstdint>
#include <memory>
#include <string>

#include "platform/types.h"
#include "tessaron_export.h"

#ifndef _WIN32
struct HKEY__;
using HKEY = HKEY__*;
/// The one root of the store.
inline const HKEY HKEY_CURRENT_USER = reinterpret_cast<HKEY>(std::uintptr_t{0x80000001});

inline constexpr std::uint32_t REG_SZ = 1;         ///< UTF-16 with a terminating zero unit
inline constexpr std::uint32_t REG_EXPAND_SZ = 2;  ///< the same, with references to the environment
inline constexpr std::uint32_t REG_BINARY = 3;
inline constexpr std::uint32_t REG_DWORD = 4;     ///< 32 bits, little-endian
inline constexpr std::uint32_t REG_MULTI_SZ = 7;  ///< such texts, and one more zero unit

inline constexpr std::uint32_t KEY_QUERY_VALUE = 0x1;
inline constexpr std::uint32_t KEY_SET_VALUE = 0x2;
inline constexpr std::uint32_t KEY_READ = 0x20019;
inline constexpr std::uint32_t KEY_WRITE = 0x20006;
#endif

/// An open key. All operations give an error code of the system, 0 for success; names end with a
/// zero unit and are compared without regard to case; a null name counts as an empty one. On any
/// failure what is to be filled stays as it was, unless told otherwise.
///
/// The values of a key are numbered from 0 in a fixed order (elsewhere than on Windows: that of
/// their first writing); deleting one moves the later ones down. Several processes may use a key at
/// once; one that waits longer than ten seconds for others gives up with ERROR_BUSY.
class TESSARON_API CRegKey {
 public:
  mutable HKEY m_hKey = nullptr;  ///< null when closed

  CRegKey() = default;
  /// Closes the key.
  ~CRegKey();
  // QUIRK: a copy takes the key away from its source. It looks like a move that hides in a copy.
  // Kept: no two objects ever hold the same key, and the settings hand theirs on that way.
  CRegKey(const CRegKey& other) noexcept;
  CRegKey& operator=(const CRegKey& other) noexcept;

  /// Opens the key `name` ("Outer\Inner") below `parent`, and only then closes what was open.
  /// ERROR_FILE_NOT_FOUND when there is none.
  std::int32_t Open(HKEY parent, const char16_t* name, std::uint32_t access = KEY_READ | KEY_WRITE);
  /// As Open; a key that is missing is made, and so are those on the way to it.
  std::int32_t Create(HKEY parent, const char16_t* name,
                      std::uint32_t access = KEY_READ | KEY_WRITE);
  std::int32_t Close();
  /// Deletes a key that has no keys below it, with its values.
  std::int32_t DeleteSubKey(const char16_t* name);

  /// Reads a value. `type` and `data` may be null. `bytes` holds the size of `data`, and then that
  /// of the value. ERROR_MORE_DATA, and also then type and size, when `data` is too small.
  std::int32_t QueryValue(const char16_t* name, std::uint32_t* type, void* data,
                          std::uint32_t* bytes) const;
  /// Reads a REG_SZ or REG_EXPAND_SZ as it stands. `units` holds the size of `text`, and then that
  /// of the value with its terminator; with a null `text` that is all that is told.
  /// ERROR_INVALID_DATA when it is of another type, ends within a unit or without a terminator;
  /// `text` has then been written to. A value of no bytes is an empty text of no units.
  std::int32_t QueryStringValue(const char16_t* name, char16_t* text, std::uint32_t* units) const;
  /// As QueryStringValue for a REG_MULTI_SZ, which must end with two zero units.
  /// ERROR_INSUFFICIENT_BUFFER when `text` has room for fewer than these.
  std::int32_t QueryMultiStringValue(const char16_t* name, char16_t* text,
                                     std::uint32_t* units) const;
  /// Writes a value as it is given, whatever its type asks for.
  std::int32_t SetValue(const char16_t* name, std::uint32_t type, const void* data,
                        std::uint32_t bytes);
  std::int32_t DeleteValue(const char16_t* name);

  std::int32_t CountValues(std::uint32_t& count) const;
  /// The name of the value at `index`. `units` holds the size of `name`, and then the length of the
  /// name without the terminator that it gets. ERROR_NO_MORE_ITEMS when there are no more values,
  /// ERROR_MORE_DATA when name and terminator do not fit.
  std::int32_t EnumValue(std::uint32_t index, char16_t* name, std::uint32_t* units) const;
};

namespace tessaron {

/// Collects what is written through all keys until it ends: the store then takes all of it in one
/// step, or nothing. Others wait meanwhile. On Windows every value is written at once, and this
/// does nothing; so it does inside another batch and for a closed key.
class TESSARON_API RegistryBatch {
 public:
  explicit RegistryBatch(const CRegKey& key);
  ~RegistryBatch();
  RegistryBatch(const RegistryBatch&) = delete;
  RegistryBatch& operator=(const RegistryBatch&) = delete;

  /// Ends the batch. An error code: not 0 when nothing was written.
  std::int32_t end();

 private:
  std::shared_ptr<void> store_;
};

/// Where the store had to set aside a damaged file since this was last asked; empty for nowhere,
/// and always on Windows. The defaults hold then.
TESSARON_API std::u16string takeSetAsideStore();

}  // namespace tessaron
