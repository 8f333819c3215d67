#include "cli/version.h"

#include <FreeImage.h>
#include <fmt/core.h>
#include <sqlite3.h>
#include <taglib/taglib.h>
#include <tiffio.h>
#include <tinyxml.h>
#include <unicode/uversion.h>
#include <zlib.h>

#include <CLI/Version.hpp>
#include <cstdio>  // before jpeglib.h
#include <nlohmann/json.hpp>
#include <string>

#include "commit.h"

extern "C" {
#include <libavformat/version.h>
}
#include <exiv2/exv_conf.h>
#include <jpeglib.h>
#include <poppler/cpp/poppler-version.h>
#include <seccomp.h>

namespace tessaron::tool {
namespace {

/// 1.22.3 for (1, 22, 3).
std::string dotted(int major, int minor, int patch) {
  return fmt::format("{}.{}.{}", major, minor, patch);
}

std::string icuVersion() {
  UVersionInfo version;
  u_getVersion(version);
  return fmt::format("{}.{}", version[0], version[1]);
}

/// "LIBTIFF, Version 4.5.0", a line end and more.
std::string tiffVersion() {
  const std::string text = TIFFGetVersion();
  const std::string first = text.substr(0, text.find('\n'));
  return first.substr(first.rfind(' ') + 1);
}

std::string seccompVersion() {
  const scmp_version* version = seccomp_version();
  return dotted(static_cast<int>(version->major), static_cast<int>(version->minor),
                static_cast<int>(version->micro));
}

}  // namespace

const char* const kVersion = TESSARON_VERSION;
const char* const kReleaseDate = TESSARON_RELEASE_DATE;

nlohmann::ordered_json versionJson() {
  constexpr int kHundred = 100, kThousand = 1000;
  return {{"version", kVersion},
          {"commit", TESSARON_COMMIT},
          {"compiler", TESSARON_COMPILER},
          {"system", TESSARON_SYSTEM},
          {"libraries",
           {{"CLI11", CLI11_VERSION},
            {"Exiv2", dotted(EXIV2_MAJOR_VERSION, EXIV2_MINOR_VERSION, EXIV2_PATCH_VERSION)},
            {"FreeImage", FreeImage_GetVersion()},
            {"ICU", icuVersion()},
            {"SQLite", sqlite3_libversion()},
            {"TagLib", dotted(TAGLIB_MAJOR_VERSION, TAGLIB_MINOR_VERSION, TAGLIB_PATCH_VERSION)},
            {"TinyXML", dotted(TIXML_MAJOR_VERSION, TIXML_MINOR_VERSION, TIXML_PATCH_VERSION)},
            {"fmt", dotted(FMT_VERSION / (kHundred * kHundred), FMT_VERSION / kHundred % kHundred,
                           FMT_VERSION % kHundred)},
            {"libavformat", dotted(LIBAVFORMAT_VERSION_MAJOR, LIBAVFORMAT_VERSION_MINOR,
                                   LIBAVFORMAT_VERSION_MICRO)},
            {"libjpeg-turbo", dotted(LIBJPEG_TURBO_VERSION_NUMBER / (kThousand * kThousand),
                                     LIBJPEG_TURBO_VERSION_NUMBER / kThousand % kThousand,
                                     LIBJPEG_TURBO_VERSION_NUMBER % kThousand)},
            {"libseccomp", seccompVersion()},
            {"libtiff", tiffVersion()},
            {"nlohmann-json", dotted(NLOHMANN_JSON_VERSION_MAJOR, NLOHMANN_JSON_VERSION_MINOR,
                                     NLOHMANN_JSON_VERSION_PATCH)},
            {"poppler", POPPLER_VERSION},
            {"zlib", zlibVersion()}}}};
}

}  // namespace tessaron::tool
