#include "platform/pdf_document.h"

namespace tessaron {

std::vector<PdfProperty> readPdfProperties(File&) { return {}; }

void preparePdf() {}

}  // namespace tessaron
