#include "platform/pdf_document.h"

#include <iconv.h>

#include "platform/posix/loaded_module.h"
#include "platform/posix/pdf_module.h"

namespace tessaron {
namespace {

constexpr std::uint64_t kMaxDocument = std::uint64_t{256} << 20;

TessaronReadPdf module() {
  static const auto readPdf = reinterpret_cast<TessaronReadPdf>(loadFromModule("pdf", kReadPdf));
  return readPdf;
}

}  // namespace

std::vector<PdfProperty> readPdfProperties(File& file) {
  std::vector<PdfProperty> properties;
  std::string document;
  if (!module() || file.size().value_or(0) > kMaxDocument) return properties;
  if (!file.seek(0) || !readToEnd(file, document) || document.size() > kMaxDocument)
    return properties;
  const auto found = [](void* context, const char* name, const char* value, std::size_t size) {
    static_cast<std::vector<PdfProperty>*>(context)->push_back({name, {value, size}});
  };
  module()(document.data(), document.size(), found, &properties);
  return properties;
}

void preparePdf() {
  module();
  // Keeps the C library's module loaded that poppler converts texts with.
  static const iconv_t converter = iconv_open("UTF-8", "UTF-16");
  static_cast<void>(converter);
}

}  // namespace tessaron
