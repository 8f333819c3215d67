#include "platform/browser.h"

#include <shellapi.h>

#include "platform/win32/wide.h"
#include "support/text.h"

namespace tessaron {

std::error_code openInBrowser(const std::string& address) {
  const std::u16string path = fromUtf8(address);
  const HINSTANCE result =
      ShellExecuteW(nullptr, L"open", wide(path), nullptr, nullptr, SW_SHOWNORMAL);
  // Above 32 it is no error.
  if (reinterpret_cast<std::intptr_t>(result) > 32) return {};
  return {static_cast<int>(GetLastError()), std::system_category()};
}

}  // namespace tessaron
