#include "platform/interruption.h"

#include <atomic>

#include "platform/types.h"

namespace tessaron {
namespace {

std::atomic<int> caughtEvent{0};

// Called by the system on a thread of its own.
BOOL WINAPI remember(DWORD event) {
  constexpr DWORD kPatience = 10'000;  // the system ends the process before
  caughtEvent = static_cast<int>(event) + 1;
  // After the console was closed the process ends as soon as its handler returns.
  if (event != CTRL_C_EVENT && event != CTRL_BREAK_EVENT) Sleep(kPatience);
  return TRUE;
}

}  // namespace

struct InterruptionWatch::State {};

InterruptionWatch::InterruptionWatch() : state_(nullptr) {
  caughtEvent = 0;
  SetConsoleCtrlHandler(remember, TRUE);
}

InterruptionWatch::~InterruptionWatch() { SetConsoleCtrlHandler(remember, FALSE); }

int InterruptionWatch::caught() { return caughtEvent; }

void endInterrupted(int) {
  TerminateProcess(GetCurrentProcess(), STATUS_CONTROL_C_EXIT);
  for (;;) Sleep(INFINITE);
}

}  // namespace tessaron
