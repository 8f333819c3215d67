#include "records/due.h"

#include <fmt/format.h>

#include <algorithm>
#include <cctype>
#include <map>
#include <memory>

#include "cli/failures.h"
#include "cli/options.h"
#include "cli/output.h"
#include "cli/selection.h"
#include "cli/terminal.h"
#include "cli/version.h"
#include "output/csv.h"
#include "output/status.h"
#include "output/table.h"
#include "platform/system.h"
#include "records/record_cells.h"
#include "records/record_json.h"
#include "support/dos_date.h"
#include "support/text.h"
#include "verbs/verbs.h"

namespace tessaron::tool {
namespace {

struct Options {
  std::string collection;
  std::vector<std::string> query;
  std::optional<int> within;
  std::string output;
  Form form = Form::Table;
};

/// The columns of an export that JSON, CSV and TSV lists contain before the verb's own ones.
const std::vector<std::string> kColumns = {"ASIN",        "Title",         "ProductGroup",
                                           "status.name", "status.target", "status.begin",
                                           "status.end",  "status.text",   "status.due"};

/// The fields that lists of loans contain. A record with all others takes kilobytes.
struct LoanFields {
  explicit LoanFields(const CRecord& item)
      : asin(item.ASIN),
        title(item.Title),
        group(item.ProductGroup),
        target(item.StatusTarget),
        status(item.status),
        begin(item.StatusBeginDate),
        end(item.StatusEndDate) {}

  CRecord record() const {
    CRecord record;
    record.ASIN = asin;
    record.Title = title;
    record.ProductGroup = group;
    record.hasStatus = true;
    record.StatusTarget = target;
    record.status = status;
    record.StatusBeginDate = begin;
    record.StatusEndDate = end;
    return record;
  }

  std::u16string asin, title, group, target;
  std::int32_t status;
  std::uint16_t begin, end;
};

/// An item with an end date.
struct Loan {
  CRecord record() const { return fields.record(); }

  LoanFields fields;
  std::string mark;  ///< as `dueMark`; empty for an item listed only because of --within
  int daysLeft;
};

/// The items that are due or due soon, or with `within`, that end in so many days or fewer; the
/// longest overdue first.
std::vector<Loan> findLoans(Selection& items, std::optional<int> within, const SYSTEMTIME& now) {
  std::vector<Loan> loans;
  items.forEachRecord(false, [&](const CRecord& record) {
    const std::optional<int> days = daysLeft(record, now);
    const std::string mark = dueMark(record, now);
    if (days && (within ? *days <= *within : !mark.empty()))
      loans.push_back({LoanFields(record), mark, *days});
  });
  std::stable_sort(loans.begin(), loans.end(),
                   [](const Loan& a, const Loan& b) { return a.daysLeft < b.daysLeft; });
  return loans;
}

std::string markOf(const Loan& loan) { return loan.mark.empty() ? "later" : loan.mark; }

/// A content line of a calendar, folded between characters to at most 75 octets per line; ends with
/// CRLF.
std::string foldedLine(std::string_view line) {
  std::string folded;
  std::size_t length = 0;
  for (std::size_t at = 0; at < line.size();) {
    std::size_t end = at + 1;
    while (end < line.size() && (line[end] & 0xC0) == 0x80) ++end;
    if (length + (end - at) > 75) {
      folded += "\r\n ";
      length = 1;
    }
    folded += line.substr(at, end - at);
    length += end - at;
    at = end;
  }
  return folded + "\r\n";
}

std::string calendarText(std::string_view text) {
  std::string escaped;
  for (const char c : printable(text, true)) {
    if (c == '\\' || c == ';' || c == ',') escaped += '\\';
    if (c == '\n')
      escaped += "\\n";
    else
      escaped += c;
  }
  return escaped;
}

/// The event's identifier, the same in every calendar of this collection.
std::string eventId(const CRecord& record, std::map<std::string, int>& seen) {
  std::string id;
  for (const char c : toUtf8(record.ASIN.empty() ? record.Title : record.ASIN)) {
    const bool plain = std::isalnum(static_cast<unsigned char>(c)) != 0;
    id += plain ? std::string(1, c) : fmt::format("-{:02x}", static_cast<unsigned char>(c));
  }
  const int count = ++seen[id];
  return count == 1 ? id : fmt::format("{}.{}", id, count);
}

std::string calendar(const std::vector<Loan>& loans, const SYSTEMTIME& now) {
  std::vector<std::string> lines = {"BEGIN:VCALENDAR", "VERSION:2.0",
                                    fmt::format("PRODID:-//TessaronBF//tessaron {}//EN", kVersion)};
  const std::string stamp = fmt::format("DTSTAMP:{:04}{:02}{:02}T{:02}{:02}{:02}Z", now.wYear,
                                        now.wMonth, now.wDay, now.wHour, now.wMinute, now.wSecond);
  std::map<std::string, int> seen;
  for (const Loan& loan : loans) {
    const CRecord record = loan.record();
    std::string date = isoDate(record.StatusEndDate);
    std::erase(date, '-');
    const std::string title = calendarText(toUtf8(record.Title));
    const std::string text = calendarText(toUtf8(statusText(record)));
    for (std::string line :
         {std::string("BEGIN:VEVENT"), "UID:" + eventId(record, seen) + "@tessaron", stamp,
          "DTSTART;VALUE=DATE:" + date, "SUMMARY:Due: " + title, "DESCRIPTION:" + text,
          std::string("TRANSP:TRANSPARENT"), std::string("BEGIN:VALARM"),
          std::string("ACTION:DISPLAY"), "DESCRIPTION:Due: " + title, std::string("TRIGGER:-P1D"),
          std::string("END:VALARM"), std::string("END:VEVENT")})
      lines.push_back(std::move(line));
  }
  lines.emplace_back("END:VCALENDAR");
  std::string text;
  for (const std::string& line : lines) text += foldedLine(line);
  return text;
}

void writeJson(const Loan& loan, const SYSTEMTIME& now, JsonWriter& json) {
  const CRecord record = loan.record();
  json.beginObject();
  json.key("ASIN");
  json.text(record.ASIN);
  json.key("Title");
  json.text(record.Title);
  json.key("ProductGroup");
  json.text(record.ProductGroup);
  json.key("status");
  writeStatus(record, now, json);
  json.key("state");
  json.text(fromUtf8(markOf(loan)));
  json.key("daysLeft");
  json.number(loan.daysLeft);
  json.endObject();
}

std::string textFor(const std::vector<Loan>& loans, Form form, const SYSTEMTIME& now) {
  std::string text;
  if (form == Form::Json) {
    JsonWriter json(text);
    json.beginArray();
    for (const Loan& loan : loans) writeJson(loan, now, json);
    json.endArray();
    return text + '\n';
  }
  std::vector<std::string> heading(kColumns);
  heading.insert(heading.end(), {"state", "daysLeft"});
  text = separatedRow(form, heading);
  RowWriter row(form, text);
  for (const Loan& loan : loans) {
    const CRecord record = loan.record();
    for (const std::string& column : kColumns) {
      std::string cell;
      appendCell(record, recordColumn(column), now, cell);
      row.add(cell);
    }
    row.add(markOf(loan));
    row.add(std::to_string(loan.daysLeft));
    row.end();
  }
  return text;
}

int run(const Options& options, const Context& context) {
  requireOtherFile(options.output, options.collection);
  Selection items(options.collection, options.query);
  const SYSTEMTIME now = utcNow();
  const std::vector<Loan> loans = findLoans(items, options.within, now);
  Output output(options.output);
  if (options.form == Form::Ics) {
    output.write(calendar(loans, now));
  } else if (options.form != Form::Table) {
    output.write(textFor(loans, options.form, now));
  } else if (!loans.empty()) {
    Table table({"ASIN", "Title", "Status", "Who", "Until", "Due", "Days"},
                {Fit::Whole, Fit::Title, Fit::Wrap, Fit::Wrap, Fit::Whole, Fit::Whole, Fit::Whole});
    for (const Loan& loan : loans) {
      const CRecord record = loan.record();
      auto [what, who, until] = statusCells(record);
      table.add({{toUtf8(record.ASIN)},
                 {toUtf8(record.Title)},
                 std::move(what),
                 std::move(who),
                 std::move(until),
                 dueCell(markOf(loan)),
                 {std::to_string(loan.daysLeft)}});
    }
    table.print(context, output);
  }
  output.finish();
  if (!loans.empty()) return kDone;
  throw Failure{kFailed, items.name(),
                items.isWhole() || items.count() > 0 ? "nothing is due" : items.emptyReason()};
}

}  // namespace

void addDue(CLI::App& app, Context& context) {
  const auto options = std::make_shared<Options>();
  CLI::App* verb = app.add_subcommand("due", "Lists what is due or due soon, overdue items first");
  verb->footer("Days are counted in UTC. Exit code 1 when nothing is due.");
  addCollectionOption(*verb, options->collection, false);
  addQueryArgument(*verb, options->query);
  verb->add_option("--within", options->within,
                   "All that ends within so many days, instead of what is due or due soon")
      ->type_name("DAYS")
      ->check([](const std::string& text) {
        constexpr std::size_t kDigits = 5;  // enough for the days from 1980 to 2107
        const bool days = !text.empty() && text.size() <= kDigits &&
                          text.find_first_not_of("0123456789") == text.npos;
        return days ? std::string() : '"' + text + "\" is no number of days from 0 to 99999";
      });
  addFormFlags(*verb, options->form, {Form::Json, Form::Csv, Form::Tsv, Form::Ics});
  addOutputOption(*verb, options->output);
  verb->callback([&context, options] {
    context.run = [&context, options] { return run(*options, context); };
  });
}

}  // namespace tessaron::tool
