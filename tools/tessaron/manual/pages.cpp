#include "manual/pages.h"

#include <fmt/format.h>

#include <CLI/CLI.hpp>
#include <algorithm>

#include "catalogue/item_field.h"
#include "cli/selection.h"
#include "cli/status_names.h"
#include "records/record_cells.h"
#include "records/record_fields.h"
#include "support/ascii.h"

namespace tessaron::tool {
namespace {

std::vector<const CLI::App*> verbsOf(const CLI::App& app) {
  return app.get_subcommands(
      [](const CLI::App* verb) { return !verb->get_name().empty() && !verb->get_group().empty(); });
}

std::vector<const CLI::Option*> optionsOf(const CLI::App& app, bool isPositional) {
  return app.get_options([&](const CLI::Option* option) {
    return option->get_positional() == isPositional && !option->get_group().empty();
  });
}

bool takesSeveral(const CLI::Option& option) { return option.get_items_expected_max() > 1; }

std::string asSentence(std::string text) {
  if (!text.empty() && std::string_view(".!?").find(text.back()) == std::string_view::npos)
    text += '.';
  return text;
}

std::string lowerFirst(std::string text) {
  if (!text.empty()) text.front() = lowerLetter(text.front());
  return text;
}

/// The values that an option may have, from its validator's "{a,b}"; empty for any other.
std::string choicesOf(const std::string& type) {
  const std::size_t begin = type.find(":{");
  if (begin == type.npos || type.find('|') < begin) return {};
  std::string choices = type.substr(begin + 2, type.find('}', begin) - begin - 2);
  for (std::size_t at = 0; (at = choices.find(',', at)) != choices.npos; ++at)
    choices.insert(++at, " ");
  return choices;
}

/// "-c, --collection FILE".
Block entryOf(const CLI::Option& option) {
  const std::string type = option.get_type_name();
  std::string term, text = asSentence(option.get_description());
  if (option.get_positional()) {
    term = option.get_single_name() + (takesSeveral(option) ? "..." : "");
  } else {
    for (const std::string& name : option.get_snames()) term += (term.empty() ? "-" : ", -") + name;
    for (const std::string& name : option.get_lnames())
      term += (term.empty() ? "--" : ", --") + name;
    if (option.get_expected_max() > 0) term += ' ' + type.substr(0, type.find(':'));
    if (option.get_required()) text += " Required.";
  }
  if (const std::string choices = choicesOf(type); !choices.empty())
    text += " One of " + choices + '.';
  if (const std::string usual = option.get_default_str(); !usual.empty())
    text += " Without it: " + usual + '.';
  return {Block::Kind::Entry, term, text};
}

/// "tessaron list [OPTIONS] [QUERY...]".
std::string synopsisOf(const CLI::App& verb, const std::string& path) {
  std::string synopsis = path + " [OPTIONS]";
  for (const CLI::Option* option : optionsOf(verb, true)) {
    const std::string name = option->get_single_name() + (takesSeveral(*option) ? "..." : "");
    synopsis += option->get_required() ? ' ' + name : " [" + name + ']';
  }
  return verbsOf(verb).empty() ? synopsis : synopsis + " VERB";
}

void append(std::vector<Block>& blocks, std::vector<Block> more) {
  std::ranges::move(more, std::back_inserter(blocks));
}

void appendOptions(std::vector<Block>& blocks, const CLI::App& verb) {
  for (const bool isPositional : {true, false})
    for (const CLI::Option* option : optionsOf(verb, isPositional))
      blocks.push_back(entryOf(*option));
}

std::string footerOf(const CLI::App& app, const CLI::App& verb) {
  const std::string footer = verb.get_footer();
  return footer == app.get_footer() ? std::string() : footer;  // of all verbs
}

Section seeAlso(std::vector<std::string> pages) {
  return {"SEE ALSO", {{Block::Kind::Paragraph, {}, fmt::format("{}", fmt::join(pages, ", "))}}};
}

Page programPage(const CLI::App& app) {
  std::string group;
  std::vector<Block> verbs, options;
  for (const CLI::App* verb : verbsOf(app)) {
    if (verb->get_group() != group) verbs.push_back({Block::Kind::Heading, {}, verb->get_group()});
    group = verb->get_group();
    verbs.push_back({Block::Kind::Entry, verb->get_name(), asSentence(verb->get_description())});
  }
  appendOptions(options, app);
  return {"tessaron",
          1,
          "catalogue of books, music, films and games",
          {{"SYNOPSIS", {{Block::Kind::Paragraph, {}, "tessaron [OPTIONS] VERB [ARGUMENTS]"}}},
           {"DESCRIPTION", parseBlocks(kDescription)},
           {"VERBS", verbs},
           {"OPTIONS", options},
           {"EXAMPLES", parseBlocks(examplesOf("tessaron"))},
           {"EXIT STATUS", parseBlocks(kExitStatus)},
           {"ENVIRONMENT", parseBlocks(kEnvironment)},
           {"FILES", parseBlocks(kFiles)},
           seeAlso({"tessaron-VERB(1)", "tessaron-query(7)", "tessaron-collection(5)"})}};
}

Page verbPage(const CLI::App& app, const CLI::App& verb) {
  const std::string& name = verb.get_name();
  const std::string path = "tessaron " + name;
  std::vector<Block> description = {
      {Block::Kind::Paragraph, {}, asSentence(verb.get_description())}};
  append(description, parseBlocks(footerOf(app, verb)));
  std::vector<Block> synopsis = {{Block::Kind::Paragraph, {}, synopsisOf(verb, path)}};
  std::vector<Block> options;
  appendOptions(options, verb);
  for (const CLI::App* inner : verbsOf(verb)) {
    const std::string innerPath = path + ' ' + inner->get_name();
    synopsis.push_back({Block::Kind::Paragraph, {}, synopsisOf(*inner, innerPath)});
    options.push_back({Block::Kind::Heading, {}, innerPath});
    options.push_back({Block::Kind::Paragraph, {}, asSentence(inner->get_description())});
    if (footerOf(app, *inner) != footerOf(app, verb))
      append(options, parseBlocks(footerOf(app, *inner)));
    appendOptions(options, *inner);
  }
  std::vector<std::string> others = {"tessaron(1)"};
  if (verb.get_option_no_throw("QUERY") || verb.get_option_no_throw("--query"))
    others.emplace_back("tessaron-query(7)");
  if (verb.get_option_no_throw("--collection")) others.emplace_back("tessaron-collection(5)");
  return {"tessaron-" + name,
          1,
          lowerFirst(verb.get_description()),
          {{"SYNOPSIS", synopsis},
           {"DESCRIPTION", description},
           {"OPTIONS", options},
           {"EXAMPLES", parseBlocks(examplesOf(name))},
           {"EXIT STATUS, ENVIRONMENT, FILES",
            {{Block::Kind::Paragraph, {}, "As for all verbs, see tessaron(1)."}}},
           seeAlso(others)}};
}

std::string_view kindName(ValueKind kind) {
  switch (kind) {
    case ValueKind::Number:
      return "number";
    case ValueKind::Date:
      return "date";
    case ValueKind::Price:
      return "price";
    default:
      return "text";
  }
}

/// A table of the fields, as an example's lines.
std::string fieldTable() {
  constexpr const char* kRow = "  {:<22} {:<12} {}\n";
  std::string rows = fmt::format(fmt::runtime(kRow), "Field", "Also", "Holds");
  for (const MadeField& made : madeFields())
    rows += fmt::format(fmt::runtime(kRow), made.name, "",
                        fmt::format("{}: {}", kindName(made.values), made.about));
  rows += fmt::format(fmt::runtime(kRow), "custom.NAME", "", "text: a field of your own");
  for (const std::string& name : recordColumns()) {
    const RecordColumn column = recordColumn(name);
    const std::string_view shorter = shortName(column);
    rows += fmt::format(fmt::runtime(kRow), name, shorter == name ? "" : shorter,
                        kindName(valueKind(column)));
  }
  return rows;
}

Page queryPage() {
  std::vector<Block> fields = parseBlocks("A status is none, " + statusChoices() + ".");
  append(fields, parseBlocks(fieldTable()));
  return {"tessaron-query",
          7,
          "how items are searched for",
          {{"DESCRIPTION", parseBlocks(kQueryText)},
           {"WORDS WITH A HYPHEN", parseBlocks(kQueryShellText)},
           {"FIELDS", fields},
           seeAlso({"tessaron(1)", "tessaron-list(1)"})}};
}

/// Where a field's element is within an Item.
std::string placeOf(const Field& field) {
  std::string name(field.element());
  switch (field.xml.place) {
    case XmlPlace::Item:
    case XmlPlace::ItemDate:
      return name;
    case XmlPlace::Image:
      return name + "/URL";
    case XmlPlace::Attribute:
      return "ItemAttributes/" + name;
    case XmlPlace::AttributeList:
      return "ItemAttributes/" + name + ", again for more";
    case XmlPlace::Composite:
      break;
  }
  return {};
}

/// The elements that hold a text, a date or a list of texts, from the table that the reader and the
/// writer go by.
std::string elementTable() {
  constexpr const char* kRow = "  {:<46} {:<22} {}\n";
  std::string rows = fmt::format(fmt::runtime(kRow), "Element of an Item", "Field", "Holds");
  for (const Field& field : kFields) {
    if (field.xml.place == XmlPlace::Composite) continue;
    rows +=
        fmt::format(fmt::runtime(kRow), placeOf(field), field.name,
                    field.xml.place == XmlPlace::ItemDate ? "MS-DOS date" : kindName(field.kind));
  }
  return rows;
}

Page collectionPage() {
  constexpr std::string_view kOthers =
      R"(icon, status :: Attributes of the Item: the number of its icon; the number of its status, 0
lent, 1 borrowed, 2 rented out, 3 rented, 4 just bought, 5 sold out, 6 on the way, 7 favorite.

CustomFields :: A CustomField with the attributes name and value for each field of your own.

Tracks :: A Disc for each disc, with a Track for each of its tracks.

EditorialReviews, CustomerReviews, Offers, OfferSummary :: As in the web service's responses.

Tessaron :: What responses have no place for: Folders with the described files of the item, Copies,
Loans with a Loan (attributes status, who, from, until, returned) for each loan, and Files with a
File (attributes path, size, checksum, added) for each linked file. A path is absolute, or leads from
the folder of the collection on; a backslash in it is doubled, and a control character is \u and its
four hexadecimal digits.
)";
  std::vector<Block> elements = parseBlocks(elementTable());
  append(elements, parseBlocks(kOthers));
  return {"tessaron-collection",
          5,
          "the file of a collection",
          {{"DESCRIPTION", parseBlocks(kCollectionText)},
           {"ELEMENTS", elements},
           {"EXAMPLES", parseBlocks(kCollectionSample)},
           seeAlso({"tessaron(1)", "tessaron-export(1)", "tessaron-recover(1)"})}};
}

}  // namespace

std::vector<std::string> topics(const CLI::App& app) {
  std::vector<std::string> names = {"tessaron", "query", "collection"};
  for (const CLI::App* verb : verbsOf(app)) names.push_back(verb->get_name());
  return names;
}

std::optional<Page> pageAbout(const CLI::App& app, const std::string& topic) {
  if (topic == "tessaron") return programPage(app);
  if (topic == "query") return queryPage();
  if (topic == "collection") return collectionPage();
  const CLI::App* verb = findVerb(app, topic);
  if (!verb || verb->get_group().empty()) return std::nullopt;
  return verbPage(app, *verb);
}

}  // namespace tessaron::tool
