#include <utf8proc.h>

#include "cli/version.h"

namespace tessaron::tool {

std::vector<std::pair<std::string, std::string>> systemLibraries() {
  return {{"utf8proc",
           dottedVersion(UTF8PROC_VERSION_MAJOR, UTF8PROC_VERSION_MINOR, UTF8PROC_VERSION_PATCH)}};
}

}  // namespace tessaron::tool
