#include <string>
#include <vector>

#include "catalogue/readers/source_format.h"
#include "fuzz.h"
#include "import_twice.h"
#include "records/record_cells.h"

using tessaron::SourceFormat;

// As it is, and with columns of the heading taken for other fields.
int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string text = asText(data, size);
  for (const SourceFormat format : {SourceFormat::Csv, SourceFormat::Tsv})
    importTwice([&] { return openSource(tessaron::memoryFile(text), format); });
  const std::string first = text.substr(0, text.find_first_of(",;\t\r\n"));
  const std::vector<tessaron::ColumnMapping> mappings = {
      {*tessaron::findColumn("title"), first},
      {*tessaron::findColumn(size % 2 == 0 ? "custom" : "pages"), "own"}};
  const std::size_t count = 1 + size % 3 / 2;
  importTwice([&] {
    return openSource(tessaron::memoryFile(text), SourceFormat::Csv,
                      {mappings.begin(), mappings.begin() + static_cast<std::ptrdiff_t>(count)});
  });
  return 0;
}
