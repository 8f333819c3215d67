// Imports the input as the package document of a book, in a folder of such.

#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include "catalogue/readers/opf_source.h"
#include "fuzz.h"
#include "import_twice.h"
#include "support/unreliable_file.h"

namespace {

namespace fs = std::filesystem;

std::vector<tessaron::SourceItem> readAll(const fs::path& path) {
  const auto source = tessaron::openPackages(path.u16string());
  std::vector<tessaron::SourceItem> items;
  for (tessaron::SourceItem item; source->next(item); item = {}) items.push_back(item);
  CHECK(!source->error());
  return items;
}

// A document that cannot be read is an item with an error.
void checkFailingReads(const fs::path& path, const std::string& content) {
  UnreliableFile file(content);
  file.fails = [failing = static_cast<int>(content.size() % 2)](int read) {
    return read >= failing;
  };
  const tessaron::LentFile lent(path.u16string(), file);
  const std::vector<tessaron::SourceItem> items = readAll(path);
  CHECK(items.size() == 1 && !items[0].error.empty());
}

}  // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static const fs::path root =
      fs::temp_directory_path() / ("import_opf_fuzz." + std::to_string(getpid()));
  static const fs::path folder = root / "author", path = folder / "metadata.opf";
  fs::create_directories(folder);
  const std::string content = asText(data, size);
  std::ofstream(path, std::ios::binary) << content;
  importTwice([] { return tessaron::openPackages(root.u16string()); });
  CHECK(readAll(root).size() == 1 && readAll(path).size() == 1);
  checkFailingReads(path, content);
  return 0;
}
