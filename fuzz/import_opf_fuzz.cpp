// Imports the input as the package document of a book.

#include <unistd.h>

#include <filesystem>
#include <fstream>

#include "catalogue/readers/opf_source.h"
#include "fuzz.h"
#include "import_twice.h"

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static const std::filesystem::path path =
      std::filesystem::temp_directory_path() / ("import_opf_fuzz." + std::to_string(getpid()));
  std::ofstream(path, std::ios::binary) << asText(data, size);
  importTwice([] { return tessaron::openPackages(path.u16string()); });
  std::filesystem::remove(path);
  return 0;
}
