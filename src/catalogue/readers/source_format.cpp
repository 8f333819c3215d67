#include "catalogue/readers/source_format.h"

#include <algorithm>
#include <array>
#include <span>
#include <utility>

#include "catalogue/readers/json_source.h"
#include "catalogue/readers/opf_source.h"
#include "catalogue/readers/tellico_source.h"
#include "support/zip_reader.h"

namespace tessaron {
namespace {

constexpr std::size_t kHead = 4096;
constexpr std::array<std::pair<std::string_view, SourceFormat>, 6> kNames = {{
    {"csv", SourceFormat::Csv},
    {"json", SourceFormat::Json},
    {"opf", SourceFormat::Opf},
    {"tellico", SourceFormat::Tellico},
    {"tsv", SourceFormat::Tsv},
    {"xml", SourceFormat::Xml},
}};

// The format of a document that begins with `head`, in which a NUL stands for half of a character
// in UTF-16.
SourceFormat formatOf(std::string_view bytes) {
  std::string head(bytes);
  const bool isUtf16 = head.starts_with("\xFF\xFE") || head.starts_with("\xFE\xFF");
  if (isUtf16) head.erase(0, 2);
  if (head.starts_with("\xEF\xBB\xBF")) head.erase(0, 3);
  const bool hasNul = head.find('\0') != head.npos;
  if (isUtf16) std::erase(head, '\0');
  const std::size_t first = head.find_first_not_of(" \t\r\n");
  if (first == head.npos) return SourceFormat::Xml;
  if (head[first] == '{' || head[first] == '[') return SourceFormat::Json;
  if (head[first] == '<') {
    if (head.find("<tellico") != head.npos) return SourceFormat::Tellico;
    return head.find("http://www.idpf.org/2007/opf") != head.npos ? SourceFormat::Opf
                                                                  : SourceFormat::Xml;
  }
  return hasNul && !isUtf16 ? SourceFormat::Xml : SourceFormat::Csv;
}

}  // namespace

std::optional<SourceFormat> sourceFormatNamed(std::string_view name) {
  for (const auto& [known, format] : kNames)
    if (known == name) return format;
  return std::nullopt;
}

std::optional<SourceFormat> recognizeFormat(File& file) {
  if (isZip(file)) return SourceFormat::Tellico;
  std::string head(kHead, '\0');
  const auto got = readFully(file, 0, std::as_writable_bytes(std::span(head)));
  if (!got || !file.seek(0)) return std::nullopt;
  return formatOf(std::string_view(head).substr(0, *got));
}

std::unique_ptr<RecordSource> openSource(std::unique_ptr<File> file, SourceFormat format,
                                         std::vector<ColumnMapping> mappings) {
  if (format == SourceFormat::Json) return openJson(std::move(file));
  if (format == SourceFormat::Tellico) return openTellico(std::move(file));
  if (format == SourceFormat::Opf) return openPackage(std::move(file));
  TableOptions options;
  options.mappings = std::move(mappings);
  if (format == SourceFormat::Tsv) options.separator = '\t';
  return openTable(std::move(file), options);
}

}  // namespace tessaron
