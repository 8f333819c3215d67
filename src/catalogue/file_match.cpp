#include "catalogue/file_match.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <unordered_map>
#include <unordered_set>
#include <utility>

#include "catalogue/file_links.h"
#include "catalogue/item_field.h"
#include "catalogue/item_merge.h"
#include "catalogue/item_numbers_internal.h"
#include "catalogue/title_key.h"
#include "records/product_number.h"
#include "support/fold.h"
#include "support/text.h"

namespace tessaron {
namespace {

using Kind = FileFacts::Kind;
using Place = std::uint32_t;
using Keys = std::vector<std::uint64_t>;  // of words or names, sorted

// The points of what a file and an item have in common.
constexpr double kTitlePoints = 60;
constexpr int kPersonPoints = 25, kSurnamePoints = 15, kOtherPeoplePoints = -15;
constexpr int kYearPoints = 10, kNearYearPoints = 5, kOtherYearPoints = -5;
constexpr int kLengthPoints = 10, kKindPoints = 5, kOtherKindPoints = -25;
constexpr int kOtherNumberPoints = -20;
constexpr int kNumberScore = 100, kMaxScore = 99;

constexpr double kMinLikeness = 0.6;    // of two titles, to count
constexpr std::size_t kRareWords = 3;   // of a title, by which items are looked up
constexpr std::size_t kMaxItems = 300;  // that a word may lead to; others tell too little
constexpr std::size_t kMaxTitles = 12;  // of a file

// A key in 64 bits: FNV-1a over units.
std::uint64_t keyOf(std::u16string_view text) {
  std::uint64_t hash = 0xCBF29CE484222325U;
  for (const char16_t unit : text) hash = (hash ^ unit) * 0x100000001B3U;
  return hash;
}

std::uint64_t keyOf(const Keys& keys) {
  std::uint64_t hash = keys.size();
  for (const std::uint64_t key : keys) hash = (hash ^ key) * 0x9E3779B97F4A7C15U + (hash >> 32);
  return hash;
}

void sortKeys(Keys& keys) {
  std::ranges::sort(keys);
  keys.erase(std::unique(keys.begin(), keys.end()), keys.end());
}

template <typename Visit>
void forEachWord(std::u16string_view text, Visit visit) {
  for (std::size_t at = 0; at < text.size();) {
    const std::size_t end = std::min(text.find(u' ', at), text.size());
    if (end > at) visit(text.substr(at, end - at));
    at = end + 1;
  }
}

Keys wordsIn(std::u16string_view text) {
  Keys words;
  forEachWord(text, [&](std::u16string_view word) { words.push_back(keyOf(word)); });
  sortKeys(words);
  return words;
}

std::size_t countCommon(const Keys& a, const Keys& b) {
  std::size_t count = 0;
  for (auto i = a.begin(), j = b.begin(); i != a.end() && j != b.end();) {
    if (*i == *j) {
      ++count;
      ++i;
      ++j;
    } else {
      ++(*i < *j ? i : j);
    }
  }
  return count;
}

// How like two titles are, from their words: 1 for the same words.
double likeness(const Keys& a, const Keys& b) {
  const std::size_t common = countCommon(a, b);
  if (common == 0) return 0;
  const double alike = 2.0 * static_cast<double>(common) / static_cast<double>(a.size() + b.size());
  // A subtitle, or the marks of who made the file.
  constexpr double kPart = 0.8;
  const bool isPart = common >= 2 && common == std::min(a.size(), b.size());
  return isPart ? std::max(alike, kPart) : alike;
}

/// Names of people: as a whole, whatever the order of their words, and the words that may be
/// surnames.
struct People {
  Keys names, words;

  void add(std::u16string_view person) {
    constexpr std::size_t kMinSurname = 4;
    const std::u16string key = wordsKey(person);
    if (key.empty()) return;
    names.push_back(keyOf(key));
    forEachWord(key, [&](std::u16string_view word) {
      if (word.size() >= kMinSurname) words.push_back(keyOf(word));
    });
  }
  void sort() {
    sortKeys(names);
    sortKeys(words);
  }
};

Kind kindOf(const CRecord& record) {
  struct Row {
    std::u16string_view word;
    Kind kind;
  };
  constexpr Row kGroups[] = {
      {u"book", Kind::Book},   {u"magazine", Kind::Book},    {u"comic", Kind::Book},
      {u"music", Kind::Sound}, {u"vinyl", Kind::Sound},      {u"audio", Kind::Sound},
      {u"dvd", Kind::Film},    {u"video game", Kind::Other}, {u"video", Kind::Film},
      {u"film", Kind::Film},   {u"movie", Kind::Film},       {u"blu-ray", Kind::Film},
      {u"vhs", Kind::Film}};
  const std::u16string group = foldText(record.ProductGroup);
  for (const auto& [word, kind] : kGroups)
    if (group.find(word) != group.npos) return kind;
  return Kind::Other;
}

// Audiobooks are among the books.
bool areContrary(Kind file, Kind item) {
  if (file == Kind::Other || item == Kind::Other || file == item) return false;
  return !(file == Kind::Sound && item == Kind::Book);
}

/// What an item is found by.
struct Item {
  FileMatch shown;
  std::vector<Keys> titles;  // their words
  People people;
  ProductNumbers numbers{};
  Kind kind = Kind::Other;
  int year = 0;
  double minutes = 0;
};

std::uint64_t numberOf(std::u16string_view digits) {
  std::uint64_t number = 0;
  for (const char16_t digit : digits) number = number * 10 + (digit - u'0');
  return number;
}

double numberIn(std::u16string_view text) {
  double number = 0;
  for (const char16_t unit : text) {
    if (unit < u'0' || unit > u'9') break;
    number = number * 10 + (unit - u'0');
  }
  return number;
}

Item itemOf(const CRecord& record) {
  Item item;
  item.shown.asin = record.ASIN;
  item.shown.title = record.Title;
  for (const std::u16string* title : {&record.Title, &record.OriginalTitle})
    if (Keys words = wordsIn(titleKey(*title)); !words.empty())
      item.titles.push_back(std::move(words));
  for (const CRecord::Strings* people :
       {&record.authors, &record.artists, &record.directors, &record.actors, &record.translators})
    for (const std::u16string& person : *people) item.people.add(person);
  item.people.sort();
  item.numbers = productNumbers(record);
  item.kind = kindOf(record);
  item.year = static_cast<int>(numberIn(yearOf(record)));
  item.minutes = numberIn(trimmed(record.RunningTime));
  return item;
}

/// The facts of a file as they are compared.
struct Wanted {
  struct Title {
    Keys words;
    const FileFacts::Title* source;
  };

  explicit Wanted(const FileFacts& given) : facts(given) {
    for (const FileFacts::Title& title : given.titles) {
      if (titles.size() == kMaxTitles) break;
      if (Keys words = wordsIn(titleKey(title.text)); !words.empty())
        titles.push_back({std::move(words), &title});
    }
    for (const std::u16string& person : given.people) people.add(person);
    people.sort();
  }

  const FileFacts& facts;
  std::vector<Title> titles;
  People people;
};

/// Compares one file with one item.
class Comparison {
 public:
  Comparison(const Wanted& wanted, const Item& item) : wanted_(wanted), item_(item) {}

  FileMatch match() {
    match_ = item_.shown;
    compareNumbers();
    compareTitles();
    comparePeople();
    compareYears();
    compareLengths();
    compareKinds();
    // Nothing but a title, a number or a key says that they belong together.
    const double score = isSame_     ? kNumberScore
                         : hasTitle_ ? std::min<double>(points_, kMaxScore)
                                     : 0;
    match_.score = static_cast<int>(std::lround(std::max(score, 0.0)));
    return std::move(match_);
  }

 private:
  void count(double points, std::string reason) {
    points_ += points;
    match_.reasons.push_back(std::move(reason));
  }

  void compareNumbers() {
    bool isOther = false;
    for (const FileFacts::Number& number : wanted_.facts.numbers) {
      const bool isCommon =
          std::ranges::find(item_.numbers, numberOf(number.digits)) != item_.numbers.end();
      if (isCommon) {
        isSame_ = true;
        match_.reasons.push_back(std::string(number.source) + ' ' + toUtf8(number.digits));
      }
      isOther = isOther || (!isCommon && item_.numbers.front() != 0);
    }
    if (!wanted_.facts.asin.empty() && wanted_.facts.asin == item_.shown.asin) {
      isSame_ = true;
      match_.reasons.emplace_back("ASIN");
    }
    if (isOther && !isSame_) count(kOtherNumberPoints, "another product number");
  }

  void compareTitles() {
    double best = 0;
    double bestLikeness = 0;
    const FileFacts::Title* source = nullptr;
    for (const Wanted::Title& title : wanted_.titles) {
      for (const Keys& words : item_.titles) {
        const double alike = likeness(title.words, words);
        if (alike < kMinLikeness || alike * title.source->weight <= best) continue;
        best = alike * title.source->weight;
        bestLikeness = alike;
        source = title.source;
      }
    }
    if (!source) return;
    hasTitle_ = true;
    std::string reason = source->source;
    if (bestLikeness < 1)
      reason += " (" + std::to_string(std::lround(bestLikeness * 100)) + " % alike)";
    count(kTitlePoints * best, std::move(reason));
  }

  void comparePeople() {
    if (wanted_.people.names.empty() || item_.people.names.empty()) return;
    if (countCommon(wanted_.people.names, item_.people.names) > 0)
      return count(kPersonPoints, "person");
    if (countCommon(wanted_.people.words, item_.people.words) > 0)
      return count(kSurnamePoints, "a person's surname");
    count(kOtherPeoplePoints, "other people");
  }

  void compareYears() {
    if (wanted_.facts.year == 0 || item_.year == 0) return;
    const int apart = std::abs(wanted_.facts.year - item_.year);
    if (apart == 0) return count(kYearPoints, "year");
    apart == 1 ? count(kNearYearPoints, "nearly the year")
               : count(kOtherYearPoints, "another year");
  }

  void compareLengths() {
    constexpr double kNear = 3, kNearPart = 0.04, kFarPart = 0.2;  // minutes, and parts of them
    if (wanted_.facts.minutes <= 0 || item_.minutes <= 0) return;
    const double apart = std::abs(wanted_.facts.minutes - item_.minutes);
    if (apart <= std::max(kNear, item_.minutes * kNearPart)) count(kLengthPoints, "running time");
    if (apart > item_.minutes * kFarPart) count(-kLengthPoints, "another running time");
  }

  void compareKinds() {
    if (areContrary(wanted_.facts.kind, item_.kind)) count(kOtherKindPoints, "another kind");
    if (wanted_.facts.kind != Kind::Other && wanted_.facts.kind == item_.kind)
      count(kKindPoints, "kind");
  }

  const Wanted& wanted_;
  const Item& item_;
  FileMatch match_;
  double points_ = 0;
  bool isSame_ = false;
  bool hasTitle_ = false;
};

}  // namespace

struct FileMatcher::Parts {
  std::vector<Item> items;
  std::unordered_map<std::uint64_t, std::vector<Place>> byWord;
  std::unordered_multimap<std::uint64_t, Place> byTitle, byNumber;
  std::unordered_multimap<std::u16string, Place> byAsin;
  std::unordered_map<std::u16string, Place> byLink;
  ItemsDigest digest;

  void findByWords(const Keys& words, std::unordered_set<Place>& places) const;
};

// Adds the items that the rarest words of a title lead to.
void FileMatcher::Parts::findByWords(const Keys& words, std::unordered_set<Place>& places) const {
  std::vector<const std::vector<Place>*> lists;
  for (const std::uint64_t word : words)
    if (const auto found = byWord.find(word); found != byWord.end())
      lists.push_back(&found->second);
  std::ranges::sort(lists, {}, [](const auto* list) { return list->size(); });
  for (std::size_t i = 0; i < std::min(lists.size(), kRareWords); ++i)
    if (lists[i]->size() <= kMaxItems) places.insert(lists[i]->begin(), lists[i]->end());
}

FileMatcher::FileMatcher() : parts_(std::make_unique<Parts>()) {}
FileMatcher::~FileMatcher() = default;

void FileMatcher::add(const ItemStream& items) {
  parts_->digest.add(items.item());
  CRecord record;
  record.fullDetail = false;
  items.read(record);
  const auto place = static_cast<Place>(parts_->items.size());
  Item& item = parts_->items.emplace_back(itemOf(record));
  item.shown.place = place;
  Keys words;
  for (const Keys& title : item.titles) {
    parts_->byTitle.emplace(keyOf(title), place);
    words.insert(words.end(), title.begin(), title.end());
  }
  sortKeys(words);
  for (const std::uint64_t word : words) parts_->byWord[word].push_back(place);
  for (const std::uint64_t number : item.numbers)
    if (number != 0) parts_->byNumber.emplace(number, place);
  if (!record.ASIN.empty()) parts_->byAsin.emplace(record.ASIN, place);
  for (const CLinkedFile& file : record.files) parts_->byLink.try_emplace(file.path, place);
}

std::vector<FileMatch> FileMatcher::match(const FileFacts& facts, int minScore,
                                          std::size_t count) const {
  const Wanted wanted(facts);
  std::unordered_set<Place> places;
  const auto addAll = [&](const auto& index, const auto& key) {
    const auto [begin, end] = index.equal_range(key);
    for (auto each = begin; each != end && places.size() < kMaxItems; ++each)
      places.insert(each->second);
  };
  for (const FileFacts::Number& number : facts.numbers)
    addAll(parts_->byNumber, numberOf(number.digits));
  if (!facts.asin.empty()) addAll(parts_->byAsin, facts.asin);
  for (const Wanted::Title& title : wanted.titles) {
    addAll(parts_->byTitle, keyOf(title.words));
    parts_->findByWords(title.words, places);
  }
  std::vector<FileMatch> matches;
  for (const Place place : places) {
    FileMatch match = Comparison(wanted, parts_->items[place]).match();
    if (match.score >= std::max(minScore, 1)) matches.push_back(std::move(match));
  }
  std::ranges::sort(matches, [](const FileMatch& a, const FileMatch& b) {
    return a.score != b.score ? a.score > b.score : a.place < b.place;
  });
  if (matches.size() > count) matches.resize(count);
  return matches;
}

bool FileMatcher::isClear(const std::vector<FileMatch>& matches) {
  if (matches.empty() || matches.front().score < kClearScore) return false;
  return matches.size() == 1 || matches[0].score - matches[1].score >= kClearLead;
}

const FileMatch* FileMatcher::linkedItem(const std::u16string& link) const {
  const auto found = parts_->byLink.find(link);
  return found == parts_->byLink.end() ? nullptr : &parts_->items[found->second].shown;
}

struct LinkMatches::Walk {
  ItemsDigest seen;
  std::size_t place = 0;  // of the next item
};

LinkMatches::LinkMatches(const FileMatcher& matcher, Links links)
    : matcher_(matcher), links_(std::move(links)), walk_(std::make_unique<Walk>()) {}

LinkMatches::~LinkMatches() = default;

ItemChange LinkMatches::change(const ItemStream& items) {
  walk_->seen.add(items.item());
  const auto found = links_.find(walk_->place++);
  if (found == links_.end()) return {};
  CRecord known;
  items.read(known);
  CRecord record = known;
  for (const CLinkedFile& link : found->second) linkFile(record, link);
  auto text = updateItem(items.item(), items.version(), known, record);
  return text ? replaceItem(items, *std::move(text)) : ItemChange();
}

bool LinkMatches::accept() { return walk_->seen == matcher_.parts_->digest; }

}  // namespace tessaron
