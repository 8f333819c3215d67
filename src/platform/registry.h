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

/// An open key. All operations return an error code of the system, 0 for success. Names are
/// NUL-terminated and compare without regard to case; a null name counts as empty. A failure leaves
/// out-parameters untouched unless stated otherwise.
///
/// The values of a key are numbered from 0 in a fixed order (elsewhere than on Windows: that of
/// their first writing); deleting one moves the later ones down.
///
/// Several processes and threads may use the store at once. One object is for one thread at a time;
/// objects that share a key or the store need no guard. An operation that waits longer than ten
/// seconds for others gives up with ERROR_BUSY.
///
/// Elsewhere than on Windows an empty file counts as a missing one. ERROR_BADDB: the file is
/// damaged; ERROR_NOT_REGISTRY_FILE: it is no store; ERROR_REVISION_MISMATCH: a newer version wrote
/// it; ERROR_REGISTRY_IO_FAILED: it could not be read or written, which says nothing about its
/// content. Such a file is neither changed nor renamed, except that Create quarantines a damaged
/// one, which it finds damaged twice without a failed read, and makes a new store.
class TESSARON_API CRegKey {
 public:
  mutable HKEY m_hKey = nullptr;  ///< null when closed

  CRegKey();
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

/// Bounds a sequence of operations: while it exists, all operations of the thread that made it wait
/// ten seconds altogether; later ones fail with ERROR_BUSY instead of waiting. Nested ones change
/// nothing; on Windows none do.
class TESSARON_API RegistryDeadline {
 public:
  RegistryDeadline();
  ~RegistryDeadline();
  RegistryDeadline(const RegistryDeadline&) = delete;
  RegistryDeadline& operator=(const RegistryDeadline&) = delete;
};

/// A transaction over all keys of the store: `end` commits everything that this thread has written,
/// destruction without it rolls back. Meanwhile other threads wait to read and write, other
/// processes to write. For the thread that made it alone. Inside another batch and for a closed key
/// it does nothing. On Windows every value is written at once.
class TESSARON_API RegistryBatch {
 public:
  enum class Mode {
    Write,
    Read,  ///< a consistent view of the store, in which nothing has to wait; not to be written to
  };
  explicit RegistryBatch(const CRegKey& key, Mode mode = Mode::Write);
  ~RegistryBatch();
  RegistryBatch(const RegistryBatch&) = delete;
  RegistryBatch& operator=(const RegistryBatch&) = delete;

  /// An error code: not 0 when the transaction could not begin.
  std::int32_t code() const { return code_; }
  /// Commits. An error code: not 0 when nothing was written.
  std::int32_t end();

 private:
  std::shared_ptr<void> transaction_;
  std::int32_t code_ = ERROR_SUCCESS;
};

/// Where the settings are stored, for messages: the file's path, on Windows the registry's root.
TESSARON_API std::u16string storeName();

/// The new path of a damaged file that Create has quarantined since the last call; empty for none,
/// and always on Windows.
TESSARON_API std::u16string takeQuarantinedStore();

}  // namespace tessaron
