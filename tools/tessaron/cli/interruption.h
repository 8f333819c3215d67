#pragma once

#include <array>
#include <csignal>

namespace tessaron::tool {

/// Ends a verb that was interrupted, after it has put away what it had begun: `endByInterruption`
/// then ends the process as the signal does.
struct Interrupted {
  int signal;
};

/// While it lives, SIGINT, SIGTERM and SIGHUP do not end the process but make `check` throw; those
/// that the caller ignores stay ignored. One at a time, on the main thread.
class InterruptionGuard {
 public:
  InterruptionGuard();
  ~InterruptionGuard();
  InterruptionGuard(const InterruptionGuard&) = delete;
  InterruptionGuard& operator=(const InterruptionGuard&) = delete;

  /// Throws Interrupted after a signal.
  static void check();

 private:
  static constexpr std::array kSignals{SIGINT, SIGTERM, SIGHUP};
  std::array<struct sigaction, kSignals.size()> old_{};
};

/// Ends the process by the signal, which must have its usual effect again.
[[noreturn]] void endByInterruption(const Interrupted& interruption);

}  // namespace tessaron::tool
