#include "catalogue/readers/source_format.h"
#include "fuzz.h"
#include "import_twice.h"

// The form of the document tells how it is read: as JSON, or as a collection of Tellico's, packed
// or not.
int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using tessaron::SourceFormat;
  const std::string text = asText(data, size);
  auto format = *tessaron::recognizeFormat(*tessaron::memoryFile(text));
  if (format != SourceFormat::Tellico) format = SourceFormat::Json;
  importTwice([&] { return openSource(tessaron::memoryFile(text), format); });
  return 0;
}
