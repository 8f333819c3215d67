// Imports the input as the package document of a book, alone and in a folder of such.

#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <memory>
#include <string>

#include "catalogue/readers/opf_source.h"
#include "catalogue/readers/source_format.h"
#include "fuzz.h"
#include "import_twice.h"
#include "support/unreliable_file.h"

namespace {

namespace fs = std::filesystem;

std::unique_ptr<tessaron::RecordSource> openOne(const std::string& content) {
  return openSource(tessaron::memoryFile(content), tessaron::SourceFormat::Opf);
}

// The error of the only item.
std::string errorOf(tessaron::RecordSource& source) {
  tessaron::SourceItem item, further;
  CHECK(source.next(item) && !source.next(further));
  CHECK(!source.error());
  return item.error;
}

// A document that cannot be read is an item with an error.
void checkFailingReads(const fs::path& folder, const fs::path& path, const std::string& content) {
  UnreliableFile file(content);
  file.fails = [failing = static_cast<int>(content.size() % 2)](int read) {
    return read >= failing;
  };
  const tessaron::LentFile lent(path.u16string(), file);
  CHECK(!errorOf(*tessaron::openPackages(folder.u16string())).empty());
}

}  // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static const fs::path root =
      fs::temp_directory_path() / ("import_opf_fuzz." + std::to_string(getpid()));
  static const fs::path folder = root / "author", path = folder / "metadata.opf";
  fs::create_directories(folder);
  const std::string content = asText(data, size);
  std::ofstream(path, std::ios::binary) << content;
  importTwice([&] { return openOne(content); });
  const bool isDamaged = !errorOf(*openOne(content)).empty();
  CHECK(errorOf(*tessaron::openPackages(root.u16string())).empty() == !isDamaged);
  checkFailingReads(folder, path, content);
  return 0;
}
