#pragma once
// What this program was built from.

#include <nlohmann/json_fwd.hpp>
#include <string>
#include <utility>
#include <vector>

namespace tessaron::tool {

/// The program's version, such as "0.2.0".
extern const char* const kVersion;

/// The day of its release, "2026-11-22".
extern const char* const kReleaseDate;

/// 1.22.3 for (1, 22, 3).
std::string dottedVersion(int major, int minor, int patch);

/// Names and versions of the libraries that only this system's program uses.
std::vector<std::pair<std::string, std::string>> systemLibraries();

/// Version, commit, compiler and system, and the libraries with their versions: of those that are
/// linked the one in use, of those that are loaded on first use the one that this was built with.
nlohmann::ordered_json versionJson();

}  // namespace tessaron::tool
