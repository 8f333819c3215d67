#include "platform/browser.h"

// The second header needs the first.
// clang-format off
#include "platform/types.h"
#include <shellapi.h>
// clang-format on

#include "platform/win32/error.h"
#include "platform/win32/utf8.h"

namespace tessaron {

std::error_code openInBrowser(const std::string& address) {
  const std::u16string path = widened(address);
  const HINSTANCE result =
      ShellExecuteW(nullptr, L"open", wide(path), nullptr, nullptr, SW_SHOWNORMAL);
  // Above 32 it is no error.
  return reinterpret_cast<std::intptr_t>(result) > 32 ? std::error_code() : lastError();
}

}  // namespace tessaron
