#include "catalogue/duplicates.h"

#include <fmt/format.h>

#include <memory>

#include "cli/collection.h"
#include "cli/failures.h"
#include "cli/options.h"
#include "cli/output.h"
#include "cli/paths.h"
#include "cli/uniting.h"
#include "output/csv.h"
#include "output/table.h"
#include "support/json_writer.h"
#include "support/text.h"
#include "verbs/verbs.h"

namespace tessaron::tool {
namespace {

struct Options {
  std::string collection;
  std::string output;
  Form form = Form::Table;
  bool merge = false;
  std::string prefer;
};

/// A pair of items as programs get it.
struct Row {
  std::u16string asin, title;            ///< of the second item
  std::u16string firstAsin, firstTitle;  ///< of the one that it is like
  std::string reason;                    ///< key, number, title or edition
  std::u16string number;
};

std::string reasonOf(const DuplicatePair& pair) {
  if (pair.reason == DuplicatePair::Reason::Key) return "key";
  if (pair.reason == DuplicatePair::Reason::Number) return "number";
  return pair.isContrary ? "edition" : "title";
}

std::string explained(const Row& row) {
  if (row.reason == "key") return "same ASIN";
  if (row.reason == "number") return "same product number " + toUtf8(row.number);
  return row.reason == "title" ? "same title and person"
                               : "same title and person, another product number";
}

/// Writes pairs in one of the forms, as they come.
class PairWriter {
 public:
  PairWriter(Form form, Output& output)
      : form_(form),
        output_(output),
        json_(text_),
        row_(form, text_),
        table_({"ASIN", "Title", "Like", "Why"}, {Fit::Whole, Fit::Title, Fit::Whole, Fit::Wrap}) {
    if (form_ == Form::Json) json_.beginArray();
    if (form_ == Form::Csv || form_ == Form::Tsv)
      text_ =
          separatedRow(form_, {"ASIN", "Title", "first.ASIN", "first.Title", "reason", "number"});
  }

  void write(const Row& row) {
    if (form_ == Form::Table)
      return table_.add(
          {{toUtf8(row.asin)}, {toUtf8(row.title)}, {toUtf8(row.firstAsin)}, {explained(row)}});
    form_ == Form::Json ? writeObject(row) : writeRow(row);
    output_.write(text_);
    text_.clear();
  }

  void finish(const Context& context) {
    if (form_ == Form::Table) return table_.print(context, output_);
    if (form_ == Form::Json) {
      json_.endArray();
      text_ += '\n';
    }
    output_.write(text_);
  }

 private:
  void writeItem(const std::u16string& asin, const std::u16string& title) {
    json_.key("ASIN");
    json_.text(asin);
    json_.key("Title");
    json_.text(title);
  }
  void writeObject(const Row& row) {
    json_.beginObject();
    writeItem(row.asin, row.title);
    json_.key("first");
    json_.beginObject();
    writeItem(row.firstAsin, row.firstTitle);
    json_.endObject();
    json_.key("reason");
    json_.text(fromUtf8(row.reason));
    json_.key("number");
    row.number.empty() ? json_.null() : json_.text(row.number);
    json_.endObject();
  }
  void writeRow(const Row& row) {
    for (const std::u16string* cell : {&row.asin, &row.title, &row.firstAsin, &row.firstTitle})
      row_.add(toUtf8(*cell));
    row_.add(row.reason);
    row_.add(toUtf8(row.number));
    row_.end();
  }

  Form form_;
  Output& output_;
  std::string text_;
  JsonWriter json_;
  RowWriter row_;
  Table table_;
};

void list(Duplicates& duplicates, const Options& options, const Context& context) {
  Output output(options.output);
  PairWriter writer(options.form, output);
  for (const DuplicatePair& pair : duplicates.pairs()) {
    const CRecord first = duplicates.item(pair.first), second = duplicates.item(pair.second);
    writer.write({second.ASIN, second.Title, first.ASIN, first.Title, reasonOf(pair), pair.number});
  }
  writer.finish(context);
  output.finish();
}

int join(Duplicates& duplicates, const Options& options, const Context& context) {
  UnionRule rule;
  if (!options.prefer.empty())
    rule.preferred = options.prefer == "first" ? Side::Ours : Side::Theirs;
  ConflictList conflicts;
  JoinDuplicates edit(duplicates, rule, [&](const ItemConflicts& item) { conflicts.add(item); });
  changeCollection(options.collection, EditMode::Existing, edit, options.form != Form::Json);
  if (edit.readFailed())
    throw Failure{kNoInput, options.collection, "it could not be read a second time"};
  requireSame(options.collection, edit.isOutdated());
  const JoinDuplicates::Counts& counts = edit.counts();
  if (options.form == Form::Json) {
    printCounts({{"joined", counts.joined},
                 {"otherEditions", counts.editions},
                 {"apart", counts.conflicts}},
                conflicts);
  } else {
    if (counts.conflicts > 0) conflicts.print(context, "First", "Later");
    print(fmt::format("joined {}, other editions {}, apart because of conflicts {}{}\n",
                      counts.joined, counts.editions, counts.conflicts,
                      editSession().isTrial ? " (nothing written)" : ""));
  }
  flushOutput();
  return counts.conflicts == 0 ? kDone : kFailed;
}

int run(const Options& options, const Context& context) {
  requireOtherFile(options.output, options.collection);
  if (options.merge && options.collection == "-")
    throw Failure{kUsage, {}, "--merge needs a file: standard input cannot be changed"};
  Duplicates duplicates;
  const XmlError error = duplicates.find(options.merge ? openForEdit(options.collection)
                                                       : openSeekable(options.collection));
  requireCollection(options.collection, error, duplicates.isCollection());
  if (duplicates.pairs().empty())
    throw Failure{kFailed, displayName(options.collection), "no item is in it twice"};
  if (options.merge) return join(duplicates, options, context);
  list(duplicates, options, context);
  return kDone;
}

}  // namespace

void addDuplicates(CLI::App& app, Context& context) {
  const auto options = std::make_shared<Options>();
  CLI::App* verb = app.add_subcommand("duplicates", "Lists items that are in a collection twice");
  verb->footer(
      "Items are alike when they have the same ASIN, or a product number in common (EAN, UPC, "
      "ISBN;\n"
      "the two ISBN of a book are one), or the same title, group and a person, whatever the case,\n"
      "accents, order of words and articles. --merge completes the first by the others, which go;\n"
      "what a person wrote stays. Other editions (the same title, but other numbers) stay apart, "
      "and\n"
      "so do items that differ in what a person wrote; these are told. Exit code 1 when no item "
      "is\n"
      "there twice, or when some stay apart because of a conflict.");
  addCollectionOption(*verb, options->collection, false);
  addFormFlags(*verb, options->form, {Form::Json, Form::Csv, Form::Tsv});
  addOutputOption(*verb, options->output);
  CLI::Option* merge = verb->add_flag("--merge", options->merge, "Make one item of those alike");
  verb->add_option("--prefer", options->prefer, "What counts in conflicts of --merge")
      ->type_name("first|later")
      ->check(CLI::IsMember({"first", "later"}))
      ->needs(merge);
  addDryRunFlag(*verb, "With --merge: print what would change, write nothing")->needs(merge);
  verb->callback([&context, options] {
    context.run = [&context, options] { return run(*options, context); };
  });
}

}  // namespace tessaron::tool
