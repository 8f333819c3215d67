#include "catalogue/import.h"

#include <fmt/format.h>

#include <algorithm>
#include <memory>
#include <nlohmann/json.hpp>

#include "cli/collection.h"
#include "cli/dates.h"
#include "cli/failures.h"
#include "cli/import_source.h"
#include "cli/options.h"
#include "cli/output.h"
#include "cli/paths.h"
#include "cli/progress.h"
#include "cli/settings_store.h"
#include "cli/sort_language.h"
#include "cli/terminal.h"
#include "output/json.h"
#include "support/text.h"
#include "verbs/verbs.h"

namespace tessaron::tool {
namespace {

struct Options {
  std::string collection;
  std::vector<std::string> files;
  std::string from;
  std::vector<std::string> maps;
  std::string sortLanguage;
  bool json = false;
};

/// Prints what was recognized in a source.
void describe(const ImportSource& source) {
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
void warnOfKeys(const ImportSource& source) {
  if (source.format != SourceFormat::Json) return;
  for (const std::string& key : source.records->summary().ignored)
    warn(fmt::format("{}: the key \"{}\" is unknown and was skipped", displayName(source.path),
                     printable(key)));
}

void report(const std::vector<ImportSource>& sources, const ImportCounts& counts,
            const Options& options) {
  std::ranges::for_each(sources, warnOfKeys);
  for (const ImportCounts::Rejection& item : counts.rejected) {
    const std::string place = item.line > 0 ? fmt::format(" (line {})", item.line) : "";
    warn(fmt::format("{}: item {}{} \"{}\" rejected: {}", displayName(sources[item.response].path),
                     item.item, place, toUtf8(item.title), item.reason));
  }
  if (options.json) {
    printJson(importJson(sources, counts));
  } else {
    print(fmt::format("read {}, added {}, updated {}, skipped {}, rejected {}{}\n", counts.read,
                      counts.added, counts.updated, counts.skipped, counts.rejected.size(),
                      editSession().isTrial ? " (nothing written)" : ""));
  }
  flushOutput();
}

int run(const Options& options, const Context& context) {
  loadSetting(u"CollationOption", _Config);
  const std::vector<ColumnMapping> mappings = mappingsOf(options.maps);
  Import import(localToday(), sortFormsBy(options.sortLanguage));
  std::vector<ImportSource> sources;
  for (const std::string& path : options.files)  // before the lock, since input may be slow
    sources.push_back(openSource(path, options.from));
  {
    Progress progress(context, "importing", sources.size());
    for (std::size_t i = 0; i < sources.size(); ++i) {
      progress.show(i, displayName(sources[i].path));
      addSource(import, sources[i], mappings);
    }
  }
  for (const ImportSource& source : sources)
    if (source.items == 0) warn(displayName(source.path) + ": " + emptyReason(source));
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
