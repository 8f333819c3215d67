#include "platform/interruption.h"

#include <array>
#include <csignal>
#include <cstddef>
#include <cstdlib>

namespace tessaron {
namespace {

volatile std::sig_atomic_t caughtSignal = 0;

void remember(int signal) { caughtSignal = signal; }

constexpr std::array kSignals{SIGINT, SIGTERM, SIGHUP};

}  // namespace

struct InterruptionWatch::State {
  std::array<struct sigaction, kSignals.size()> old{};
};

InterruptionWatch::InterruptionWatch() : state_(new State) {
  caughtSignal = 0;
  for (std::size_t i = 0; i < kSignals.size(); ++i) {
    struct sigaction action {};
    action.sa_handler = remember;
    action.sa_flags = SA_RESTART;
    sigaction(kSignals[i], nullptr, &state_->old[i]);
    if (state_->old[i].sa_handler != SIG_IGN) sigaction(kSignals[i], &action, nullptr);
  }
}

InterruptionWatch::~InterruptionWatch() {
  for (std::size_t i = 0; i < kSignals.size(); ++i)
    sigaction(kSignals[i], &state_->old[i], nullptr);
  delete state_;
}

int InterruptionWatch::caught() { return caughtSignal; }

void endInterrupted(int caught) {
  std::raise(caught);
  std::_Exit(EXIT_FAILURE);  // the signal is blocked
}

}  // namespace tessaron
