#include <atomic>
#include <cstdlib>
#include <cstring>
#include <new>
#include <string>

#include "platform/types.h"
#include "scan/test_faults.h"

namespace tessaron::tool {
namespace {

[[noreturn]] void loop() {
  for (volatile unsigned count = 0;;) count = count + 1;
}

[[noreturn]] void sleepOn() {
  for (;;) Sleep(1000);
}

void takeMemory() {
  constexpr std::size_t kStep = std::size_t{64} << 20;
  constexpr int kSteps = 32;  // 2 GiB
  for (int i = 0; i < kSteps; ++i) std::memset(new char[kStep], 1, kStep);
}

void crash() { RaiseException(EXCEPTION_ACCESS_VIOLATION, 0, 0, nullptr); }

/// Ends the process if it can start another one.
void startProcess() {
  wchar_t command[] = L"cmd.exe /c exit";
  STARTUPINFOW startup{};
  startup.cb = sizeof startup;
  PROCESS_INFORMATION process{};
  if (CreateProcessW(nullptr, command, nullptr, nullptr, FALSE, 0, nullptr, nullptr, &startup,
                     &process))
    std::abort();
}

struct Fault {
  std::u16string_view name;
  Misbehavior run;
};
constexpr Fault kFaults[] = {
    {u"abort.", std::abort},
    {u"crash.", crash},
    {u"loop.", loop},
    {u"sleep.", sleepOn},
    {u"memory.", takeMemory},
    {u"fork.", startProcess},
    {u"exit.", [] { std::_Exit(0); }},
};

}  // namespace

Misbehavior misbehaviorFor(std::u16string_view name) {
  for (const Fault& fault : kFaults)
    if (name.starts_with(fault.name)) return fault.run;
  return nullptr;
}

}  // namespace tessaron::tool
