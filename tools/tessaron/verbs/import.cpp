#include "catalogue/import.h"

#include <fmt/format.h>

#include <algorithm>
#include <filesystem>
#include <memory>
#include <nlohmann/json.hpp>
#include <optional>

#include "catalogue/readers/opf_source.h"
#include "catalogue/readers/source_format.h"
#include "cli/collection.h"
#include "cli/dates.h"
#include "cli/failures.h"
#include "cli/input.h"
#include "cli/options.h"
#include "cli/output.h"
#include "cli/paths.h"
#include "cli/progress.h"
#include "cli/settings_store.h"
#include "cli/sort_language.h"
#include "cli/terminal.h"
#include "output/json.h"
#include "support/text.h"
#include "support/xml/xml.h"
#include "verbs/verbs.h"

namespace tessaron::tool {
namespace {

using nlohmann::ordered_json;

struct Options {
  std::string collection;
  std::vector<std::string> files;
  std::string from;
  std::vector<std::string> maps;
  std::string sortLanguage;
  bool json = false;
};

/// A file or folder with items, and the summary of its import.
struct Source {
  std::string path;
  std::unique_ptr<Input> input;
  std::optional<std::string> content;  ///< of a source that can be read only once
  SourceFormat format = SourceFormat::Xml;
  std::unique_ptr<RecordSource> records;  ///< of one in another format than XML
  ResponseSummary response;               ///< of one in XML
  std::size_t items = 0;                  ///< rejected ones included
};

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

/// Warns that a source has no items. Fails when a response is none.
void explainEmpty(const Source& source) {
  const std::string name = displayName(source.path);
  if (source.records) return warn(name + ": no item found");
  TiXmlDocument document;
  parseXml(source.content ? *source.content : readInput(source.path), document);
  const std::string error =
      document.RootElement() ? serviceError(*document.RootElement()) : std::string();
  if (error.empty() && !source.response.canHoldItems)
    throw Failure{kBadData, name, "this is no response: it has no place for items"};
  warn(name + ": no item found" + (error.empty() ? "" : ": " + error));
}

/// The columns that --map names. Fails with kUsage for an unknown field.
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

std::unique_ptr<File> takeFile(Source& source) {
  return source.content ? memoryFile(*source.content) : std::move(source.input);
}

/// Opens a source, reads it when that can be done only once, and recognizes its format.
Source openSource(const std::string& path, const Options& options) {
  Source source;
  source.path = path;
  std::error_code error;
  if (std::filesystem::is_directory(filePath(path), error)) {
    if (!options.from.empty() && options.from != "opf")
      throw Failure{kNoInput, path, "this is a folder; a folder is imported from OPF only"};
    source.format = SourceFormat::Opf;
    return source;
  }
  source.input = std::make_unique<Input>(path);
  if (!source.input->isRegular()) {
    readToEnd(*source.input, source.content.emplace());
    source.input->requireRead();
  }
  if (const auto given = sourceFormatNamed(options.from)) {
    source.format = *given;
    return source;
  }
  const std::unique_ptr<File> memory = source.content ? memoryFile(*source.content) : nullptr;
  const auto format = recognizeFormat(memory ? *memory : *source.input);
  source.input->requireRead();
  source.format = format.value_or(SourceFormat::Xml);
  return source;
}

/// Fails when a source of records has ended with an error.
void requireRecords(const Source& source) {
  const SourceError& error = source.records->error();
  if (!error) return;
  std::string where = displayName(source.path);
  if (error.line > 0) where += fmt::format(":{}", error.line);
  if (error.column > 0) where += fmt::format(":{}", error.column);
  throw Failure{error.kind == SourceError::Kind::Unreadable ? kNoInput : kBadData, where,
                error.message};
}

/// Adds a source to the import. Fails when it cannot be read or is damaged.
void addSource(Import& import, Source& source, const std::vector<ColumnMapping>& mappings) {
  if (source.format == SourceFormat::Xml) {
    source.response = import.add(takeFile(source));
    source.items = source.response.items;
    const XmlError& error = source.response.error;
    if (error.kind == XmlError::Kind::Unreadable)
      throw Failure{kNoInput, displayName(source.path), error.message};
    return requireSound(source.path, error);
  }
  if (source.format == SourceFormat::Opf) {
    if (source.content)
      throw Failure{kNoInput, displayName(source.path), "OPF is read from files and folders only"};
    source.records = openPackages(widePath(source.path));
  } else {
    source.records = tessaron::openSource(takeFile(source), source.format, mappings);
  }
  requireRecords(source);
  source.items = import.add(*source.records);
  requireRecords(source);
  if (source.format == SourceFormat::Opf && source.items == 0)
    throw Failure{kNoInput, displayName(source.path), "no metadata.opf in this folder or below it"};
  if (import.readFailed())
    throw Failure{kNoInput, displayName(source.path),
                  "its items cannot be stored in the folder for temporary files"};
}

/// What was recognized in a source, as JSON.
ordered_json recognized(const Source& source) {
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

/// Prints what was recognized in a source.
void describe(const Source& source) {
  std::string text = displayName(source.path) + ": ";
  if (!source.records) return print(text + "XML\n");
  const SourceSummary& summary = source.records->summary();
  text += summary.format;
  if (!summary.program.empty() && summary.program != summary.format)
    text += fmt::format(" of {}", summary.program);
  text += fmt::format(", {}", summary.encoding);
  if (!summary.separator.empty()) text += fmt::format(", separator {}", summary.separator);
  text += '\n';
  for (const auto& [column, field] : summary.columns)
    text += fmt::format("  {} -> {}\n", printable(column), field);
  std::string ignored;
  for (const std::string& name : summary.ignored)
    ignored += (ignored.empty() ? "" : ", ") + printable(name);
  if (!ignored.empty()) text += fmt::format("  not taken: {}\n", ignored);
  print(text);
}

/// Warns of the keys in a source that no record has.
void warnOfKeys(const Source& source) {
  if (source.format != SourceFormat::Json) return;
  for (const std::string& key : source.records->summary().ignored)
    warn(fmt::format("{}: the key \"{}\" is unknown and was skipped", displayName(source.path),
                     printable(key)));
}

void report(const std::vector<Source>& sources, const ImportCounts& counts,
            const Options& options) {
  std::ranges::for_each(sources, warnOfKeys);
  auto rejected = ordered_json::array();
  for (const ImportCounts::Rejection& item : counts.rejected) {
    const std::string name = displayName(sources[item.response].path);
    const std::string title = toUtf8(item.title);
    const std::string place = item.line > 0 ? fmt::format(" (line {})", item.line) : "";
    warn(fmt::format("{}: item {}{} \"{}\" rejected: {}", name, item.item, place, title,
                     item.reason));
    rejected.push_back({{"file", name}, {"item", item.item}});
    if (item.line > 0) rejected.back()["line"] = item.line;
    rejected.back().update({{"title", title}, {"reason", item.reason}});
  }
  if (options.json) {
    ordered_json document{{"read", counts.read},       {"added", counts.added},
                          {"updated", counts.updated}, {"skipped", counts.skipped},
                          {"rejected", rejected},      {"dryRun", editSession().isTrial}};
    for (const Source& source : sources) document["sources"].push_back(recognized(source));
    printJson(document);
  } else {
    print(fmt::format("read {}, added {}, updated {}, skipped {}, rejected {}{}\n", counts.read,
                      counts.added, counts.updated, counts.skipped, rejected.size(),
                      editSession().isTrial ? " (nothing written)" : ""));
  }
  flushOutput();
}

int run(const Options& options, const Context& context) {
  loadSetting(u"CollationOption", _Config);
  const std::vector<ColumnMapping> mappings = mappingsOf(options.maps);
  Import import(localToday(), sortFormsBy(options.sortLanguage));
  std::vector<Source> sources;
  for (const std::string& path : options.files)  // before the lock, since input may be slow
    sources.push_back(openSource(path, options));
  {
    Progress progress(context, "importing", sources.size());
    for (std::size_t i = 0; i < sources.size(); ++i) {
      progress.show(i, displayName(sources[i].path));
      addSource(import, sources[i], mappings);
    }
  }
  for (const Source& source : sources)
    if (source.items == 0) explainEmpty(source);
  if (editSession().isTrial && !options.json) std::ranges::for_each(sources, describe);
  changeCollection(options.collection, EditMode::Create, import, !options.json);
  if (import.readFailed()) throw Failure{kNoInput, {}, "a file could not be read a second time"};
  const ImportCounts& counts = import.counts();
  try {
    report(sources, counts, options);  // only when the file is written
  } catch (Failure& failure) {
    failure.reason += editSession().isTrial ? "" : "; the collection is saved";
    throw;
  }
  return counts.read > counts.rejected.size() ? kDone : kFailed;
}

}  // namespace

void addImport(CLI::App& app, Context& context) {
  const auto options = std::make_shared<Options>();
  CLI::App* verb =
      app.add_subcommand("import", "Takes over items: responses, exports, other programs' files");
  verb->footer(
      "A FILE is a response of the web service, what export writes as JSON, CSV or TSV, a table "
      "of\n"
      "Goodreads, LibraryThing, calibre, Discogs or BiblioteQ, any table with a heading (see "
      "--map),\n"
      "a Tellico collection, or a folder with calibre's books (metadata.opf).\n\n"
      "An item that is there (with the same ASIN; without one the same EAN, UPC or ISBN, or else\n"
      "title, first person and group) gets the product data that the file tells; an empty field\n"
      "takes nothing away. A file without ASIN only fills in what an item from the shop lacks. "
      "What\n"
      "you added to an item (status, person, dates, notes, icon, fields of your own) stays; where\n"
      "the item has none, it takes that of the file. The same file once more changes nothing.\n"
      "A damaged file changes nothing, and an item that cannot be taken is named with the reason.\n"
      "Names and titles become what they sort by (see sortform and the setting CollationOption),\n"
      "except in exports of this program. Exit code 1 when no item of any file was accepted.");
  addCollectionOption(*verb, options->collection, true);
  verb->add_option("FILE", options->files, "The files; - for standard input")->required();
  verb->add_option("--from", options->from, "The format, if it is not to be recognized")
      ->check(CLI::IsMember({"json", "csv", "tsv", "xml", "tellico", "opf"}).description(""))
      ->type_name("json|csv|tsv|xml|tellico|opf");
  verb->add_option(
          "--map", options->maps,
          "The field that a column of a table goes to, such as title=\"Book Title\"; again "
          "for more;\ncustom=COLUMN makes it a field of your own")
      ->type_name("FIELD=COLUMN")
      ->allow_extra_args(false);
  addSortLanguageOption(*verb, options->sortLanguage);
  verb->add_flag("--json", options->json, "Print the counts as JSON");
  verb->callback([&context, options] {
    context.run = [&context, options] { return run(*options, context); };
  });
}

}  // namespace tessaron::tool
