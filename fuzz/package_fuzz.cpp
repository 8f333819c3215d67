// Unpacks a package. The input is its entries, or, behind a zero byte, its index, which then names
// a few small entries.

#include <unistd.h>
#include <zlib.h>

#include <filesystem>
#include <string>

#include "fuzz.h"
#include "platform/file.h"
#include "themes/file_names.h"
#include "themes/theme_package.h"

namespace {

namespace fs = std::filesystem;

std::string entry(std::uint32_t id, const std::string& content) {
  uLongf size = compressBound(content.size());
  std::string data(size, '\0');
  CHECK(compress(reinterpret_cast<Bytef*>(data.data()), &size,
                 reinterpret_cast<const Bytef*>(content.data()), content.size()) == Z_OK);
  data.resize(size);
  std::string header;
  for (const std::size_t number : {std::size_t{id}, data.size(), content.size()})
    for (int shift = 0; shift < 32; shift += 8) header += static_cast<char>(number >> shift);
  return header + std::string(64, '\0') + data;
}

}  // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static const fs::path root =
      fs::temp_directory_path() / ("package_fuzz." + std::to_string(getpid()));
  const fs::path destination = root / "data";
  fs::create_directories(destination);

  std::string content("TP\1\0", 4);
  content.resize(1044, '\7');
  if (size > 0 && data[0] == 0) {
    content += entry(0, asText(data + 1, size - 1));
    for (std::uint32_t id = 1; id < 6; ++id) content += entry(id, "<p><theme name='x'/></p>");
  } else {
    content += asText(data, size);
  }
  CThemePackage package;
  package.Initialize(*tessaron::memoryFile(content), destination.u16string(), true);
  CHECK(package.report.isPackage);
  CThemePackage inspected;
  inspected.Inspect(*tessaron::memoryFile(content), true);
  const bool isUnpacked = package.report.failure == tessaron::PackageReport::Failure::None;
  CHECK(isUnpacked != package.GetPathExtracted().empty());
  if (isUnpacked) CHECK(inspected.schemes.size() == package.schemes.size());

  // One folder was made, with files of plain names that the package has.
  std::size_t files = 0;
  for (const auto& found : fs::recursive_directory_iterator(root)) {
    if (found.path() == destination || found.path() == fs::path(package.GetPathExtracted()))
      continue;
    CHECK(found.path().parent_path() == fs::path(package.GetPathExtracted()));
    const std::u16string name = found.path().filename().u16string();
    CHECK(found.is_regular_file() && !tessaron::faultOfFileName(name));
    bool isNamed = false;
    for (const auto& own : package.report.entries)
      for (const auto& its : own.names) isNamed = isNamed || its == name;
    CHECK(isNamed);
    ++files;
  }
  if (files > 0) fs::remove_all(package.GetPathExtracted());
  return 0;
}
