#pragma once

#include <cstdint>

#include "tessaron_export.h"

/// Tells an application whether it is running already: while one object exists, in any process,
/// those made later with the same name find it. The system closes it when its process dies. Any
/// thread may make one; an object is for one thread at a time.
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
