#pragma once

#include <string>
#include <vector>

#include "platform/file.h"

namespace tessaron {

/// One thing that a PDF document tells: "title", "author", "subject", "keywords", "creator",
/// "producer", "created", "modified" (as "2024-05-06 07:08:09 UTC"), "xmp" (a document), "pages",
/// "pageSize" (of the first page: "210 x 297 mm"), "version", "encrypted".
struct PdfProperty {
  std::string name;
  std::string value;  ///< UTF-8
};

/// What the PDF document in `file` tells, of at most 256 MiB, which are read into memory. Empty for
/// damaged and longer documents, and where no library reads them: poppler is loaded on first use;
/// Windows has none. Any thread may call it, with a file of its own.
std::vector<PdfProperty> readPdfProperties(File& file);

/// Loads the library ahead, so that later calls open no files.
void preparePdf();

}  // namespace tessaron
