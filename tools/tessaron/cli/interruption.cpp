#include "cli/interruption.h"

#include <cstdlib>

#include "cli/failures.h"

namespace tessaron::tool {
namespace {

volatile std::sig_atomic_t caught = 0;

void remember(int signal) { caught = signal; }

}  // namespace

InterruptionGuard::InterruptionGuard() {
  caught = 0;
  for (std::size_t i = 0; i < kSignals.size(); ++i) {
    struct sigaction action {};
    action.sa_handler = remember;
    action.sa_flags = SA_RESTART;
    sigaction(kSignals[i], nullptr, &old_[i]);
    if (old_[i].sa_handler != SIG_IGN) sigaction(kSignals[i], &action, nullptr);
  }
}

InterruptionGuard::~InterruptionGuard() {
  for (std::size_t i = 0; i < kSignals.size(); ++i) sigaction(kSignals[i], &old_[i], nullptr);
}

void InterruptionGuard::check() {
  if (caught != 0) throw Interrupted{caught};
}

void endByInterruption(const Interrupted& interruption) {
  std::raise(interruption.signal);
  std::_Exit(kFailed);  // the signal is blocked
}

}  // namespace tessaron::tool
