#pragma once

#include <cstdint>

#include "tessaron_export.h"

/// Tells an application whether it is running already: as long as one of these is there, in
/// whichever process, others of the same name find it. It goes with its process, also when that is
/// killed.
class TESSARON_API CLimitSingleInstance {
 public:
  std::uint32_t m_dwLastError = 0;  ///< the system's code when the mutex was made
  void* m_hMutex = nullptr;         ///< null when there is none

  /// Opens the mutex of that name, or makes it. The name is taken as it is. On Windows it may name
  /// a namespace ("Local\", "Global\"); any other backslash is an error.
  explicit CLimitSingleInstance(const char16_t* name);
  /// Closes the mutex.
  ~CLimitSingleInstance();
  // QUIRK: a copy shares the mutex, and whichever goes first closes it for both. It looks as if it
  // lacked a count. Kept: applications keep one guard, and a copy of it guards no longer.
  CLimitSingleInstance(const CLimitSingleInstance& other);
  CLimitSingleInstance& operator=(const CLimitSingleInstance& other);

  /// Whether the mutex was there before. False, too, when it could not be made.
  bool IsAnotherInstanceRunning() const;
};
