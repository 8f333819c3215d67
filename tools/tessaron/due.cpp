#include <fmt/format.h>

#include <algorithm>
#include <cctype>
#include <map>
#include <memory>
#include <nlohmann/json.hpp>

#include "platform/system.h"
#include "record_json.h"
#include "status.h"
#include "support/text.h"
#include "verbs.h"

namespace tessaron::tool {
namespace {

struct Options {
  std::string collection;
  std::optional<int> within;
  bool json = false;
  bool ics = false;
};

/// An item that somebody has to bring back.
struct Loan {
  const CRecord* record;
  std::string mark;  ///< as `dueMark`; empty for an item that is only listed for its date
  int daysLeft;
};

/// The items that are due or due soon, or end within so many days; the longest overdue first.
std::vector<Loan> findLoans(const Collection& collection, std::optional<int> within,
                            const SYSTEMTIME& now) {
  std::vector<Loan> loans;
  for (const CRecord& record : collection.records()) {
    const std::optional<int> days = daysLeft(record, now);
    const std::string mark = dueMark(record, now);
    if (days && (within ? *days <= *within : !mark.empty()))
      loans.push_back({&record, mark, *days});
  }
  std::stable_sort(loans.begin(), loans.end(),
                   [](const Loan& a, const Loan& b) { return a.daysLeft < b.daysLeft; });
  return loans;
}

std::string markOf(const Loan& loan) { return loan.mark.empty() ? "later" : loan.mark; }

/// A content line of a calendar: folded so that no line has more than 75 octets and no character is
/// torn apart, ended with CRLF.
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

/// A name for the event that stays the same in every calendar made of this collection.
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
                                    "PRODID:-//TessaronBF//tessaron " TESSARON_VERSION "//EN"};
  const std::string stamp = fmt::format("DTSTAMP:{:04}{:02}{:02}T{:02}{:02}{:02}Z", now.wYear,
                                        now.wMonth, now.wDay, now.wHour, now.wMinute, now.wSecond);
  std::map<std::string, int> seen;
  for (const Loan& loan : loans) {
    std::string date = isoDate(loan.record->StatusEndDate);
    std::erase(date, '-');
    const std::string title = calendarText(toUtf8(loan.record->Title));
    const std::string text = calendarText(statusSentence(*loan.record));
    for (std::string line :
         {std::string("BEGIN:VEVENT"), "UID:" + eventId(*loan.record, seen) + "@tessaron", stamp,
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

void printLoans(const std::vector<Loan>& loans) {
  auto array = nlohmann::ordered_json::array();
  for (const Loan& loan : loans) {
    const nlohmann::ordered_json record = recordJson(*loan.record);
    array.push_back({{"ASIN", record["ASIN"]},
                     {"Title", record["Title"]},
                     {"ProductGroup", record["ProductGroup"]},
                     {"status", record["status"]},
                     {"state", markOf(loan)},
                     {"daysLeft", loan.daysLeft}});
  }
  printJson(array);
}

int run(const Options& options, const Context& context) {
  const Collection collection = loadCollection(options.collection);
  const SYSTEMTIME now = utcNow();
  const std::vector<Loan> loans = findLoans(collection, options.within, now);
  if (options.json) {
    printLoans(loans);
  } else if (options.ics) {
    print(calendar(loans, now));
  } else if (!loans.empty()) {
    Table table({"Title", "Status", "End", "Due", "Days"});
    for (const Loan& loan : loans)
      table.add({{toUtf8(loan.record->Title)},
                 {statusSentence(*loan.record)},
                 {isoDate(loan.record->StatusEndDate)},
                 dueCell(markOf(loan)),
                 {std::to_string(loan.daysLeft)}});
    table.print(context);
  }
  if (!loans.empty()) return kDone;
  throw Failure{kFailed, displayName(options.collection), "nothing is due"};
}

}  // namespace

void addDue(CLI::App& app, Context& context) {
  const auto options = std::make_shared<Options>();
  CLI::App* verb = app.add_subcommand("due", "Lists what is due or due soon, overdue items first");
  verb->footer("Days are counted in UTC. Exit code 1 when nothing is due.");
  addCollectionOption(*verb, options->collection, false);
  verb->add_option("--within", options->within,
                   "All that ends within so many days, instead of what is due or due soon")
      ->type_name("DAYS")
      ->check(CLI::NonNegativeNumber);
  CLI::Option* json = verb->add_flag("--json", options->json, "Print the items as JSON");
  verb->add_flag("--ics", options->ics, "Print a calendar (iCalendar)")->excludes(json);
  verb->callback([&context, options] {
    context.run = [&context, options] { return run(*options, context); };
  });
}

}  // namespace tessaron::tool
