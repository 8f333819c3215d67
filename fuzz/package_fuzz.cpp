// Unpacks a package. The first byte of the input chooses what the rest is: 0 an index in front of a
// few small entries, 1 a description (templates, shelf and groups) in front of them, anything else
// the entries themselves.

#include <unistd.h>
#include <zlib.h>

#include <filesystem>
#include <string>

#include "fuzz.h"
#include "platform/file.h"
#include "support/unreliable_file.h"
#include "themes/file_names.h"
#include "themes/package_reader_internal.h"
#include "themes/theme_check.h"
#include "themes/theme_package.h"

namespace {

namespace fs = std::filesystem;
using tessaron::PackageReport;
using tessaron::ThemeWarning;

constexpr const char* kIndex =
    "<i><f id='1' filename='main.xml'/><f id='2' filename='a.png'/><f id='3' "
    "filename='b.png'/></i>";
constexpr const char* kTheme =
    "<p><theme name='x' screenshot='a.png'><templates><t mode='fullframe' "
    "file='b.png'/></templates>"
    "<virtualshelf background='c.png' uwidth='1'><g name='n' image='a.png' olx='x'/></virtualshelf>"
    "</theme></p>";

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

std::string packageOf(const std::uint8_t* data, std::size_t size) {
  std::string content("TP\1\0", 4);
  content.resize(1044, '\7');
  if (size == 0 || data[0] > 1) return content + asText(data, size);
  const std::string text = asText(data + 1, size - 1);
  const bool isIndex = data[0] == 0;
  content += entry(0, isIndex ? text : kIndex) + entry(1, isIndex ? kTheme : text);
  for (std::uint32_t id = 2; id < 5; ++id) content += entry(id, "picture");
  return content;
}

// Every warning names a scheme that there is; what was dropped has a reason.
void checkSchemes(const CThemePackage& package) {
  for (const ThemeWarning& warning : tessaron::checkTheme(package)) {
    CHECK(!warning.reason.empty());
    CHECK(!warning.scheme || *warning.scheme < package.schemes.size());
  }
  for (const CThemeScheme* scheme : package.schemes)
    for (const ThemeWarning& warning : tessaron::findDropped(package, *scheme))
      CHECK(!warning.name.empty() && !warning.reason.empty());
}

// After a read that fails, nothing stays of what was unpacked.
void checkFailingReads(const std::string& content, const fs::path& destination) {
  UnreliableFile file(content);
  const int number = static_cast<int>(content.size() % 9);
  file.fails = [number](int read) { return read >= number; };
  CThemePackage package;
  package.Initialize(file, destination.u16string(), true);
  CHECK(file.reads <= number || package.report.failure != PackageReport::Failure::None);
  if (package.report.failure == PackageReport::Failure::None)
    fs::remove_all(package.GetPathExtracted());
  CHECK(fs::is_empty(destination));
}

// Nothing stays above the limits either.
void checkLimits(const std::string& content, const fs::path& destination) {
  const tessaron::PackageLimits limits{60, 200, 4, 3, 0};
  const auto file = tessaron::memoryFile(content);
  CThemePackage package;
  tessaron::PackageReader(package, *file, limits).unpack(destination.u16string(), true);
  std::uint64_t total = 0, files = 0;
  for (const auto& found : fs::recursive_directory_iterator(destination)) {
    if (!found.is_regular_file()) continue;
    CHECK(found.file_size() <= limits.fileSize);
    total += found.file_size();
    ++files;
  }
  CHECK(total <= limits.total && files <= limits.names);
  CHECK(package.report.entries.size() <= limits.entries);
  for (const auto& found : fs::directory_iterator(destination)) fs::remove_all(found);
}

}  // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static const fs::path root =
      fs::temp_directory_path() / ("package_fuzz." + std::to_string(getpid()));
  const fs::path destination = root / "data";
  fs::create_directories(destination);

  const std::string content = packageOf(data, size);
  checkFailingReads(content, destination);
  checkLimits(content, destination);
  CThemePackage package;
  package.Initialize(*tessaron::memoryFile(content), destination.u16string(), true);
  CHECK(package.report.isPackage);
  CThemePackage inspected;
  inspected.Inspect(*tessaron::memoryFile(content), true);
  const bool isUnpacked = package.report.failure == PackageReport::Failure::None;
  CHECK(isUnpacked != package.GetPathExtracted().empty());
  if (isUnpacked) CHECK(inspected.schemes.size() == package.schemes.size());
  checkSchemes(inspected);
  checkSchemes(package);
  CThemePackage copy(inspected);
  copy = package;
  checkSchemes(copy);

  // One folder was made, with files of plain names that the package has.
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
  }
  fs::remove_all(package.GetPathExtracted());
  return 0;
}
