#include "platform/named_mutex.h"

#include "platform/win32/wide.h"

namespace tessaron {

void* openNamedMutex(const char16_t* name, std::uint32_t& code) {
  SetLastError(ERROR_SUCCESS);
  const HANDLE mutex = CreateMutexW(nullptr, FALSE, wide(name));
  code = GetLastError();
  return mutex;
}

void closeNamedMutex(void* mutex) {
  if (mutex) CloseHandle(mutex);
}

}  // namespace tessaron
