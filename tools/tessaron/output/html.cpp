#include "output/html.h"

#include <fmt/format.h>

#include <algorithm>
#include <iterator>
#include <utility>

#include "output/html_text.h"
#include "output/page/page.h"
#include "output/page_item.h"
#include "records/due.h"
#include "support/dos_date.h"
#include "support/text.h"

namespace tessaron::tool {

namespace {

/// How many items an element with data has; the script parses them one by one.
constexpr std::size_t kBlock = 500;

/// The source expression of a content security policy for a hexadecimal digest.
std::string hashSource(std::string_view digest) {
  std::string bytes;
  const auto value = [](char digit) { return digit <= '9' ? digit - '0' : digit - 'a' + 10; };
  for (std::size_t i = 0; i + 1 < digest.size(); i += 2)
    bytes += static_cast<char>(value(digest[i]) << 4 | value(digest[i + 1]));
  return "'sha256-" + base64(bytes) + '\'';
}

std::string_view imageSources(PageCovers covers) {
  switch (covers) {
    case PageCovers::Addresses:
      return "http: https:";
    case PageCovers::Embedded:
      return "data:";
    case PageCovers::Folder:
      return "'self' file:";
    default:
      return "'none'";
  }
}

std::string addressIn(const CRecord& record) {
  for (const std::u16string* image :
       {&record.LargeImage, &record.MediumImage, &record.SmallImage}) {
    std::string address = toUtf8(*image);
    if (isWebAddress(address)) return address;
  }
  return {};
}

/// The list escaped, its entries separated by commas, or by semicolons if one contains a comma, as
/// sort forms of names do.
std::string joined(const CRecord::Strings& list) {
  const bool hasCommas = std::ranges::any_of(
      list, [](const std::u16string& item) { return item.find(u',') != item.npos; });
  std::string out;
  for (const std::u16string& item : list) {
    if (item.empty()) continue;
    if (!out.empty()) out += hasCommas ? "; " : ", ";
    out += escapeHtml(item);
  }
  return out;
}

std::string people(const CRecord& record) {
  for (const CRecord::Strings* list : {&record.authors, &record.artists, &record.directors})
    if (std::string names = joined(*list); !names.empty()) return names;
  return joined(record.actors);
}

/// What stands around the items, in both homes of the page.
void appendHead(std::string_view title, std::string_view inside, std::string& out) {
  const std::string escapedTitle = escapeHtml(title);
  out += fmt::format(
      "<!DOCTYPE html>\n<html lang=\"en\">\n<head>\n<meta charset=\"utf-8\">\n{1}"
      "<meta name=\"viewport\" content=\"width=device-width, initial-scale=1\">\n"
      "<meta name=\"color-scheme\" content=\"light dark\">\n"
      "<meta name=\"referrer\" content=\"no-referrer\">\n"
      "<title>{0}</title>\n</head>\n<body>\n"
      "<header>\n<h1 dir=\"auto\">{0}</h1>\n<p class=\"about\" id=\"about\"></p>\n</header>\n"
      "<div class=\"tools\" id=\"tools\"></div>\n<main id=\"items\"></main>\n",
      escapedTitle, inside);
}

void appendFacts(std::string_view title, const SYSTEMTIME& now, bool isServed, std::string& out) {
  out += "<script type=\"application/json\" id=\"facts\">";
  appendPageFacts(title, now, isServed, out);
  out += "</script>\n";
}

class Page {
 public:
  Page(PageCovers covers, const CoverAddress& cover, const SYSTEMTIME& now, Output& output)
      : covers_(covers), cover_(cover), now_(now), output_(output) {}

  void write(Selection& items, std::string_view title) {
    appendHead(title,
               fmt::format("<meta http-equiv=\"Content-Security-Policy\" content=\"default-src "
                           "'none'; img-src {}; style-src {}; script-src {}; base-uri 'none'; "
                           "form-action 'none'\">\n<style>{}</style>\n",
                           imageSources(covers_), hashSource(kPageStyleSha256),
                           hashSource(kPageScriptSha256), kPageStyle),
               out_);
    appendFacts(title, now_, false, out_);
    items.forEachRecord(true, [this](const CRecord& record) { add(record); });
    endBlock();
    if (items.count() == 0)
      out_ += "<noscript><p class=\"none\">This collection is empty.</p></noscript>\n";
    out_.append("<script>").append(pageScript()).append("</script>\n</body>\n</html>\n");
    handOver();
  }

 private:
  void handOver() {
    output_.write(out_);
    out_.clear();
  }

  void add(const CRecord& record) {
    if (count_ % kBlock == 0) {
      endBlock();
      out_ += "<script type=\"application/json\" class=\"items\">\n";
    } else {
      out_ += '\n';
    }
    ++count_;
    const std::string cover = coverOf(record);
    PageItemExtras extras;
    extras.cover = cover;
    appendPageItem(record, now_, extras, out_);
    appendLine(record);
    handOver();
  }

  std::string coverOf(const CRecord& record) const {
    if (covers_ == PageCovers::Addresses) return addressIn(record);
    return covers_ == PageCovers::None ? std::string() : cover_(record);
  }

  /// Ends the data of a block, and writes its items for browsers without the script.
  void endBlock() {
    if (lines_.empty()) return;
    out_.append("\n</script>\n<noscript><ul class=\"lines\">\n")
        .append(lines_)
        .append("</ul></noscript>\n");
    lines_.clear();
    handOver();
  }

  void appendLine(const CRecord& record) {
    const std::string title = escapeHtml(record.Title.empty() ? record.ASIN : record.Title);
    lines_ += fmt::format("<li dir=\"auto\"><b>{}</b>", title);
    std::string status = escapeHtml(toUtf8(statusLabel(record.status)));
    if (!record.hasStatus) status.clear();
    if (const std::string due = dueMark(record, now_); !due.empty()) status += ", " + due;
    for (const std::string& part :
         {people(record), toUtf8(yearOf(record)), escapeHtml(record.ProductGroup), status,
          escapeHtml(record.StatusTarget), escapeHtml(record.Notes), escapeHtml(record.ListPrice)})
      if (!part.empty()) lines_.append(" · ").append(part);
    lines_ += "</li>\n";
  }

  PageCovers covers_;
  const CoverAddress& cover_;
  SYSTEMTIME now_;
  Output& output_;
  std::size_t count_ = 0;
  std::string lines_;  ///< of the block that is being written
  std::string out_;
};

}  // namespace

void writeHtmlPage(Selection& items, std::string_view title, const SYSTEMTIME& now,
                   PageCovers covers, const CoverAddress& cover, Output& output) {
  Page(covers, cover, now, output).write(items, title);
}

std::string servedPage(std::string_view title, const SYSTEMTIME& now, bool isReadOnly) {
  std::string out;
  appendHead(title,
             "<link rel=\"stylesheet\" href=\"page.css\">\n<link rel=\"icon\" href=\"data:,\">\n",
             out);
  appendFacts(title, now, true, out);
  out +=
      "<noscript><p class=\"none\">This page needs its script.</p></noscript>\n"
      "<script src=\"page.js\"></script>\n";
  if (!isReadOnly) out += "<script src=\"page_edit.js\"></script>\n";
  return out + "</body>\n</html>\n";
}

void writeServedPage(std::string_view title, const SYSTEMTIME& now, bool isReadOnly,
                     Output& output) {
  output.write(servedPage(title, now, isReadOnly));
}

}  // namespace tessaron::tool
