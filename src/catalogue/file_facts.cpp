#include <algorithm>
#include <cstdlib>
#include <optional>
#include <utility>

#include "catalogue/file_match.h"
#include "mediainfo/category.h"
#include "mediainfo/labels.h"
#include "records/field_text.h"
#include "records/product_number.h"
#include "support/text.h"

namespace tessaron {
namespace {

constexpr std::u16string_view kDigits = u"0123456789";
constexpr std::size_t kMaxName = 1000;  // characters; more than file systems allow

bool isDigit(char16_t unit) { return unit >= u'0' && unit <= u'9'; }

std::u16string_view valueOf(const PropertyMap& map, std::uint32_t label) {
  const auto found = map.find(label);
  return found == map.end() ? std::u16string_view() : trimmed(found->second);
}

// A year from 1800 to 2099 at the beginning of a text; 0 without one.
int yearAt(std::u16string_view text) {
  if (text.size() < 4 || !std::all_of(text.begin(), text.begin() + 4, isDigit)) return 0;
  if (text.size() > 4 && isDigit(text[4])) return 0;
  const int year = std::atoi(toUtf8(text.substr(0, 4)).c_str());
  return year >= 1800 && year <= 2099 ? year : 0;
}

// Minutes in a run time such as "1:35:02" or "3:12".
double minutesOf(std::u16string_view text) {
  double seconds = 0;
  double part = 0;
  for (const char16_t unit : text) {
    if (isDigit(unit)) part = part * 10 + (unit - u'0');
    if (unit == u':') seconds = (seconds + std::exchange(part, 0)) * 60;
  }
  return (seconds + part) / 60;
}

// The names in a list such as "Ines Vale & Orla Finch".
void addPeople(std::u16string_view text, std::vector<std::u16string>& people) {
  constexpr std::u16string_view kSeparators[] = {u";",       u"/",     u" & ",
                                                 u" feat. ", u" ft. ", u" and "};
  while (!text.empty()) {
    std::size_t end = text.npos, size = 0;
    for (const std::u16string_view separator : kSeparators) {
      const std::size_t at = text.find(separator);
      if (at < end) end = at, size = separator.size();
    }
    const std::u16string_view name = trimmed(text.substr(0, end));
    if (!name.empty()) people.emplace_back(name);
    text.remove_prefix(end == text.npos ? text.size() : end + size);
  }
}

/// The name of a file or folder, taken apart.
class NameFacts {
 public:
  NameFacts(std::u16string_view name, const char* source, double weight, FileFacts& facts)
      : source_(source), weight_(weight), facts_(facts) {
    const std::u16string plain = withoutBrackets(name.substr(0, kMaxName));
    findNumbers(name.substr(0, kMaxName));
    std::u16string_view rest = plain;
    rest = rest.substr(0, yearPlace(rest));
    rest = withoutTrack(trimmed(rest));
    add(rest);
    // "Ines Vale - The Cartographer of Rain": either part may be the title.
    const std::size_t dash = rest.find(u" - ");
    if (dash == rest.npos) return;
    for (const std::u16string_view part : {rest.substr(0, dash), rest.substr(dash + 3)}) {
      add(withoutTrack(trimmed(part)));
      addPeople(part, facts_.people);
    }
  }

 private:
  // With blanks for full stops and underscores, and without what is in brackets but for a year.
  std::u16string withoutBrackets(std::u16string_view name) {
    std::u16string plain;
    int depth = 0;
    for (std::size_t at = 0; at < name.size(); ++at) {
      const char16_t unit = name[at];
      if (unit == u'(' || unit == u'[' || unit == u'{') {
        ++depth;
        const int year = yearAt(name.substr(at + 1));
        if (year != 0 && facts_.year == 0) facts_.year = year;
      } else if (unit == u')' || unit == u']' || unit == u'}') {
        depth = std::max(depth - 1, 0);
        plain += u' ';
      } else if (depth == 0) {
        plain += unit == u'.' || unit == u'_' ? u' ' : unit;
      }
    }
    return plain;
  }

  // Where a year stands behind other words, "The Matrix 1999 1080p"; npos without one.
  std::size_t yearPlace(std::u16string_view text) {
    for (std::size_t at = text.find(u' '); at != text.npos; at = text.find(u' ', at + 1)) {
      const int year = yearAt(text.substr(at + 1));
      if (year == 0 || trimmed(text.substr(0, at)).empty()) continue;
      if (facts_.year == 0) facts_.year = year;
      return at;
    }
    return text.npos;
  }

  // Without the number of a track in front: "01 - Salt", "1-07 Salt".
  static std::u16string_view withoutTrack(std::u16string_view text) {
    constexpr std::size_t kMaxTrack = 5;
    const std::size_t end = text.find_first_not_of(u"0123456789-");
    if (end == 0 || end == text.npos || end > kMaxTrack || text[end] != u' ') return text;
    const std::size_t rest = text.find_first_not_of(u" -", end);
    return rest == text.npos ? text : text.substr(rest);
  }

  void add(std::u16string_view title) {
    if (!title.empty()) facts_.titles.push_back({std::u16string(title), source_, weight_});
  }

  // Runs of 10, 12 or 13 digits, hyphens among them, that are product numbers.
  void findNumbers(std::u16string_view name) {
    for (std::size_t at = 0; (at = name.find_first_of(kDigits, at)) != name.npos;) {
      const std::size_t end = std::min(name.find_first_not_of(u"0123456789-Xx", at), name.size());
      if (const auto digits = productNumber(name.substr(at, end - at)))
        facts_.numbers.push_back({*digits, "number in the name"});
      at = end;
    }
  }

  const char* source_;
  double weight_;
  FileFacts& facts_;
};

FileFacts::Kind kindOf(const CFileInfo& file) {
  constexpr std::u16string_view kBooks[] = {u"EPUB", u"Mobipocket", u"FictionBook", u"PDF",
                                            u"DjVu"};
  if (file.category == kVideoCategory) return FileFacts::Kind::Film;
  if (file.category == kAudioCategory) return FileFacts::Kind::Sound;
  const std::u16string_view kind = valueOf(file.info, label::kKind);
  const bool isBook = file.category == kDocumentCategory || kind.starts_with(u"Comic") ||
                      std::ranges::find(kBooks, kind) != std::end(kBooks);
  return isBook ? FileFacts::Kind::Book : FileFacts::Kind::Other;
}

void addTags(const CFileInfo& file, FileFacts& facts) {
  const auto text = [&](std::uint32_t label) {
    const std::u16string_view value = valueOf(file.metaInfo, label);
    return value.empty() ? valueOf(file.info, label) : value;
  };
  const bool isTrack = facts.kind == FileFacts::Kind::Sound && !text(label::kAlbum).empty();
  const auto addTitle = [&](std::uint32_t label, const char* source, double weight) {
    if (!text(label).empty()) facts.titles.push_back({std::u16string(text(label)), source, weight});
  };
  addTitle(label::kAlbum, "album", 1);
  addTitle(label::kTitle, "title", isTrack ? 0.7 : 1);
  addTitle(label::kPictureTitle, "title", 1);
  if (facts.kind == FileFacts::Kind::Film) addTitle(label::kSeries, "series", 0.9);
  for (const std::uint32_t person :
       {label::kAuthor + 0U, label::kAlbumArtist + 0U, label::kDirector + 0U, label::kWriter + 0U,
        label::kComposer + 0U, label::kPictureAuthor + 0U})
    addPeople(text(person), facts.people);
  for (const auto& [label, source] :
       {std::pair(label::kIsbn, "ISBN"), std::pair(label::kBarCode, "bar code")})
    if (const auto digits = productNumber(text(label))) facts.numbers.push_back({*digits, source});
  facts.asin = text(label::kAsin);
  // The date on which a document or a film was made tells nothing of the edition.
  facts.year = yearAt(text(label::kYear));
  if (facts.kind == FileFacts::Kind::Film)
    facts.minutes = minutesOf(valueOf(file.info, label::kRunTime));
}

}  // namespace

FileFacts factsOf(const CFileInfo& file) {
  FileFacts facts;
  facts.kind = kindOf(file);
  addTags(file, facts);
  const std::size_t dot = file.name.rfind(u'.');
  const bool hasEnd = dot != file.name.npos && dot > 0 && file.name.size() - dot <= 6;
  NameFacts(std::u16string_view(file.name).substr(0, hasEnd ? dot : file.name.npos), "file name",
            0.95, facts);
  // The folder of a track or of a film has the name of the item.
  const std::size_t end = file.path.find_last_of(u"/\\");
  if (end == file.path.npos || end == 0) return facts;
  const std::u16string_view folder = std::u16string_view(file.path).substr(0, end);
  const std::size_t begin = folder.find_last_of(u"/\\");
  NameFacts(folder.substr(begin == folder.npos ? 0 : begin + 1), "folder", 0.9, facts);
  return facts;
}

}  // namespace tessaron
