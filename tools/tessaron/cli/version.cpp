#include "cli/version.h"

#include <FreeImage.h>
#include <fmt/core.h>
#include <sqlite3.h>
#include <taglib/taglib.h>
#include <tiffio.h>
#include <tinyxml.h>
#include <zlib.h>

#include <CLI/Version.hpp>
#include <cstdio>  // before jpeglib.h
#include <nlohmann/json.hpp>
#include <string>

#include "commit.h"

extern "C" {
#include <jpeglib.h>
}

namespace tessaron::tool {
namespace {

/// "LIBTIFF, Version 4.5.0", a line end and more.
std::string tiffVersion() {
  const std::string text = TIFFGetVersion();
  const std::string first = text.substr(0, text.find('\n'));
  return first.substr(first.rfind(' ') + 1);
}

}  // namespace

const char* const kVersion = TESSARON_VERSION;
const char* const kReleaseDate = TESSARON_RELEASE_DATE;

std::string dottedVersion(int major, int minor, int patch) {
  return fmt::format("{}.{}.{}", major, minor, patch);
}

nlohmann::ordered_json versionJson() {
  constexpr int kHundred = 100, kThousand = 1000;
  nlohmann::json libraries = {
      // sorted by their names
      {"CLI11", CLI11_VERSION},
      {"FreeImage", FreeImage_GetVersion()},
      {"SQLite", sqlite3_libversion()},
      {"TagLib", dottedVersion(TAGLIB_MAJOR_VERSION, TAGLIB_MINOR_VERSION, TAGLIB_PATCH_VERSION)},
      {"TinyXML", dottedVersion(TIXML_MAJOR_VERSION, TIXML_MINOR_VERSION, TIXML_PATCH_VERSION)},
      {"fmt", dottedVersion(FMT_VERSION / (kHundred * kHundred), FMT_VERSION / kHundred % kHundred,
                            FMT_VERSION % kHundred)},
      {"libjpeg-turbo", dottedVersion(LIBJPEG_TURBO_VERSION_NUMBER / (kThousand * kThousand),
                                      LIBJPEG_TURBO_VERSION_NUMBER / kThousand % kThousand,
                                      LIBJPEG_TURBO_VERSION_NUMBER % kThousand)},
      {"libtiff", tiffVersion()},
      {"nlohmann-json", dottedVersion(NLOHMANN_JSON_VERSION_MAJOR, NLOHMANN_JSON_VERSION_MINOR,
                                      NLOHMANN_JSON_VERSION_PATCH)},
      {"zlib", zlibVersion()}};
  for (const auto& [name, version] : systemLibraries()) libraries[name] = version;
  nlohmann::ordered_json sorted;
  for (const auto& [name, version] : libraries.items()) sorted[name] = version;
  return {{"version", kVersion},
          {"commit", TESSARON_COMMIT},
          {"compiler", TESSARON_COMPILER},
          {"system", TESSARON_SYSTEM},
          {"libraries", sorted}};
}

}  // namespace tessaron::tool
