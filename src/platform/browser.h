#pragma once

#include <string>
#include <system_error>

#include "tessaron_export.h"

namespace tessaron {

/// Has the user's web browser open an address and does not wait for it: by xdg-open on Linux, which
/// must be installed. The error tells why that cannot be begun. Others on the machine may see the
/// address. Any thread may call it.
TESSARON_API std::error_code openInBrowser(const std::string& address);

}  // namespace tessaron
