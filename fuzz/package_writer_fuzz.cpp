// Packs a folder and unpacks the package: nothing is lost. The input is a list of files, each its
// name up to a line end and its content up to a zero byte; "main.xml" is always among them.

#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <map>
#include <string>
#include <vector>

#include "fuzz.h"
#include "platform/file.h"
#include "support/text.h"
#include "themes/package_writer.h"

namespace {

namespace fs = std::filesystem;
using Files = std::map<std::string, std::string>;

constexpr std::size_t kMaxFiles = 20;

Files filesOf(const std::string& text) {
  Files files = {{"main.xml", "<p><theme name='x' screenshot='a'/></p>"}};
  for (std::size_t at = 0; at < text.size() && files.size() < kMaxFiles;) {
    const std::size_t end = std::min(text.find('\0', at), text.size());
    const std::string file = text.substr(at, end - at);
    const std::size_t line = std::min(file.find('\n'), file.size());
    const std::string name = file.substr(0, line);
    const bool canExist = !name.empty() && name.size() < 256 && name != "." && name != ".." &&
                          name.find('/') == std::string::npos;
    if (canExist) files[name] = file.substr(std::min(line + 1, file.size()));
    at = end + 1;
  }
  return files;
}

Files filesIn(const fs::path& folder) {
  Files files;
  for (const auto& found : fs::directory_iterator(folder)) {
    std::ifstream file(found.path(), std::ios::binary);
    files[found.path().filename().string()].assign(std::istreambuf_iterator<char>(file), {});
  }
  return files;
}

}  // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static const fs::path root =
      fs::temp_directory_path() / ("package_writer_fuzz." + std::to_string(getpid()));
  const fs::path folder = root / "folder", destination = root / "out";
  fs::remove_all(root);
  fs::create_directories(folder);
  fs::create_directory(destination);
  Files files = filesOf(asText(data, size));
  for (const auto& [name, content] : files)
    std::ofstream(folder / name, std::ios::binary) << content;

  std::string packed = "untouched", again;
  std::vector<tessaron::ThemeWarning> warnings;
  if (tessaron::packFolder(folder.u16string(), packed, warnings)) {
    CHECK(packed == "untouched" && warnings.empty());
    return 0;
  }
  CHECK(!tessaron::packFolder(folder.u16string(), again, warnings) && again == packed);
  CThemePackage package;
  package.Initialize(*tessaron::memoryFile(packed), destination.u16string(), true);
  CHECK(package.report.problems.empty());
  CHECK(package.report.failure == tessaron::PackageReport::Failure::None);
  files.erase("main.xml");
  CHECK(filesIn(package.GetPathExtracted()) == files);
  return 0;
}
