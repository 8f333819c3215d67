#pragma once
// The interface of the module that contains poppler, which loads a dozen libraries.

#include <cstddef>

extern "C" {

/// Calls `found` with what the PDF document in memory tells of itself: a name of pdf_document.h and
/// a value in UTF-8. Nothing for a damaged document. Throws nothing.
using TessaronPdfFound = void (*)(void* context, const char* name, const char* value,
                                  std::size_t size);
using TessaronReadPdf = void (*)(const char* document, std::size_t size, TessaronPdfFound found,
                                 void* context);
}

inline constexpr char kReadPdf[] = "tessaronReadPdf";
