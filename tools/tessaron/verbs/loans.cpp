#include "catalogue/loans.h"

#include <memory>
#include <nlohmann/json.hpp>

#include "cli/failures.h"
#include "cli/options.h"
#include "cli/output.h"
#include "cli/selection.h"
#include "output/csv.h"
#include "output/json.h"
#include "output/status.h"
#include "output/table.h"
#include "platform/system.h"
#include "records/due.h"
#include "support/dos_date.h"
#include "support/text.h"
#include "verbs/verbs.h"

namespace tessaron::tool {
namespace {

struct Options {
  std::string collection;
  std::vector<std::string> query;
  std::string output;
  bool all = false;
  Form form = Form::Table;
};

/// Writes the loans of items as they come.
class LoanWriter {
 public:
  LoanWriter(Form form, Output& output) : form_(form), output_(output), now_(utcNow()) {
    if (form_ == Form::Json) output_.write("[");
    if (form_ == Form::Csv || form_ == Form::Tsv)
      output_.write(separatedRow(
          form_, {"ASIN", "Title", "name", "target", "begin", "end", "returned", "due"}));
  }

  void write(const CRecord& record, const CLoan& loan) {
    CRecord current;  // as if the loan were the status
    current.hasStatus = loan.returned == 0;
    current.status = loan.status;
    current.StatusEndDate = loan.end;
    const std::string mark = dueMark(current, now_);
    const std::vector<std::string> texts = {
        toUtf8(record.ASIN),   toUtf8(record.Title), toUtf8(statusLabel(loan.status)),
        toUtf8(loan.who),      isoDate(loan.begin),  isoDate(loan.end),
        isoDate(loan.returned)};
    const std::string due = std::to_string(dueStateAt(current, now_));
    if (form_ == Form::Table) {
      std::vector<Table::Cell> cells;
      cells.reserve(texts.size() + 1);
      for (const std::string& text : texts) cells.push_back({text});
      cells.push_back(dueCell(mark));
      table_.add(cells);
    } else if (form_ == Form::Json) {
      writeJson(texts, due);
    } else {
      std::vector<std::string> row = texts;
      row.push_back(due);
      output_.write(separatedRow(form_, row));
    }
    ++count_;
  }

  void finish(const Context& context) {
    if (form_ == Form::Json) output_.write(count_ == 0 ? "]\n" : "\n]\n");
    if (form_ == Form::Table && count_ > 0) table_.print(context, output_);
  }
  std::size_t count() const { return count_; }

 private:
  void writeJson(const std::vector<std::string>& texts, const std::string& due) {
    const auto date = [](const std::string& text) {
      return text.empty() ? nlohmann::ordered_json() : nlohmann::ordered_json(text);
    };
    const nlohmann::ordered_json row = {{"ASIN", texts[0]},           {"Title", texts[1]},
                                        {"name", texts[2]},           {"target", texts[3]},
                                        {"begin", date(texts[4])},    {"end", date(texts[5])},
                                        {"returned", date(texts[6])}, {"due", std::stoi(due)}};
    output_.write(count_ == 0 ? "\n  " : ",\n  ");
    output_.write(indented(jsonText(row), 2));
  }

  Form form_;
  Output& output_;
  SYSTEMTIME now_;
  Table table_{{"ASIN", "Title", "Status", "Who", "From", "Until", "Returned", "Due"},
               {Fit::Whole, Fit::Title, Fit::Wrap, Fit::Wrap, Fit::Whole, Fit::Whole, Fit::Whole,
                Fit::Whole}};
  std::size_t count_ = 0;
};

int run(const Options& options, const Context& context) {
  requireOtherFile(options.output, options.collection);
  Selection items(options.collection, options.query);
  Output output(options.output);
  LoanWriter writer(options.form, output);
  items.forEachRecord(true, [&](const CRecord& record) {
    for (const CLoan& loan : openLoans(record)) writer.write(record, loan);
    if (!options.all) return;
    for (const CLoan& loan : endedLoans(record)) writer.write(record, loan);
  });
  writer.finish(context);
  output.finish();
  if (writer.count() > 0) return kDone;
  throw Failure{kFailed, items.name(),
                !items.isWhole() && items.count() == 0 ? items.emptyReason()
                : options.all                          ? "no loan is known"
                                                       : "nothing is lent or borrowed"};
}

}  // namespace

void addLoans(CLI::App& app, Context& context) {
  const auto options = std::make_shared<Options>();
  CLI::App* verb = app.add_subcommand("loans", "Lists what is lent and borrowed, also of copies");
  verb->footer(
      "The loans are in the order of the items; those of one item by when they are due. A QUERY\n"
      "selects items (help query); its status and dates are those of the loan which is due first.\n"
      "Exit code 1 when there is no loan.");
  addCollectionOption(*verb, options->collection, false);
  addQueryArgument(*verb, options->query);
  CLI::Option* all = verb->add_flag("--all", options->all, "Also those that ended");
  verb->add_flag_callback(
          "--open", [options] { options->all = false; },
          "Only those that have not ended, as without --all")
      ->excludes(all);
  addFormFlags(*verb, options->form, {Form::Json, Form::Csv, Form::Tsv});
  addOutputOption(*verb, options->output);
  verb->callback([&context, options] {
    context.run = [&context, options] { return run(*options, context); };
  });
}

}  // namespace tessaron::tool
