#pragma once

#include "platform/interruption.h"

namespace tessaron::tool {

/// Ends a verb that was interrupted, after it has put away what it had begun: `endInterrupted` then
/// ends the process.
struct Interrupted {
  int caught;
};

/// While it lives, an interruption does not end the process but makes `check` throw. One at a time,
/// on the main thread.
class InterruptionGuard {
 public:
  /// Throws Interrupted after an interruption.
  static void check() {
    if (const int caught = InterruptionWatch::caught()) throw Interrupted{caught};
  }

 private:
  InterruptionWatch watch_;
};

}  // namespace tessaron::tool
