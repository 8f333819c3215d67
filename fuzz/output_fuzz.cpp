// Exports a collection of the input's items in every form and reads what was written: JSON, CSV and
// TSV give the same items again, calendar and page are well-formed, and lists have all rows.

#include <unistd.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include "catalogue/readers/source_format.h"
#include "cli/context.h"
#include "cli/failures.h"
#include "fuzz.h"
#include "output/html.h"
#include "support/edited_collection.h"
#include "support/text.h"
#include "verbs/verbs.h"

namespace {

namespace fs = std::filesystem;
using Records = std::vector<CRecord>;
using tessaron::SourceFormat;

fs::path folder() {
  return fs::temp_directory_path() / ("output_fuzz." + std::to_string(getpid()));
}

// What a verb writes for the collection of the text; empty where it finds no items.
std::string outputOf(void (*add)(CLI::App&, tessaron::tool::Context&), const std::string& text,
                     std::vector<std::string> arguments) {
  const fs::path collection = folder() / "c.xml", output = folder() / "out";
  std::ofstream(collection, std::ios::binary) << text;
  fs::remove(output);
  arguments.insert(arguments.end(), {"-c", collection, "-o", output});
  CLI::App app;
  tessaron::tool::Context context;
  context.quiet = true;
  add(app, context);
  std::vector<std::string> words(arguments.rbegin(), arguments.rend());
  app.parse(words);
  try {
    CHECK(context.run() == tessaron::tool::kDone);
  } catch (const tessaron::tool::Failure& failure) {
    // There is nothing to write, or the document is no collection.
    CHECK(failure.code == tessaron::tool::kFailed || failure.code == tessaron::tool::kBadData);
  }
  std::ifstream file(output, std::ios::binary);
  return {std::istreambuf_iterator<char>(file), {}};
}

std::string listed(const std::string& text, std::vector<std::string> arguments) {
  arguments.insert(arguments.begin(), {"list", "--columns", "title,author,price,due"});
  return outputOf(tessaron::tool::addList, text, std::move(arguments));
}

std::string exported(const std::string& text, const std::string& form,
                     std::vector<std::string> arguments = {}) {
  arguments.insert(arguments.begin(), {"export", form});
  return outputOf(tessaron::tool::addExport, text, std::move(arguments));
}

Records readAll(const std::string& text, SourceFormat format) {
  Records records;
  const auto source = tessaron::openSource(tessaron::memoryFile(text), format);
  CHECK(!source->error());
  for (tessaron::SourceItem item; source->next(item); item = {}) {
    CHECK(item.error.empty());
    records.push_back(item.record);
  }
  CHECK(!source->error());
  return records;
}

// A collection of records, as their fields are written into one.
std::string collectionOf(const Records& records) {
  tessaron::EditedCollection collection;
  for (const CRecord& record : records) collection.add(record);
  return collection.text();
}

// Reading what was written and writing that gives the same text.
void checkStable(const std::string& text, const std::string& form, SourceFormat format) {
  const std::string written = exported(text, form);
  if (written.empty()) return;
  const std::string once = exported(collectionOf(readAll(written, format)), form);
  CHECK(exported(collectionOf(readAll(once, format)), form) == once);
}

std::vector<std::string> sortedLines(const std::string& text) {
  std::vector<std::string> lines;
  for (std::size_t at = 0; at < text.size(); at = text.find('\n', at) + 1)
    lines.push_back(text.substr(at, text.find('\n', at) - at));
  std::ranges::sort(lines);
  return lines;
}

// Another order has the same rows.
void checkLists(const std::string& text, std::size_t items) {
  const std::string rows = listed(text, {"--tsv"});
  CHECK(sortedLines(rows) == sortedLines(listed(text, {"--tsv", "--sort", "-title,author"})));
  CHECK(items == 0 || sortedLines(rows).size() == items + 1);
  const std::string json = listed(text, {"--json"});
  CHECK(json.empty() || readAll(json, SourceFormat::Json).size() == items);
}

void checkCalendar(const std::string& text) {
  std::size_t at = 0, events = 0;
  std::string last;
  while (at < text.size()) {
    const std::size_t end = text.find("\r\n", at);
    CHECK(end != text.npos && end - at <= 75);
    const std::string line = text.substr(at, end - at);
    CHECK(line.find_first_of("\r\n") == line.npos && !line.empty());
    CHECK(line[0] == ' ' || line.find_first_of(":;") != line.npos);
    events += line == "BEGIN:VEVENT" ? 1 : 0;
    events -= line == "END:VEVENT" ? 1 : 0;
    CHECK(events <= 1);
    last = line;
    at = end + 2;
  }
  CHECK(events == 0 && last == "END:VCALENDAR");
}

std::size_t countOf(const std::string& text, const std::string& part) {
  std::size_t count = 0;
  for (std::size_t at = text.find(part); at != text.npos; at = text.find(part, at + 1)) ++count;
  return count;
}

// No markup of an item gets into the page: it has the elements of one with plain items.
void checkPage(const std::string& page) {
  for (const char* name : {"script", "article", "style", "section", "noscript"})
    CHECK(countOf(page, std::string("<") + name) == countOf(page, std::string("</") + name + '>'));
  CHECK(page.find("javascript:") == page.npos || page.find("=\"javascript:") == page.npos);
  CHECK(countOf(page, "<iframe") + countOf(page, "<object") + countOf(page, " onerror=\"") == 0);
  CHECK(page.ends_with("</html>\n"));
}

}  // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  fs::create_directories(folder());
  const std::string text = tessaron::recoverText(asText(data, size)).text;
  tessaron::EditedCollection collection;
  CHECK(!collection.parse(text));
  const std::string json = exported(text, "--json");
  const Records records = json.empty() ? Records() : readAll(json, SourceFormat::Json);
  CHECK(records.size() == collection.records().size());
  checkStable(text, "--json", SourceFormat::Json);
  checkStable(text, "--csv", SourceFormat::Csv);
  checkStable(text, "--tsv", SourceFormat::Tsv);
  if (const std::string calendar =
          outputOf(tessaron::tool::addDue, text, {"due", "--ics", "--within", "99999"});
      !calendar.empty())
    checkCalendar(calendar);
  checkLists(text, records.size());
  const std::vector<std::string> covers =
      size % 2 == 0 ? std::vector<std::string>() : std::vector<std::string>{"--covers", "none"};
  if (const std::string page = exported(text, "--html", covers); !page.empty()) checkPage(page);
  for (const CRecord& record : records)
    checkPage(tessaron::tool::servedPage(wchar2utf8(record.Title), SYSTEMTIME(), size % 3 == 0));
  return 0;
}
