#include <fmt/format.h>

#include <memory>

#include "catalogue/item_field.h"
#include "cli/failures.h"
#include "cli/options.h"
#include "cli/output.h"
#include "cli/selection.h"
#include "cli/status_names.h"
#include "output/table.h"
#include "records/record_cells.h"
#include "support/spelling.h"
#include "verbs/verbs.h"

namespace tessaron::tool {
namespace {

constexpr std::string_view kQueryHelp =
    R"(A query selects items. Its terms are separated by blanks; an item must match all of them.

  word             titles, people, labels, tracks, notes, custom fields or ASIN contain it
  "two words"      the same, with what is in the quotation marks as it stands
  field:word       the field contains it
  field=text       the field, or one of its parts, is the text
  field=           the field is empty
  field:LO..HI     a date, number or price from LO to HI, or only LO.. or ..HI
  -term            not
  term,term        or; a part without a field is for the field before it

Case and accents do not count. The shell takes quotation marks and other signs away; put such a
query into single ones:

  tessaron list tolkien -group:dvd
  tessaron list 'author:"le guin",lem' year:1960..1979
  tessaron due status:lent due:..7d
  tessaron list added:-3m.. price:..10 note= --sort -added
  tessaron stats --by author 'group:book rating:4..'

Dates are YYYY-MM-DD, YYYY-MM or YYYY; today, yesterday and tomorrow; 7d, 2w, 3m and 1y from today,
-7d before it. Days are counted in UTC, and a date without a day is its first one. Amounts are
compared without regard to their currency, unless the query names one: price:..$10.
)";

constexpr std::string_view kWordHelp =
    R"(A word that begins with a hyphen is a term, unless the verb has an option of its first letter
(-c, -o, -q, -h) and it names no field; put such words behind --.
)";

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

int printQueryHelp(const Context& context) {
  Output output("-");
  output.write(
      fmt::format("{}A status is none, {}.\n\n{}\n", kQueryHelp, statusChoices(), kWordHelp));
  Table table({"Field", "Also", "Holds"});
  for (const MadeField& made : madeFields())
    table.add(
        {{std::string(made.name)}, {}, {fmt::format("{}: {}", kindName(made.values), made.about)}});
  table.add({{"custom.NAME"}, {}, {"text: a field of your own"}});
  for (const std::string& name : recordColumns()) {
    const RecordColumn column = recordColumn(name);
    const std::string_view shorter = shortName(column);
    table.add({{name},
               {shorter == name ? std::string() : std::string(shorter)},
               {std::string(kindName(valueKind(column)))}});
  }
  table.print(context, output);
  output.finish();
  return kDone;
}

int run(const CLI::App& app, const std::string& topic, const Context& context) {
  if (topic == "query") return printQueryHelp(context);
  const CLI::App* verb = topic.empty() ? &app : findVerb(app, topic);
  if (verb) {
    print(verb->help(topic.empty() ? "" : "tessaron"));
    return kDone;
  }
  std::vector<std::string> topics = {"query"};
  for (const CLI::App* each : app.get_subcommands([](const CLI::App*) { return true; }))
    topics.push_back(each->get_name());
  const std::string_view meant = nearestWord(topic, topics);
  throw Failure{kUsage,
                {},
                fmt::format("there is no help on \"{}\"{}", topic,
                            meant.empty() ? "" : fmt::format("; did you mean {}?", meant))};
}

}  // namespace

void addHelp(CLI::App& app, Context& context) {
  const auto topic = std::make_shared<std::string>();
  CLI::App* verb = app.add_subcommand("help", "Explains a verb, or how to select items (query)");
  verb->add_option("TOPIC", *topic, "A verb, or \"query\"; nothing for the list of verbs")
      ->type_name("");
  verb->callback([&app, &context, topic] {
    context.run = [&app, &context, topic] { return run(app, *topic, context); };
  });
}

}  // namespace tessaron::tool
