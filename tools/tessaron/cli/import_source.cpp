#include "cli/import_source.h"

#include <fmt/format.h>

#include <filesystem>
#include <nlohmann/json.hpp>
#include <string_view>
#include <utility>

#include "catalogue/readers/opf_source.h"
#include "cli/failures.h"
#include "cli/paths.h"
#include "support/text.h"
#include "support/xml/xml.h"

namespace tessaron::tool {
namespace {

using nlohmann::ordered_json;

/// The service's error message, in either dialect; empty when there is none.
std::string serviceError(const TiXmlElement& element) {
  const std::string_view name = element.Value();
  if (name == "ErrorMsg" && element.GetText()) return element.GetText();
  for (const TiXmlElement* child = element.FirstChildElement(); child;
       child = child->NextSiblingElement()) {
    if (name == "Error" && child->ValueStr() == "Message" && child->GetText())
      return child->GetText();
    if (std::string error = serviceError(*child); !error.empty()) return error;
  }
  return {};
}

std::unique_ptr<File> takeFile(ImportSource& source) {
  return source.content ? memoryFile(*source.content) : std::move(source.input);
}

/// Fails when a source of records has ended with an error.
void requireRecords(const ImportSource& source) {
  const SourceError& error = source.records->error();
  if (!error) return;
  std::string where = displayName(source.path);
  if (error.line > 0) where += fmt::format(":{}", error.line);
  if (error.column > 0) where += fmt::format(":{}", error.column);
  throw Failure{error.kind == SourceError::Kind::Unreadable ? kNoInput : kBadData, where,
                error.message};
}

/// What was recognized in a source.
ordered_json recognized(const ImportSource& source) {
  ordered_json out{{"file", displayName(source.path)}, {"items", source.items}};
  if (!source.records) {
    out["format"] = "XML";
    return out;
  }
  const SourceSummary& summary = source.records->summary();
  out["format"] = summary.format;
  out["program"] = summary.program;
  out["encoding"] = summary.encoding;
  out["separator"] = summary.separator;
  auto columns = ordered_json::array();
  for (const auto& [column, field] : summary.columns)
    columns.push_back({{"column", column}, {"field", field}});
  out["columns"] = std::move(columns);
  out["ignored"] = summary.ignored;
  return out;
}

}  // namespace

std::vector<ColumnMapping> mappingsOf(const std::vector<std::string>& maps) {
  std::vector<ColumnMapping> mappings;
  for (const std::string& map : maps) {
    const std::size_t sign = map.find('=');
    if (sign == std::string::npos || sign == 0 || sign + 1 == map.size())
      throw Failure{kUsage, {}, fmt::format("--map takes FIELD=COLUMN, not \"{}\"", map)};
    const std::string field = map.substr(0, sign);
    const std::optional<RecordColumn> column = findColumn(field);
    if (!column || *column == recordColumn("status.text") || *column == recordColumn("status.due"))
      throw Failure{kUsage, {}, fmt::format("--map: there is no field \"{}\" to fill", field)};
    mappings.push_back({*column, map.substr(sign + 1)});
  }
  return mappings;
}

ImportSource openSource(const std::string& path, const std::string& from) {
  ImportSource source;
  source.path = path;
  std::error_code error;
  if (std::filesystem::is_directory(filePath(path), error)) {
    if (!from.empty() && from != "opf")
      throw Failure{kNoInput, path, "this is a folder; a folder is imported from OPF only"};
    source.format = SourceFormat::Opf;
    return source;
  }
  source.input = std::make_unique<Input>(path);
  if (!source.input->isRegular()) {
    readToEnd(*source.input, source.content.emplace());
    source.input->requireRead();
  }
  if (const auto given = sourceFormatNamed(from)) {
    source.format = *given;
    return source;
  }
  if (source.content) return sourceOf(path, *std::move(source.content));
  source.format = recognizeFormat(*source.input).value_or(SourceFormat::Xml);
  source.input->requireRead();
  return source;
}

ImportSource sourceOf(const std::string& name, std::string content) {
  ImportSource source;
  source.path = name;
  const std::unique_ptr<File> memory = memoryFile(content);
  source.format = recognizeFormat(*memory).value_or(SourceFormat::Xml);
  source.content = std::move(content);
  return source;
}

void addSource(Import& import, ImportSource& source, const std::vector<ColumnMapping>& mappings) {
  if (source.format == SourceFormat::Xml) {
    source.response = import.add(takeFile(source));
    source.items = source.response.items;
    const XmlError& error = source.response.error;
    if (error.kind == XmlError::Kind::Unreadable)
      throw Failure{kNoInput, displayName(source.path), error.message};
    return requireSound(source.path, error);
  }
  const bool isFolder = !source.input && !source.content;
  source.records = isFolder ? openPackages(widePath(source.path))
                            : tessaron::openSource(takeFile(source), source.format, mappings);
  requireRecords(source);
  source.items = import.add(*source.records);
  requireRecords(source);
  if (isFolder && source.items == 0)
    throw Failure{kNoInput, displayName(source.path), "no metadata.opf in this folder or below it"};
  if (import.readFailed())
    throw Failure{kNoInput, displayName(source.path),
                  "its items cannot be stored in the folder for temporary files"};
}

std::string emptyReason(const ImportSource& source) {
  constexpr const char* kNone = "no item found";
  if (source.records) return kNone;
  TiXmlDocument document;
  parseXml(source.content ? *source.content : readInput(source.path), document);
  const std::string error =
      document.RootElement() ? serviceError(*document.RootElement()) : std::string();
  if (error.empty() && !source.response.canHoldItems)
    throw Failure{kBadData, displayName(source.path),
                  "this is no response: it has no place for items"};
  return error.empty() ? kNone : fmt::format("{}: {}", kNone, error);
}

ordered_json importJson(const std::vector<ImportSource>& sources, const ImportCounts& counts) {
  auto rejected = ordered_json::array();
  for (const ImportCounts::Rejection& item : counts.rejected) {
    rejected.push_back({{"file", displayName(sources[item.response].path)}, {"item", item.item}});
    if (item.line > 0) rejected.back()["line"] = item.line;
    rejected.back().update({{"title", toUtf8(item.title)}, {"reason", item.reason}});
  }
  ordered_json document{{"read", counts.read},       {"added", counts.added},
                        {"updated", counts.updated}, {"skipped", counts.skipped},
                        {"rejected", rejected},      {"dryRun", editSession().isTrial}};
  for (const ImportSource& source : sources) document["sources"].push_back(recognized(source));
  return document;
}

}  // namespace tessaron::tool
