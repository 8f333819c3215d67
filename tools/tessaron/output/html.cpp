#include "output/html.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <map>
#include <utility>
#include <variant>

#include "cli/output.h"
#include "cli/selection.h"
#include "output/html_text.h"
#include "output/page/page.h"
#include "records/due.h"
#include "records/record_fields.h"
#include "support/ascii.h"
#include "support/dos_date.h"
#include "support/text.h"

namespace tessaron::tool {

namespace {

std::string escaped(const std::u16string& text) { return escapeHtml(text); }

/// Joins with commas, or with semicolons if an item contains a comma, as in sort forms of names.
std::string joined(const CRecord::Strings& list) {
  const bool hasCommas = std::ranges::any_of(
      list, [](const std::u16string& item) { return item.find(u',') != item.npos; });
  std::string out;
  for (const std::u16string& item : list) {
    if (item.empty()) continue;
    if (!out.empty()) out += hasCommas ? "; " : ", ";
    out += escaped(item);
  }
  return out;
}

/// The source expression of a content security policy: the hexadecimal digest in base 64.
std::string hashSource(std::string_view digest) {
  constexpr std::string_view kDigits =
      "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
  std::string out = "'sha256-";
  unsigned pending = 0;
  int bits = 0;
  for (const char digit : digest) {
    pending = pending << 4 | static_cast<unsigned>(digit <= '9' ? digit - '0' : digit - 'a' + 10);
    bits += 4;
    if (bits < 6) continue;
    bits -= 6;
    out += kDigits[pending >> bits & 63];
  }
  if (bits > 0) out += kDigits[pending << (6 - bits) & 63];
  out.append((4 - (digest.size() / 2 * 4 + 2) / 3 % 4) % 4, '=');
  return out + '\'';
}

/// The drawn cover's shape.
std::string_view coverShape(const CRecord& record) {
  static constexpr std::pair<std::string_view, std::string_view> kShapes[] = {
      {"music", "disc"}, {"audio", "disc"}, {"game", "game"},    {"dvd", "film"},
      {"video", "film"}, {"film", "film"},  {"software", "box"}, {"book", "book"},
  };
  const std::string group = lowerLetters(toUtf8(record.ProductGroup));
  for (const auto& [part, shape] : kShapes)
    if (group.find(part) != group.npos) return shape;
  return "book";
}

/// The drawn cover's color, one of twelve; depends only on the ASIN.
unsigned coverHue(const CRecord& record) {
  std::uint32_t hash = 2166136261u;  // FNV-1a
  for (const char16_t unit : record.ASIN) hash = (hash ^ unit) * 16777619u;
  return hash % 12;
}

/// Han characters look different in Japanese and Chinese text; kana mark a text as Japanese.
std::string_view language(const std::u16string& text) {
  const bool kana =
      std::any_of(text.begin(), text.end(), [](char16_t c) { return c >= 0x3040 && c < 0x3100; });
  return kana ? "ja" : "";
}

std::string coverAddress(const CRecord& record) {
  for (const std::u16string* image :
       {&record.LargeImage, &record.MediumImage, &record.SmallImage}) {
    std::string address = toUtf8(*image);
    if (isWebAddress(address)) return address;
  }
  return {};
}

/// The creators shown on the front of a card.
std::string people(const CRecord& record) {
  for (const CRecord::Strings* list : {&record.authors, &record.artists, &record.directors})
    if (std::string names = joined(*list); !names.empty()) return names;
  return joined(record.actors);
}

std::string stars(const std::u16string& rating) {
  const std::string text = toUtf8(rating);
  const bool plain = !text.empty() && text.size() <= 4 && text[0] >= '0' && text[0] <= '5' &&
                     text.find_first_not_of("0123456789.") == text.npos;
  return plain ? fmt::format("<b aria-hidden=\"true\">★</b> {}", text) : escapeHtml(text);
}

/// The fields that the page lists as facts, in order.
constexpr auto kFacts = [] {
  std::array<const Field*, 30> facts{};
  for (const Field& field : kFields)
    if (!field.page.label.empty()) facts.at(field.page.order) = &field;
  if (std::find(facts.begin(), facts.end(), nullptr) != facts.end()) throw "a number is missing";
  return facts;
}();

class Page {
 public:
  Page(Selection& items, std::string_view title, const SYSTEMTIME& now, Output& output)
      : items_(items), title_(escapeHtml(title)), now_(now), output_(output) {}

  void write() {
    items_.forEachRecord(false, [this](const CRecord& record) {
      ++groups_[record.ProductGroup];
      ++statuses_[record.hasStatus ? record.status : -1];
      if (dueStateAt(record, now_) != 0) ++due_;
    });
    head();
    cards();
    foot();
    handOver();
  }

 private:
  template <typename... Args>
  void put(fmt::format_string<Args...> format, Args&&... args) {
    fmt::format_to(std::back_inserter(out_), format, std::forward<Args>(args)...);
  }

  void handOver() {
    output_.write(out_);
    out_.clear();
  }

  void head() {
    put("<!DOCTYPE html>\n<html lang=\"en\">\n<head>\n<meta charset=\"utf-8\">\n"
        "<meta http-equiv=\"Content-Security-Policy\" content=\"default-src 'none'; "
        "img-src http: https:; style-src {}; script-src {}; base-uri 'none'; "
        "form-action 'none'\">\n"
        "<meta name=\"viewport\" content=\"width=device-width, initial-scale=1\">\n"
        "<meta name=\"color-scheme\" content=\"light dark\">\n"
        "<meta name=\"referrer\" content=\"no-referrer\">\n"
        "<title>{}</title>\n<style>{}</style>\n</head>\n<body>\n",
        hashSource(kPageStyleSha256), hashSource(kPageScriptSha256), title_, kPageStyle);
    put("<header>\n<h1 dir=\"auto\">{}</h1>\n<p class=\"about\">{} as of "
        "{:04}-{:02}-{:02}",
        title_, counted(items_.count()), now_.wYear, now_.wMonth, now_.wDay);
    if (due_ > 0) put(" · <span class=\"due\">{} due</span>", due_);
    out_ += "</p>\n</header>\n";
    tools();
  }

  static std::string counted(std::size_t items) {
    return fmt::format("{} {}", items, items == 1 ? "item" : "items");
  }

  /// Writes the controls, hidden until the script runs.
  void tools() {
    out_ +=
        "<div class=\"tools\">\n<form id=\"tools\" role=\"search\" hidden>\n"
        "<input type=\"search\" id=\"query\" autocomplete=\"off\" spellcheck=\"false\" "
        "aria-label=\"Search\" placeholder=\"Search titles, people, tracks …\">\n"
        "<select id=\"group\" aria-label=\"Group\">\n<option value=\"*\">All groups</option>\n";
    for (const auto& [group, count] : groups_) {
      // The prefix keeps a group's name from matching the value for all groups.
      const std::string name = escaped(group);
      put("<option value=\"={}\">{} ({})</option>\n", name, name.empty() ? "No group" : name,
          count);
    }
    out_ +=
        "</select>\n<select id=\"status\" aria-label=\"Status\">\n"
        "<option value=\"*\">Any status</option>\n";
    if (due_ > 0) put("<option value=\"due\">Due or due soon ({})</option>\n", due_);
    for (const auto& [status, count] : statuses_) {
      if (status == -1)
        put("<option value=\"none\">No status ({})</option>\n", count);
      else
        put("<option value=\"{}\">{} ({})</option>\n", status, statusLabel(status), count);
    }
    out_ +=
        "</select>\n<output id=\"count\" for=\"query group status\" aria-live=\"polite\">"
        "</output>\n</form>\n</div>\n";
  }

  static std::string statusLabel(int status) {
    const std::string name = toUtf8(tessaron::statusLabel(status));
    return name.empty() ? fmt::format("Status {}", status) : escapeHtml(name);
  }

  /// Splits a long collection into blocks. The browser holds all but the first as text until the
  /// script turns them into cards.
  void cards() {
    constexpr std::size_t kBlock = 500;
    out_ += "<main id=\"items\">\n";
    std::string_view end = "</main>\n";
    std::size_t count = 0;
    items_.forEachRecord(true, [&](const CRecord& record) {
      if (count > 0 && count % kBlock == 0) {
        out_.append(end).append("<script type=\"text/plain\" class=\"later\">\n");
        end = "</script>\n";
      }
      ++count;
      card(record);
      handOver();
    });
    out_ += end;
    if (count > kBlock)
      put("<noscript><p class=\"none\">Without scripts only the first {} items can be shown.</p>"
          "</noscript>\n",
          kBlock);
  }

  void card(const CRecord& record) {
    const std::string group = escaped(record.ProductGroup);
    const std::string due = dueMark(record, now_);
    put("<article class=\"card\" data-id=\"{}\" data-group=\"{}\" data-status=\"{}\" "
        "data-due=\"{}\">",
        escaped(record.ASIN), group,
        record.hasStatus ? std::to_string(record.status) : std::string("none"),
        due.empty() ? "" : "due");
    cover(record);

    const std::string title = escaped(record.Title);
    const std::string byline = people(record);
    out_ += "<div class=\"body\">";
    marks(record, due);
    put("<h2 dir=\"auto\" lang=\"{}\">{}</h2>", language(record.Title),
        title.empty() ? escaped(record.ASIN) : title);
    if (!byline.empty())
      put("<p class=\"by\" dir=\"auto\" lang=\"{}\">{}</p>", language(record.Title), byline);
    std::string kind = group;
    if (!record.Binding.empty() && record.Binding != record.ProductGroup)
      kind += (kind.empty() ? "" : " · ") + escaped(record.Binding);
    if (!kind.empty()) put("<p class=\"kind\" dir=\"auto\">{}</p>", kind);
    if (record.hasStatus)
      put("<p class=\"state\" dir=\"auto\">{}</p>", escaped(statusText(record)));
    price(record);
    out_ += "<details><summary>Details</summary><div class=\"more\">";
    facts(record);
    texts(record);
    out_ += "</div></details></div></article>\n";
  }

  void cover(const CRecord& record) {
    put("<div class=\"cover {} h{}\"><div class=\"drawn\" aria-hidden=\"true\" lang=\"{}\">"
        "<b dir=\"auto\">{}</b><i dir=\"auto\">{}</i></div>",
        coverShape(record), coverHue(record), language(record.Title), escaped(record.Title),
        people(record));
    if (const std::string address = coverAddress(record); !address.empty())
      put("<img src=\"{}\" alt=\"\" loading=\"lazy\" decoding=\"async\" "
          "referrerpolicy=\"no-referrer\">",
          escapeHtml(address));
    out_ += "</div>";
  }

  void marks(const CRecord& record, const std::string& due) {
    if (!record.hasStatus) return;
    put("<div class=\"marks\"><span class=\"mark s{}\">{}</span>", record.status,
        statusLabel(record.status));
    if (!due.empty())
      put("<span class=\"mark {}\">{}</span>", due == "due soon" ? "soon" : "due", due);
    out_ += "</div>";
  }

  void price(const CRecord& record) {
    out_ += "<div class=\"price\">";
    for (const std::u16string* price :
         {&record.ListPrice, &record.LowestNewPrice, &record.LowestUsedPrice}) {
      if (price->empty()) continue;
      put("<span>{}</span>", escaped(*price));
      break;
    }
    if (!record.AverageRating.empty()) {
      put("<span class=\"stars\">{}", stars(record.AverageRating));
      if (!record.TotalReviews.empty()) put(" ({})", escaped(record.TotalReviews));
      out_ += "</span>";
    }
    out_ += "</div>";
  }

  void fact(std::string_view label, const std::string& value) {
    if (!value.empty()) put("<dt>{}</dt><dd dir=\"auto\">{}</dd>", label, value);
  }

  static std::string offer(const std::u16string& price, const std::u16string& count) {
    if (price.empty() || count.empty()) return escaped(price);
    return fmt::format("{} ({})", escaped(price), escaped(count));
  }

  void facts(const CRecord& record) {
    out_ += "<dl>";
    for (const Field* field : kFacts) {
      if (const auto* text = std::get_if<TextMember>(&field->member))
        fact(field->page.label, escaped(record.**text));
      else
        fact(field->page.label, joined(record.*std::get<ListMember>(field->member)));
    }
    fact("List price", escaped(record.ListPrice));
    fact("New from", offer(record.LowestNewPrice, record.TotalNew));
    fact("Used from", offer(record.LowestUsedPrice, record.TotalUsed));
    fact("Offer", escaped(record.offerListing.Price));
    fact("Availability", escaped(record.offerListing.Availability));
    const std::size_t slots =
        std::min(record.customFieldNames.size(), record.customFieldValues.size());
    for (std::size_t i = 0; i < slots; ++i)
      fact(escaped(record.customFieldNames[i]), escaped(record.customFieldValues[i]));
    if (record.copies > 1) fact("Copies", std::to_string(record.copies));
    for (const CLinkedFile& file : record.files) fact("File", escaped(file.path));
    fact("Added", isoDate(record.DateAdded));
    fact("ASIN", escaped(record.ASIN));
    if (const std::string address = toUtf8(record.DetailPageURL); isWebAddress(address))
      put("<dt>On the web</dt><dd><a href=\"{}\" rel=\"noopener noreferrer\" target=\"_blank\">"
          "Product page</a></dd>",
          escapeHtml(address));
    out_ += "</dl>";
  }

  void texts(const CRecord& record) {
    if (!record.Notes.empty())
      put("<section><h3>Notes</h3><p class=\"note\" dir=\"auto\">{}</p></section>",
          escaped(record.Notes));
    if (!record.description.empty())
      put("<section><h3>Description</h3><div class=\"text\" dir=\"auto\">{}</div></section>",
          tidyHtml(toUtf8(record.description)));
    list("Features", record.features, "ul");
    for (std::size_t i = 0; i < record.discs.size(); ++i)
      list(record.discs.size() == 1 ? "Tracks" : fmt::format("Disc {}", i + 1), record.discs[i],
           "ol");
    loans(record);
    reviews(record);
  }

  /// The loans besides that of the status.
  void loans(const CRecord& record) {
    if (record.loans.empty()) return;
    out_ += "<section><h3>Loans</h3><ul>";
    for (const CLoan& loan : record.loans) {
      put("<li dir=\"auto\">{} {}", statusLabel(loan.status), escaped(loan.who));
      for (const auto& [word, date] : {std::pair("from", loan.begin), std::pair("until", loan.end),
                                       std::pair("returned", loan.returned)})
        if (const std::string text = isoDate(date); !text.empty()) put(", {} {}", word, text);
      out_ += "</li>";
    }
    out_ += "</ul></section>";
  }

  void list(std::string_view heading, const CRecord::Strings& items, std::string_view element) {
    if (items.empty()) return;
    put("<section><h3>{}</h3><{}>", heading, element);
    for (const std::u16string& item : items) put("<li dir=\"auto\">{}</li>", escaped(item));
    put("</{}></section>", element);
  }

  void reviews(const CRecord& record) {
    const std::size_t count = std::min(
        {record.reviewRatings.size(), record.reviewSummaries.size(), record.reviewContents.size()});
    if (count == 0) return;
    out_ += "<section><h3>Reviews</h3>";
    for (std::size_t i = 0; i < count; ++i)
      put("<div class=\"review\"><p dir=\"auto\"><span class=\"stars\">{}</span> <b>{}</b></p>"
          "<div class=\"text plain\" dir=\"auto\">{}</div></div>",
          stars(record.reviewRatings[i]), escaped(record.reviewSummaries[i]),
          tidyHtml(toUtf8(record.reviewContents[i])));
    out_ += "</section>";
  }

  void foot() {
    out_ +=
        "<div id=\"end\" hidden></div>\n<div id=\"none\" class=\"none\" hidden><p>Nothing here "
        "fits.</p>"
        "<button type=\"button\" id=\"clear\">Show everything</button></div>\n";
    if (items_.count() == 0) out_ += "<p class=\"none\">This collection is empty.</p>\n";
    put("<footer>Covers come from the addresses in the collection; all else is in this "
        "file.</footer>\n"
        "<script>{}</script>\n</body>\n</html>\n",
        kPageScript);
  }

  Selection& items_;
  const std::string title_;
  const SYSTEMTIME now_;
  Output& output_;
  std::map<std::u16string, std::size_t> groups_;
  std::map<int, std::size_t> statuses_;
  std::size_t due_ = 0;
  std::string out_;
};

}  // namespace

void writeHtmlPage(Selection& items, std::string_view title, const SYSTEMTIME& now,
                   Output& output) {
  Page(items, title, now, output).write();
}

}  // namespace tessaron::tool
