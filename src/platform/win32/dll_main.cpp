#include "platform/types.h"

/// What the system calls when a process or a thread comes or goes. There is nothing to do.
extern "C" BOOL WINAPI DllMain(HINSTANCE, DWORD, LPVOID) { return TRUE; }
