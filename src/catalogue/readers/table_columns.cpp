#include <algorithm>
#include <array>
#include <string>
#include <variant>

#include "catalogue/readers/filling_internal.h"
#include "catalogue/readers/table_columns_internal.h"
#include "support/ascii.h"
#include "support/dos_date.h"
#include "support/text.h"

namespace tessaron {
namespace {

using Cell = ColumnCell;

void set(const Cell& cell, std::string_view text) {
  if (const auto* member = std::get_if<TextMember>(&cell.field->member); member && *member)
    cell.record.*(*member) = fromUtf8(text);
}

void append(const Cell& cell, std::string_view text) {
  if (const auto* member = std::get_if<ListMember>(&cell.field->member); member && !text.empty())
    (cell.record.*(*member)).push_back(fromUtf8(text));
}

void append(const Cell& cell) { append(cell, cell.text); }

// The cell as it is; nothing that stands there already is lost.
void text(const Cell& cell) {
  const auto* member = std::get_if<TextMember>(&cell.field->member);
  if (member && *member && (cell.record.*(*member)).empty()) set(cell, cell.text);
}

void number(const Cell& cell) {
  if (cell.text.find_first_not_of("0.") != cell.text.npos) text(cell);
}

void date(const Cell& cell) {
  const std::string plain = plainDate(cell.text);
  if (const auto* member = std::get_if<DateMember>(&cell.field->member)) {
    cell.record.*(*member) = parseIsoDate(plain);
  } else {
    set(cell, plain);
  }
}

// The parts between the separators of the argument.
void list(const Cell& cell) {
  for (const std::string& part : partsOf(cell.text, cell.argument)) append(cell, part);
}

// One person, in either order of the names.
void person(const Cell& cell) { append(cell, givenNameFirst(cell.text)); }

void people(const Cell& cell) {
  for (const std::string& part : partsOf(cell.text, cell.argument))
    append(cell, givenNameFirst(part));
}

// A person who counts only when no other column has told any.
void spare(const Cell& cell) {
  const auto* member = std::get_if<ListMember>(&cell.field->member);
  if (member && (cell.record.*(*member)).empty()) person(cell);
}

// Numbers of trade, as ="0441013597", in brackets, or several with commas.
void isbn(const Cell& cell) {
  std::string plain = cell.text;
  std::erase_if(
      plain, [](char c) { return std::string_view("=\"'[]").find(c) != std::string_view::npos; });
  for (const std::string& part : partsOf(plain, ",")) {
    if (addProductNumber(cell.record, part)) continue;
    if (cell.field->name == "ISBN" && cell.record.ISBN.empty()) cell.record.ISBN = fromUtf8(part);
  }
}

// "isbn:9780441013593,amazon:B000R34YKM".
void identifiers(const Cell& cell) {
  for (const std::string& part : partsOf(cell.text, ",")) {
    const std::size_t colon = part.find(':');
    if (colon == part.npos) continue;
    const std::string scheme = lowerLetters(std::string_view(part).substr(0, colon));
    const std::string_view value = trimmedText(std::string_view(part).substr(colon + 1));
    if (scheme == "isbn") addProductNumber(cell.record, value);
    if ((scheme.starts_with("amazon") || scheme == "asin" || scheme == "mobi-asin") &&
        cell.record.ASIN.empty())
      cell.record.ASIN = fromUtf8(value);
  }
}

void custom(const Cell& cell) { addCustomField(cell.record, cell.argument, cell.text); }

void customNumber(const Cell& cell) {
  if (cell.text.find_first_not_of("0.") != cell.text.npos) custom(cell);
}

void customDate(const Cell& cell) {
  addCustomField(cell.record, cell.argument, plainDate(cell.text));
}

void notes(const Cell& cell) { addNotes(cell.record, cell.text); }
void htmlNotes(const Cell& cell) { addNotes(cell.record, textOfHtml(cell.text)); }

// The address of the item's page, made of its number.
void page(const Cell& cell) {
  if (cell.text.find_first_not_of("0123456789") != cell.text.npos) return;
  set(cell, std::string(cell.argument) + cell.text);
}

// "Ace Books (2005), Paperback, 528 pages": the publisher stands in front.
void publication(const Cell& cell) {
  const std::string_view all = cell.text;
  std::string_view publisher = all.substr(0, all.find(" ("));
  if (publisher.size() == all.size()) publisher = all.substr(0, all.find(','));
  set(cell, trimmedText(publisher));
}

void lentTo(const Cell& cell) {
  cell.record.hasStatus = true;
  cell.record.status = 0;
  cell.record.StatusTarget = fromUtf8(cell.text);
}
void lentFrom(const Cell& cell) {
  cell.record.StatusBeginDate = parseIsoDate(plainDate(cell.text));
}
void lentUntil(const Cell& cell) { cell.record.StatusEndDate = parseIsoDate(plainDate(cell.text)); }

// A volume says nothing without a series, which stands in front of it.
void volume(const Cell& cell) {
  if (std::ranges::find(cell.record.customFieldNames, u"Series") !=
      cell.record.customFieldNames.end())
    customNumber(cell);
}

// "2xLP, Album, Gat": medium and number of media stand in front.
void discFormat(const Cell& cell) {
  const std::vector<std::string> parts = partsOf(cell.text, ",");
  std::string_view medium = parts.empty() ? std::string_view() : std::string_view(parts.front());
  const std::size_t digits = std::min(medium.find_first_not_of("0123456789"), medium.size());
  if (digits > 0 && medium.substr(digits).starts_with('x')) {
    cell.record.NumberOfDiscs = fromUtf8(medium.substr(0, digits));
    medium.remove_prefix(digits + 1);
  }
  cell.record.Binding = fromUtf8(medium);
  for (const std::string& part : parts) append(cell, part);
}

// "Pixies (2)": the number tells the artist from another one of that name.
void artist(const Cell& cell) {
  std::string_view name = cell.text;
  const std::size_t open = name.rfind(" (");
  if (name.ends_with(')') && open != name.npos &&
      name.substr(open + 2, name.size() - open - 3).find_first_not_of("0123456789") == name.npos)
    name = name.substr(0, open);
  append(cell, name);
}

// A title of the only disc.
void track(const Cell& cell) {
  if (cell.record.discs.empty()) cell.record.discs.emplace_back();
  cell.record.discs.front().push_back(fromUtf8(cell.text));
  cell.record.hasDiscs = true;
}

void productGroup(const Cell& cell) {
  struct Group {
    std::string_view kind, name;
  };
  constexpr std::array<Group, 9> kGroups = {{
      {"book", "Book"},
      {"magazine", "Magazine"},
      {"journal", "Magazine"},
      {"dvd", "DVD"},
      {"cd", "Music"},
      {"music cd", "Music"},
      {"music cds", "Music"},
      {"video game", "Video Games"},
      {"video games", "Video Games"},
  }};
  const std::string kind = lowerLetters(cell.text);
  const auto found = std::ranges::find(kGroups, kind, &Group::kind);
  set(cell, found == kGroups.end() ? std::string_view(cell.text) : found->name);
}

constexpr std::string_view kBookPage = "https://www.goodreads.com/book/show/";
constexpr std::string_view kReleasePage = "https://www.discogs.com/release/";

constexpr auto kGoodreadsSigns = std::to_array<std::string_view>({
    "Exclusive Shelf",
    "Bookshelves",
    "Author l-f",
});
constexpr auto kGoodreads = std::to_array<ColumnRule>({
    {"Title", "Title", text},
    {"Author", "authors", person},
    {"Author l-f", "authors", spare},
    {"Additional Authors", "authors", people, ","},
    {"ISBN", "ISBN", isbn},
    {"ISBN13", "EAN", isbn},
    {"Average Rating", "AverageRating", number},
    {"Publisher", "Publisher", text},
    {"Binding", "Binding", text},
    {"Number of Pages", "NumberOfPages", number},
    {"Year Published", "PublicationDate", date},
    {"Book Id", "DetailPageURL", page, kBookPage},
    {"Date Added", "DateAdded", date},
    {"My Rating", "customFields", customNumber, "My rating"},
    {"Exclusive Shelf", "customFields", custom, "Shelf"},
    {"Bookshelves", "customFields", custom, "Shelves"},
    {"Date Read", "customFields", customDate, "Date read"},
    {"Original Publication Year", "customFields", customNumber, "First published"},
    {"Read Count", "customFields", customNumber, "Times read"},
    {"Condition", "customFields", custom, "Condition"},
    {"My Review", "Notes", htmlNotes},
    {"Private Notes", "Notes", notes},
    {"Condition Description", "Notes", notes},
});

constexpr auto kLibraryThingSigns = std::to_array<std::string_view>({
    "Primary Author",
    "Work id",
    "Lending Patron",
});
constexpr auto kLibraryThing = std::to_array<ColumnRule>({
    {"Title", "Title", text},
    {"Primary Author", "authors", person},
    {"Secondary Author", "authors", people, "|"},
    {"ISBN", "ISBN", isbn},
    {"ISBNs", "ISBN", isbn},
    {"Barcode", "EAN", isbn},
    {"Publication", "Publisher", publication},
    {"Date", "PublicationDate", date},
    {"Media", "Binding", text},
    {"Page Count", "NumberOfPages", number},
    {"Languages", "languages", list, ","},
    {"List Price", "ListPrice", text},
    {"Entry Date", "DateAdded", date},
    {"Rating", "customFields", customNumber, "My rating"},
    {"Collections", "customFields", custom, "Collections"},
    {"Tags", "customFields", custom, "Tags"},
    {"Date Read", "customFields", customDate, "Date read"},
    {"Acquired", "customFields", customDate, "Acquired"},
    {"Purchase Price", "customFields", custom, "Purchase price"},
    {"Condition", "customFields", custom, "Condition"},
    {"Review", "Notes", htmlNotes},
    {"Comment", "Notes", notes},
    {"Private Comment", "Notes", notes},
    {"Lending Patron", "status.target", lentTo},
    {"Lending Start", "status.begin", lentFrom},
    {"Lending End", "status.end", lentUntil},
});

constexpr auto kCalibreSigns = std::to_array<std::string_view>({
    "author_sort",
    "title_sort",
    "series_index",
});
constexpr auto kCalibre = std::to_array<ColumnRule>({
    {"title", "Title", text},
    {"authors", "authors", people, "&"},
    {"isbn", "ISBN", isbn},
    {"identifiers", "ASIN", identifiers},
    {"publisher", "Publisher", text},
    {"pubdate", "PublicationDate", date},
    {"languages", "languages", list, ","},
    {"formats", "formats", list, ","},
    {"comments", "description", text},
    {"timestamp", "DateAdded", date},
    {"rating", "customFields", customNumber, "My rating"},
    {"tags", "customFields", custom, "Tags"},
    {"series", "customFields", custom, "Series"},
    {"series_index", "customFields", volume, "Volume"},
    {"library_name", "customFields", custom, "Library"},
});

constexpr auto kDiscogsSigns = std::to_array<std::string_view>({
    "release_id",
    "CollectionFolder",
    "Catalog#",
});
constexpr auto kDiscogs = std::to_array<ColumnRule>({
    {"Title", "Title", text},
    {"Artist", "artists", artist},
    {"Label", "Label", text},
    {"Format", "formats", discFormat},
    {"Released", "ReleaseDate", date},
    {"release_id", "DetailPageURL", page, kReleasePage},
    {"Date Added", "DateAdded", date},
    {"Catalog#", "customFields", custom, "Catalog number"},
    {"Rating", "customFields", customNumber, "My rating"},
    {"CollectionFolder", "customFields", custom, "Folder"},
    {"Collection Folder", "customFields", custom, "Folder"},
    {"Collection Media Condition", "customFields", custom, "Media condition"},
    {"Collection Sleeve Condition", "customFields", custom, "Sleeve condition"},
    {"Collection Notes", "Notes", notes},
});

constexpr auto kBiblioteqSigns = std::to_array<std::string_view>({
    "Monetary Units",
    "LC Control Number",
    "Dewey Class Number",
    "Total Reserved",
});
constexpr auto kBiblioteq = std::to_array<ColumnRule>({
    {"Title", "Title", text},
    {"Type", "ProductGroup", productGroup},
    {"Authors", "authors", people, "\n"},
    {"Artist", "artists", list, "\n"},
    {"Directors", "directors", people, "\n"},
    {"Actors", "actors", people, "\n"},
    {"Publisher", "Publisher", text},
    {"Publication Date", "PublicationDate", date},
    {"Release Date", "ReleaseDate", date},
    {"Recording Label", "Label", text},
    {"Studio", "Studio", text},
    {"ISBN-10", "ISBN", isbn},
    {"ISBN-13", "EAN", isbn},
    {"UPC", "UPC", isbn},
    {"Language", "languages", list, ","},
    {"Book Binding Type", "Binding", text},
    {"Binding", "Binding", text},
    {"Format", "formats", list, ","},
    {"Platform", "platforms", list, ","},
    {"Number of Discs", "NumberOfDiscs", number},
    {"Runtime", "RunningTime", text},
    {"Abstract", "description", text},
    {"Categories", "customFields", custom, "Categories"},
    {"Edition", "customFields", custom, "Edition"},
    {"Location", "customFields", custom, "Location"},
    {"Price", "customFields", custom, "Price"},
    {"Call Number", "customFields", custom, "Call number"},
    {"Condition", "customFields", custom, "Condition"},
    {"Keywords", "customFields", custom, "Keywords"},
});

constexpr auto kPrograms = std::to_array<TableProgram>({
    {"Goodreads", "Book", kGoodreadsSigns, kGoodreads},
    {"LibraryThing", "Book", kLibraryThingSigns, kLibraryThing},
    {"calibre", "Book", kCalibreSigns, kCalibre},
    {"Discogs", "Music", kDiscogsSigns, kDiscogs, "release_id"},
    {"BiblioteQ", "Book", kBiblioteqSigns, kBiblioteq},
});

constexpr auto kTellico = std::to_array<ColumnRule>({
    {"title", "Title", text},
    {"orig-title", "OriginalTitle", text},
    {"origtitle", "OriginalTitle", text},
    {"author", "authors", person},
    {"writer", "authors", person},
    {"artist", "artists", append},
    {"director", "directors", person},
    {"cast", "actors", person},
    {"translator", "translators", person},
    {"publisher", "Publisher", text},
    {"studio", "Studio", text},
    {"developer", "Studio", text},
    {"label", "Label", text},
    {"binding", "Binding", text},
    {"medium", "Binding", text},
    {"isbn", "ISBN", isbn},
    {"upc", "UPC", isbn},
    {"ean", "EAN", isbn},
    {"barcode", "EAN", isbn},
    {"pub_year", "PublicationDate", date},
    {"year", "ReleaseDate", date},
    {"pages", "NumberOfPages", number},
    {"language", "languages", append},
    {"format", "formats", append},
    {"platform", "platforms", append},
    {"region", "RegionCode", text},
    {"running-time", "RunningTime", text},
    {"aspect-ratio", "AspectRatio", text},
    {"certification", "AudienceRating", text},
    {"track", "discs", track},
    {"audio-track", "features", append},
    {"plot", "description", text},
    {"description", "description", text},
    {"url", "DetailPageURL", text},
    {"cdate", "DateAdded", date},
    {"rating", "customFields", customNumber, "My rating"},
    {"genre", "customFields", custom, "Genre"},
    {"keyword", "customFields", custom, "Keywords"},
    {"series", "customFields", custom, "Series"},
    {"series_num", "customFields", custom, "Volume"},
    {"issue", "customFields", custom, "Issue"},
    {"edition", "customFields", custom, "Edition"},
    {"condition", "customFields", custom, "Condition"},
    {"editor", "customFields", custom, "Editor"},
    {"producer", "customFields", custom, "Producer"},
    {"composer", "customFields", custom, "Composer"},
    {"subtitle", "customFields", custom, "Subtitle"},
    {"nationality", "customFields", custom, "Country"},
    {"cr_year", "customFields", custom, "Copyright"},
    {"pur_date", "customFields", custom, "Bought on"},
    {"pur_price", "customFields", custom, "Purchase price"},
    {"comments", "Notes", htmlNotes},
});

}  // namespace

std::span<const ColumnRule> tellicoFields() { return kTellico; }

const ColumnRule* findRule(std::span<const ColumnRule> rules, std::string_view name) {
  const auto rule = std::ranges::find_if(
      rules, [&](const ColumnRule& each) { return equalIgnoringCase(each.column, name); });
  return rule == rules.end() ? nullptr : &*rule;
}

const Field* fieldOf(const ColumnRule& rule) {
  return std::ranges::find(kFields, rule.field.substr(0, rule.field.find('.')), &Field::name);
}

std::span<const TableProgram> tablePrograms() { return kPrograms; }

}  // namespace tessaron
