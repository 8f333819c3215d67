#include "catalogue/readers/source_format.h"
#include "fuzz.h"
#include "import_twice.h"

using tessaron::SourceFormat;

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string text = asText(data, size);
  for (const SourceFormat format : {SourceFormat::Csv, SourceFormat::Tsv})
    importTwice([&] { return openSource(tessaron::memoryFile(text), format); });
  return 0;
}
