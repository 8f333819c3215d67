#pragma once

#include "tessaron_export.h"

namespace tessaron {

/// While it lives, an interruption does not end the process, but is remembered: SIGINT, SIGTERM and
/// SIGHUP, except for those that the program's caller ignores; on Windows Ctrl+C, Ctrl+Break and
/// the closing of the console. One at a time, on the main thread; any thread may call `caught`.
class TESSARON_API InterruptionWatch {
 public:
  InterruptionWatch();
  ~InterruptionWatch();
  InterruptionWatch(const InterruptionWatch&) = delete;
  InterruptionWatch& operator=(const InterruptionWatch&) = delete;

  /// The number of the signal, on Windows of the event plus one; 0 as long as there was none.
  static int caught();

 private:
  struct State;
  State* state_;
};

/// Ends the process as the interruption does when nobody watches for it. To be called without a
/// watch.
[[noreturn]] TESSARON_API void endInterrupted(int caught);

}  // namespace tessaron
