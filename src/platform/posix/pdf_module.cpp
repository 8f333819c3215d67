#include "platform/posix/pdf_module.h"

#include <poppler/cpp/poppler-document.h>
#include <poppler/cpp/poppler-page.h>

#include <climits>
#include <cstdio>
#include <ctime>
#include <exception>
#include <memory>
#include <string>
#include <type_traits>

namespace {

std::string utf8(const poppler::ustring& text) {
  const poppler::byte_array bytes = text.to_utf8();
  const std::string result(bytes.data(), bytes.size());
  return result.substr(0, result.find('\0'));
}

// The document's XMP. poppler hands out each byte of its UTF-8 as a character.
std::string packet(const poppler::ustring& text) {
  std::string bytes;
  for (const auto unit : text) {
    if (unit > 0xFF) return utf8(text);
    bytes += static_cast<char>(unit);
  }
  return bytes;
}

std::string dateText(std::time_t time) {
  std::tm parts{};
  char text[64] = "";
  if (time > 0 && gmtime_r(&time, &parts))
    std::strftime(text, sizeof text, "%Y-%m-%d %H:%M:%S UTC", &parts);
  return text;
}

void readPdf(const poppler::document& document, TessaronPdfFound found, void* context) {
  const auto tell = [&](const char* name, const std::string& value) {
    if (!value.empty()) found(context, name, value.data(), value.size());
  };
  int major = 0, minor = 0;
  document.get_pdf_version(&major, &minor);
  tell("version", std::to_string(major) + '.' + std::to_string(minor));
  if (document.is_encrypted()) tell("encrypted", "1");
  if (document.is_locked()) return;
  tell("title", utf8(document.get_title()));
  tell("author", utf8(document.get_author()));
  tell("subject", utf8(document.get_subject()));
  tell("keywords", utf8(document.get_keywords()));
  tell("creator", utf8(document.get_creator()));
  tell("producer", utf8(document.get_producer()));
  tell("created", dateText(document.get_creation_date_t()));
  tell("modified", dateText(document.get_modification_date_t()));
  tell("xmp", packet(document.metadata()));
  if (document.pages() <= 0) return;
  tell("pages", std::to_string(document.pages()));
  const std::unique_ptr<poppler::page> page(document.create_page(0));
  if (!page) return;
  const poppler::rectf box = page->page_rect(poppler::crop_box);
  char size[64];
  constexpr double kMillimeters = 25.4 / 72;  // of a point
  std::snprintf(size, sizeof size, "%.0f x %.0f mm", box.width() * kMillimeters,
                box.height() * kMillimeters);
  tell("pageSize", size);
}

}  // namespace

extern "C" __attribute__((visibility("default"))) void tessaronReadPdf(const char* document,
                                                                       std::size_t size,
                                                                       TessaronPdfFound found,
                                                                       void* context) {
  static const bool silent =
      (poppler::set_debug_error_function([](const std::string&, void*) {}, nullptr), true);
  static_cast<void>(silent);
  if (size > INT_MAX) return;
  try {
    const std::unique_ptr<poppler::document> opened(
        poppler::document::load_from_raw_data(document, static_cast<int>(size)));
    if (opened) readPdf(*opened, found, context);
  } catch (const std::exception&) {
    // What was found before the error was reported.
  }
}

static_assert(std::is_same_v<decltype(&tessaronReadPdf), TessaronReadPdf>);
