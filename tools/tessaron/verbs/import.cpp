#include "catalogue/import.h"

#include <fmt/format.h>

#include <memory>
#include <nlohmann/json.hpp>
#include <optional>

#include "cli/collection.h"
#include "cli/dates.h"
#include "cli/failures.h"
#include "cli/input.h"
#include "cli/options.h"
#include "cli/output.h"
#include "cli/paths.h"
#include "cli/progress.h"
#include "cli/settings_store.h"
#include "output/json.h"
#include "settings/collation.h"
#include "support/text.h"
#include "support/xml/xml.h"
#include "verbs/verbs.h"

namespace tessaron::tool {
namespace {

struct Options {
  std::string collection;
  std::vector<std::string> responses;
  bool json = false;
  bool dryRun = false;
};

/// A response's file, and the summary of its import.
struct Response {
  std::string path;
  std::unique_ptr<Input> input;
  std::optional<std::string> content;  ///< of a source that can be read only once
  ResponseSummary summary;
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

/// Warns that a response has no items. Fails when the file is not a response.
void explainEmpty(const Response& response) {
  TiXmlDocument document;
  parseXml(response.content ? *response.content : readInput(response.path), document);
  const std::string error =
      document.RootElement() ? serviceError(*document.RootElement()) : std::string();
  const std::string name = displayName(response.path);
  if (error.empty() && !response.summary.canHoldItems)
    throw Failure{kBadData, name, "this is no response: it has no place for items"};
  warn(name + ": no item found" + (error.empty() ? "" : ": " + error));
}

/// Opens a response, and reads it when that can be done only once.
Response openResponse(const std::string& path) {
  Response response;
  response.path = path;
  response.input = std::make_unique<Input>(path);
  if (response.input->isRegular()) return response;
  readToEnd(*response.input, response.content.emplace());
  response.input->requireRead();
  return response;
}

/// Adds a response to the import. Fails when it cannot be read or is damaged.
void addResponse(Import& import, Response& response) {
  std::unique_ptr<File> file = std::move(response.input);
  if (response.content) file = memoryFile(*response.content);
  response.summary = import.add(std::move(file));
  if (response.summary.error.kind == XmlError::Kind::Unreadable)
    throw Failure{kNoInput, displayName(response.path), response.summary.error.message};
  requireSound(response.path, response.summary.error);
}

void report(const std::vector<Response>& responses, const ImportCounts& counts,
            const Options& options) {
  auto rejected = nlohmann::ordered_json::array();
  for (const ImportCounts::Rejection& item : counts.rejected) {
    const std::string name = displayName(responses[item.response].path);
    const std::string title = toUtf8(item.title);
    warn(fmt::format("{}: item {} \"{}\" rejected: {}", name, item.item, title, item.reason));
    rejected.push_back(
        {{"file", name}, {"item", item.item}, {"title", title}, {"reason", item.reason}});
  }
  if (options.json) {
    printJson({{"read", counts.read},
               {"added", counts.added},
               {"updated", counts.updated},
               {"skipped", counts.skipped},
               {"rejected", rejected},
               {"dryRun", options.dryRun}});
  } else {
    print(fmt::format("read {}, added {}, updated {}, skipped {}, rejected {}{}\n", counts.read,
                      counts.added, counts.updated, counts.skipped, rejected.size(),
                      options.dryRun ? " (nothing written)" : ""));
  }
  flushOutput();
}

int run(const Options& options, const Context& context) {
  loadSetting(u"CollationOption", _Config);
  Import import(localToday(), CCollationSystem::ApplyToRecord);
  std::vector<Response> responses;
  for (const std::string& path : options.responses)  // before the lock, since input may be slow
    responses.push_back(openResponse(path));
  {
    Progress progress(context, "importing", responses.size());
    for (std::size_t i = 0; i < responses.size(); ++i) {
      progress.show(i, displayName(responses[i].path));
      addResponse(import, responses[i]);
    }
  }
  for (const Response& response : responses)
    if (response.summary.items == 0) explainEmpty(response);
  changeCollection(options.collection, options.dryRun ? EditMode::DryRun : EditMode::Create,
                   import);
  if (import.readFailed())
    throw Failure{kNoInput, {}, "a response could not be read a second time"};
  const ImportCounts& counts = import.counts();
  try {
    report(responses, counts, options);  // only when the file is written
  } catch (Failure& failure) {
    failure.reason += options.dryRun ? "" : "; the collection is saved";
    throw;
  }
  return counts.read > counts.rejected.size() ? kDone : kFailed;
}

}  // namespace

void addImport(CLI::App& app, Context& context) {
  const auto options = std::make_shared<Options>();
  CLI::App* verb =
      app.add_subcommand("import", "Takes over the items of the web service's responses");
  verb->footer(
      "Items that are there already get their product data anew and keep all that you added. A\n"
      "damaged response changes nothing. Names and titles become what they sort by (see sortform "
      "and\n"
      "the setting CollationOption). Exit code 1 when no item of any response was accepted.");
  addCollectionOption(*verb, options->collection, true);
  verb->add_option("RESPONSE", options->responses, "The responses' files")->required();
  verb->add_flag("--json", options->json, "Print the counts as JSON");
  verb->add_flag("--dry-run", options->dryRun, "Tell what would happen, write nothing");
  verb->callback([&context, options] {
    context.run = [&context, options] { return run(*options, context); };
  });
}

}  // namespace tessaron::tool
