#include <exiv2/exv_conf.h>
#include <fmt/core.h>
#include <poppler/cpp/poppler-version.h>
#include <seccomp.h>
#include <unicode/uversion.h>

#include "cli/version.h"

extern "C" {
#include <libavformat/version.h>
}

namespace tessaron::tool {

std::vector<std::pair<std::string, std::string>> systemLibraries() {
  UVersionInfo icu;
  u_getVersion(icu);
  const scmp_version* seccomp = seccomp_version();
  return {{"Exiv2", dottedVersion(EXIV2_MAJOR_VERSION, EXIV2_MINOR_VERSION, EXIV2_PATCH_VERSION)},
          {"ICU", fmt::format("{}.{}", icu[0], icu[1])},
          {"libavformat", dottedVersion(LIBAVFORMAT_VERSION_MAJOR, LIBAVFORMAT_VERSION_MINOR,
                                        LIBAVFORMAT_VERSION_MICRO)},
          {"libseccomp",
           dottedVersion(static_cast<int>(seccomp->major), static_cast<int>(seccomp->minor),
                         static_cast<int>(seccomp->micro))},
          {"poppler", POPPLER_VERSION}};
}

}  // namespace tessaron::tool
