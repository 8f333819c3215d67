#include "support/sort_form.h"

#include <algorithm>
#include <array>
#include <optional>

#include "platform/text.h"
#include "support/fold.h"
#include "support/text.h"

namespace tessaron {
namespace {

constexpr auto kLanguages = std::to_array<SortLanguage>({
#include "support/sort_languages.inc"
});
static_assert(std::ranges::is_sorted(kLanguages, {}, &SortLanguage::code));

constexpr std::u16string_view kSeparator = u", ";
// What tells family members from each other.
constexpr std::u16string_view kSuffixes[] = {u"Jr.", u"Jr", u"Sr.", u"Sr", u"II", u"III", u"IV"};

bool isSpace(char16_t unit) { return unit == u' ' || unit == u'\u00A0'; }
bool isApostrophe(char16_t unit) { return unit == u'\'' || unit == u'\u2019'; }

std::vector<std::u16string_view> split(std::u16string_view list) {
  std::vector<std::u16string_view> parts;
  while (!list.empty()) {
    const std::size_t end = std::min(list.find(u'|'), list.size());
    parts.push_back(list.substr(0, end));
    list.remove_prefix(std::min(end + 1, list.size()));
  }
  return parts;
}

std::vector<SortRules::Entry> entriesOf(std::u16string_view list, std::string_view source) {
  std::vector<SortRules::Entry> entries;
  for (const std::u16string_view text : split(list))
    entries.push_back({std::u16string(text), source});
  return entries;
}

// Whether the texts are the same, whatever their case and apostrophes.
bool isSame(std::u16string_view a, std::u16string_view b) {
  return std::ranges::equal(a, b, [](char16_t left, char16_t right) {
    if (isSpace(left) || isApostrophe(left))
      return isSpace(left) ? isSpace(right) : isApostrophe(right);
    return lowerCase(left) == lowerCase(right);
  });
}

// Whether the next word follows this article or particle without a space.
bool isElided(std::u16string_view entry) {
  return isApostrophe(entry.back()) || entry.back() == u'-';
}

std::u16string_view trim(std::u16string_view text) {
  while (!text.empty() && isSpace(text.front())) text.remove_prefix(1);
  while (!text.empty() && isSpace(text.back())) text.remove_suffix(1);
  return text;
}

std::string quoted(std::u16string_view text) { return '"' + toUtf8(text) + '"'; }

std::string because(std::string_view source) { return " (" + std::string(source) + ')'; }

const SortRules::Entry* longest(const std::vector<SortRules::Entry>& entries, auto matches) {
  const SortRules::Entry* best = nullptr;
  for (const SortRules::Entry& entry : entries)
    if (!entry.text.empty() && (!best || entry.text.size() > best->text.size()) && matches(entry))
      best = &entry;
  return best;
}

// Takes a name with the family name at its end apart.
class NameParts {
 public:
  NameParts(std::u16string_view name, const SortRules& rules) : rules_(rules) {
    takeRemarks(name);
    takeSuffix(name);
    const std::size_t space = lastSpace(name);
    family_ = name.substr(space);
    given_ = trim(name.substr(0, space));
    takeParticles();
    takeElided();
  }

  SortForm form() {
    SortForm form;
    form.text = family_;
    if (!remarks_.empty()) (form.text += u' ') += remarks_;
    std::u16string behind(given_);
    if (!moved_.empty()) (behind += behind.empty() ? u"" : u" ") += moved_;
    for (const std::u16string_view part : {std::u16string_view(behind), suffix_})
      if (!part.empty()) (form.text += kSeparator) += part;
    if (behind.empty())
      steps_.emplace_back("there is no given name");
    else
      steps_.insert(steps_.begin(), "the family name is " + quoted(family_) +
                                        because(rules_.nameSource) + "; it goes to the front");
    form.steps = std::move(steps_);
    return form;
  }

 private:
  // The start of the last word.
  static std::size_t lastSpace(std::u16string_view name) {
    std::size_t at = name.size();
    while (at > 0 && !isSpace(name[at - 1])) --at;
    return at;
  }

  // What stands in brackets at the end: "(editor)".
  void takeRemarks(std::u16string_view& name) {
    constexpr std::u16string_view kOpening = u"([{<", kClosing = u")]}>";
    while (!name.empty() && kClosing.find(name.back()) != kClosing.npos) {
      std::size_t at = name.find_last_of(kOpening);
      if (at == name.npos || at == 0 || !isSpace(name[at - 1])) return;
      const std::u16string remark(name.substr(at));
      remarks_ = remarks_.empty() ? remark : remark + u' ' + remarks_;
      name = trim(name.substr(0, at));
    }
  }

  void takeSuffix(std::u16string_view& name) {
    const std::u16string_view last = name.substr(lastSpace(name));
    const bool isSuffix = std::ranges::find(kSuffixes, last) != std::end(kSuffixes);
    const std::u16string_view rest = trim(name.substr(0, name.size() - last.size()));
    if (!isSuffix || lastSpace(rest) == 0) return;
    suffix_ = last;
    name = rest;
    steps_.push_back(quoted(last) + " goes to the end" + because("AACR2 22.5C8"));
  }

  // Whether `given_` ends with the words of `entry`, as words.
  bool endsWith(const SortRules::Entry& entry) const {
    const std::size_t size = entry.text.size();
    if (isElided(entry.text) || given_.size() < size) return false;
    const std::size_t begin = given_.size() - size;
    return (begin == 0 || isSpace(given_[begin - 1])) && isSame(given_.substr(begin), entry.text);
  }

  // Takes the particles between the given names and the family name, the longest ones first.
  void takeParticles() {
    const auto matches = [this](const SortRules::Entry& entry) { return endsWith(entry); };
    for (;;) {
      const SortRules::Entry* stays = longest(rules_.kept, matches);
      const SortRules::Entry* goes = longest(rules_.moved, matches);
      if (!stays && !goes) return;
      const bool isMoved = !stays || (goes && goes->text.size() > stays->text.size());
      const std::size_t size = (isMoved ? goes : stays)->text.size();
      const std::u16string particle(given_.substr(given_.size() - size));
      given_ = trim(given_.substr(0, given_.size() - size));
      if (isMoved) {
        moved_ = moved_.empty() ? particle : particle + u' ' + moved_;
        steps_.push_back(quoted(particle) + " goes behind the given names" + because(goes->source));
      } else if (moved_.empty()) {
        family_ = particle + u' ' + family_;
        steps_.push_back(quoted(particle) + " stays with the family name" + because(stays->source));
      } else {  // in front of a particle that goes
        moved_ = particle + u' ' + moved_;
      }
    }
  }

  // Takes a particle that is written with the family name: "d'Aubigné".
  void takeElided() {
    const auto matches = [this](const SortRules::Entry& entry) {
      return isElided(entry.text) && family_.size() > entry.text.size() &&
             isSame(std::u16string_view(family_).substr(0, entry.text.size()), entry.text);
    };
    const SortRules::Entry* stays = longest(rules_.kept, matches);
    const SortRules::Entry* goes = longest(rules_.moved, matches);
    if (!goes || stays || given_.empty()) return;
    moved_ = moved_.empty() ? family_.substr(0, goes->text.size())
                            : moved_ + u' ' + family_.substr(0, goes->text.size());
    family_.erase(0, goes->text.size());
    steps_.push_back(quoted(goes->text) + " goes behind the given names" + because(goes->source));
  }

  const SortRules& rules_;
  std::u16string family_, moved_, remarks_;
  std::u16string_view given_, suffix_;
  std::vector<std::string> steps_;
};

// Whether `text` ends with one of the articles behind a comma.
bool endsWithArticle(std::u16string_view text, const SortRules& rules) {
  const std::size_t comma = text.rfind(u',');
  if (comma == text.npos) return false;
  const std::u16string_view last = trim(text.substr(comma + 1));
  return std::ranges::any_of(
      rules.articles, [&](const SortRules::Entry& article) { return isSame(last, article.text); });
}

}  // namespace

std::span<const SortLanguage> sortLanguages() { return kLanguages; }

const SortLanguage* findSortLanguage(std::u16string_view name) {
  std::u16string folded = foldText(trim(name.substr(0, name.find(u'('))));
  const std::size_t region = folded.find_first_of(u"-_");
  if (region == 2 || region == 3) folded.resize(region);
  for (const SortLanguage& language : kLanguages) {
    if (fromUtf8(language.code) == folded) return &language;
    for (const std::u16string_view each : split(language.names))
      if (foldText(each) == folded) return &language;
  }
  return nullptr;
}

SortRules rulesOf(const SortLanguage& language) {
  SortRules rules;
  rules.order = language.order;
  rules.nameSource = language.nameSource;
  rules.articles = entriesOf(language.articles, language.articleSource);
  rules.kept = entriesOf(language.kept, language.nameSource);
  rules.moved = entriesOf(language.moved, language.nameSource);
  return rules;
}

SortForm titleSortForm(std::u16string_view title, const SortRules& rules) {
  title = trim(title);
  if (endsWithArticle(title, rules))
    return {std::u16string(title), {"an article is at the end already"}};
  const SortRules::Entry* article = longest(rules.articles, [&](const SortRules::Entry& entry) {
    const std::size_t size = entry.text.size();
    if (title.size() <= size || !isSame(title.substr(0, size), entry.text)) return false;
    return isElided(entry.text) ? !isSpace(title[size]) : isSpace(title[size]);
  });
  if (!article) return {std::u16string(title), {"it begins with no article"}};
  const std::u16string_view written = title.substr(0, article->text.size());
  SortForm form;
  form.text = trim(title.substr(written.size()));
  form.text.front() = upperCase(form.text.front());
  (form.text += kSeparator) += written;
  form.steps.push_back("the article " + quoted(written) + " goes to the end" +
                       because(article->source));
  return form;
}

SortForm nameSortForm(std::u16string_view name, const SortRules& rules) {
  name = trim(name);
  const auto unchanged = [&](std::string step) {
    return SortForm{std::u16string(name), {std::move(step)}};
  };
  if (name.find(u',') != name.npos) return unchanged("it has a comma, so it is a sort form");
  if (rules.order == NameOrder::AsWritten)
    return unchanged("people are sorted by what they are called first" + because(rules.nameSource));
  const auto space = std::ranges::find_if(name, isSpace);
  if (space == name.end()) return unchanged("it is one word");
  if (rules.order == NameOrder::FamilyLast) return NameParts(name, rules).form();
  const std::u16string_view family = name.substr(0, static_cast<std::size_t>(space - name.begin()));
  return {std::u16string(family) + std::u16string(kSeparator) +
              std::u16string(trim(name.substr(family.size()))),
          {"the family name is in front" + because(rules.nameSource)}};
}

}  // namespace tessaron
