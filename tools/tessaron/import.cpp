#include <fmt/format.h>

#include <memory>
#include <nlohmann/json.hpp>

#include "settings/collation.h"
#include "settings_key.h"
#include "status.h"
#include "support/text.h"
#include "verbs.h"

namespace tessaron::tool {
namespace {

struct Options {
  std::string collection;
  std::vector<std::string> responses;
  bool json = false;
  bool dryRun = false;
};

struct Response {
  std::string path;
  std::string text;
  ImportCounts counts;

  std::size_t accepted() const { return counts.added + counts.updated + counts.skipped; }
};

/// What the service says went wrong, in either dialect; empty when it says nothing.
std::string serviceError(const TiXmlElement& element) {
  const std::string_view name = element.Value();
  if (name == "ErrorMsg" && element.GetText() != nullptr) return element.GetText();
  for (const TiXmlElement* child = element.FirstChildElement(); child != nullptr;
       child = child->NextSiblingElement()) {
    if (name == "Error" && child->ValueStr() == "Message" && child->GetText() != nullptr)
      return child->GetText();
    if (std::string error = serviceError(*child); !error.empty()) return error;
  }
  return {};
}

/// Says that a response without items is one; fails when it is no response at all.
void explainEmpty(const Response& response) {
  TiXmlDocument document;
  parseXml(response.text, document);
  const std::string error =
      document.RootElement() == nullptr ? std::string() : serviceError(*document.RootElement());
  const std::string name = displayName(response.path);
  if (error.empty() && !canHoldItems(document))
    throw Failure{kBadData, name, "this is no response: it has no place for items"};
  warn(name + ": no item found" + (error.empty() ? "" : ": " + error));
}

/// Takes the responses over into `collection` and returns how many of their items it accepted.
std::size_t importAll(Collection& collection, std::vector<Response>& responses,
                      const Context& context) {
  Progress progress(context, "importing", responses.size());
  const std::uint16_t today = localToday();
  std::size_t accepted = 0;
  for (std::size_t i = 0; i < responses.size(); ++i) {
    Response& response = responses[i];
    progress.show(i, displayName(response.path));
    requireSound(response.path, collection.import(response.text, today, response.counts,
                                                  CCollationSystem::ApplyToRecord));
    accepted += response.accepted();
  }
  return accepted;
}

void report(const std::vector<Response>& responses, const Options& options) {
  ImportCounts sum;
  auto rejected = nlohmann::ordered_json::array();
  for (const Response& response : responses) {
    const std::string name = displayName(response.path);
    for (const ImportCounts::Rejection& item : response.counts.rejected) {
      const std::string title = toUtf8(item.title);
      warn(fmt::format("{}: item {} \"{}\" rejected: {}", name, item.item, title, item.reason));
      rejected.push_back(
          {{"file", name}, {"item", item.item}, {"title", title}, {"reason", item.reason}});
    }
    sum.read += response.counts.read;
    sum.added += response.counts.added;
    sum.updated += response.counts.updated;
    sum.skipped += response.counts.skipped;
  }
  if (options.json) {
    printJson({{"read", sum.read},
               {"added", sum.added},
               {"updated", sum.updated},
               {"skipped", sum.skipped},
               {"rejected", rejected},
               {"dryRun", options.dryRun}});
  } else {
    print(fmt::format("read {}, added {}, updated {}, skipped {}, rejected {}{}\n", sum.read,
                      sum.added, sum.updated, sum.skipped, rejected.size(),
                      options.dryRun ? " (nothing written)" : ""));
  }
  flushOutput();
}

int run(const Options& options, const Context& context) {
  std::vector<Response> responses;
  for (const std::string& path : options.responses)  // before the lock: input may be slow
    responses.push_back({path, readInput(path), {}});

  loadSetting(u"CollationOption", _Config);
  std::size_t accepted = 0;
  const auto import = [&](Collection& collection) {
    accepted = importAll(collection, responses, context);
    for (const Response& response : responses)
      if (response.counts.read == 0) explainEmpty(response);
  };
  editCollection(options.collection, options.dryRun ? EditMode::DryRun : EditMode::Create, import);
  try {
    report(responses, options);  // not before the file has what it tells of
  } catch (Failure& failure) {
    failure.reason += options.dryRun ? "" : "; the collection is saved";
    throw;
  }
  return accepted > 0 ? kDone : kFailed;
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
