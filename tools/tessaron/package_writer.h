#pragma once

#include <string>

namespace tessaron::tool {

/// The package of all files in a folder: "main.xml" first, then the others by name. The same files
/// always give the same bytes; the identifier comes from their names and contents. Fails with
/// kNoInput when something cannot be read, with kBadData when there is no "main.xml" or when
/// something could not be unpacked again: a folder, a link, an empty file, one of more than 256
/// MiB, a name that some system does not take.
std::string packFolder(const std::string& folder);

}  // namespace tessaron::tool
