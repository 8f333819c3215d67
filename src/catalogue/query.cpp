#include "catalogue/query.h"

#include <algorithm>
#include <array>
#include <limits>
#include <utility>

#include "catalogue/file_links.h"
#include "catalogue/item_value_internal.h"
#include "records/due.h"
#include "support/ascii.h"
#include "support/fold.h"
#include "support/text.h"

namespace tessaron {
namespace {

constexpr double kInfinity = std::numeric_limits<double>::infinity();
constexpr std::string_view kRangeSign = "..";
constexpr std::string_view kNoStatus = "none";

// Keeps texts that are searched together apart; no character.
constexpr char16_t kTextEnd = u'\uFFFF';

bool isBlank(char c) { return c == ' ' || (c >= '\t' && c <= '\r'); }

bool isLetter(char c) { return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z'); }

// Characters of the names of fields, custom ones included.
bool isNameCharacter(char c) {
  return isLetter(c) || (c >= '0' && c <= '9') || c == '.' || c == '_' || c == '-' ||
         static_cast<unsigned char>(c) >= 0x80;
}

// How many characters of `text` name a field: those before a colon or an equals sign, if they may
// be a name. 0 when there is none.
std::size_t fieldLength(std::string_view text) {
  if (text.empty() || !isLetter(text[0])) return 0;
  const auto end = std::ranges::find_if_not(text, isNameCharacter);
  return end != text.end() && (*end == ':' || *end == '=')
             ? static_cast<std::size_t>(end - text.begin())
             : 0;
}

std::string quoted(std::string_view text) {
  std::string out = "\"";
  for (const char c : text) out.append(c == '"' ? 2 : 1, c);
  return out + '"';
}

bool isStatusName(const ItemField& field) {
  static const RecordColumn column = recordColumn("status.name");
  return field.kind == ItemField::Kind::Column && field.column == column;
}

std::string statusNames() {
  std::string names(kNoStatus);
  for (std::int32_t status = 0; status < kStatusCount; ++status)
    names += ", " + typedStatusName(status);
  return names;
}

std::string_view kindSentence(ValueKind kind) {
  switch (kind) {
    case ValueKind::Date:
      return "is no date; write YYYY-MM-DD, YYYY-MM, YYYY, today, yesterday, tomorrow, 7d, 2w, 3m, "
             "1y, or -7d for the past";
    case ValueKind::Price:
      return "is no price, such as 12.99 or $12.99";
    default:
      return "is no number";
  }
}

// The columns that words without a field are looked for in.
const std::vector<RecordColumn>& searchedColumns() {
  static const std::vector<RecordColumn> columns = [] {
    std::vector<RecordColumn> found;
    for (const std::string_view name : {"Title", "OriginalTitle", "authors", "artists", "directors",
                                        "actors", "translators", "Publisher", "Studio", "Label",
                                        "discs", "Notes", "customFields", "status.target", "ASIN"})
      found.push_back(recordColumn(name));
    return found;
  }();
  return columns;
}

}  // namespace

/// Reads a query from front to back.
class QueryParser {
 public:
  QueryParser(std::string_view text, Query& query, QueryError& error)
      : text_(text), query_(query), error_(error) {}

  bool parse() {
    for (;;) {
      while (at_ < text_.size() && isBlank(text_[at_])) ++at_;
      if (at_ == text_.size()) return true;
      if (!parseTerm()) return false;
    }
  }

 private:
  using Alternative = Query::Alternative;

  bool fail(std::size_t place, std::string message) {
    error_ = {std::move(message), place, {}};
    return false;
  }

  bool isAtEnd() const { return at_ == text_.size() || isBlank(text_[at_]); }

  bool parseTerm() {
    Query::Term& term = query_.terms_.emplace_back();
    if (text_[at_] == '-') {
      term.isNegated = true;
      ++at_;
      if (isAtEnd())
        return fail(at_ - 1,
                    "nothing follows the minus; put it in quotation marks to search for it");
    }
    for (;;) {
      Alternative alternative;
      if (!term.alternatives.empty()) {
        alternative.test = term.alternatives.back().test;
        alternative.field = term.alternatives.back().field;
        alternative.isExact = term.alternatives.back().isExact;
      }
      if (!parseAlternative(alternative)) return false;
      term.alternatives.push_back(std::move(alternative));
      if (isAtEnd()) return true;
      ++at_;  // the comma
    }
  }

  bool parseAlternative(Alternative& alternative) {
    const std::size_t begin = at_;
    if (!parseField(alternative)) return false;
    const std::size_t place = at_;
    if (!parseValue(alternative.value)) return false;
    if (alternative.test != Query::Test::Value) return resolveTest(alternative, place);
    if (!alternative.value.empty()) return resolve(alternative, place);
    const bool hasName = place > begin;
    const bool isQuoted = at_ > place;
    if (!hasName && !isQuoted) {
      const bool isInFront = at_ < text_.size() && text_[at_] == ',';
      return fail(
          begin, isInFront ? "nothing is in front of the comma"
                           : "nothing follows the comma; put texts with commas in quotation marks");
    }
    alternative.isAbsence = alternative.field && alternative.isExact;
    if (alternative.isAbsence) return true;
    if (isQuoted) return fail(place, "the text in quotation marks is empty");
    const std::string name(text_.substr(begin, place - begin - 1));
    return fail(place,
                "nothing follows the colon; \"" + name + "=\" finds items without the field");
  }

  bool parseField(Alternative& alternative) {
    const std::size_t length = fieldLength(text_.substr(at_));
    if (length == 0) return true;
    const std::string name(text_.substr(at_, length));
    const bool isHas = equalIgnoringCase(name, kHasTest);
    alternative.test = isHas                                   ? Query::Test::Has
                       : equalIgnoringCase(name, kMissingTest) ? Query::Test::Missing
                                                               : Query::Test::Value;
    if (alternative.test != Query::Test::Value) {
      if (text_[at_ + length] == '=')
        return fail(at_ + length, "write " + name + ":file, with a colon");
      at_ += length + 1;
      return true;
    }
    alternative.field = findItemField(name);
    if (!alternative.field) {
      error_ = {quoted(name) + " is no field", at_, name};
      return false;
    }
    at_ += length;
    alternative.isExact = text_[at_++] == '=';
    return true;
  }

  // Up to a blank or a comma.
  bool parseValue(std::string& value) {
    if (at_ < text_.size() && text_[at_] == '"') return parseQuoted(value);
    const std::size_t begin = at_;
    while (!isAtEnd() && text_[at_] != ',') ++at_;
    value = text_.substr(begin, at_ - begin);
    return true;
  }

  bool parseQuoted(std::string& value) {
    const std::size_t begin = at_++;
    for (;; ++at_) {
      if (at_ == text_.size()) return fail(begin, "the closing quotation mark is missing");
      if (text_[at_] == '"') {
        const bool isDoubled = at_ + 1 < text_.size() && text_[at_ + 1] == '"';
        if (!isDoubled) break;
        ++at_;
      }
      value += text_[at_];
    }
    ++at_;
    if (isAtEnd() || text_[at_] == ',') return true;
    return fail(at_, "a blank or a comma is missing behind the closing quotation mark");
  }

  // Makes of the value what it means for the field.
  bool resolve(Alternative& alternative, std::size_t place) {
    if (alternative.field && isStatusName(*alternative.field))
      return resolveStatus(alternative, place);
    if (alternative.field) alternative.kind = valueKind(*alternative.field);
    if (alternative.kind != ValueKind::Text) return resolveRange(alternative, place);
    alternative.folded = foldText(fromUtf8(alternative.value));
    return !alternative.folded.empty() || fail(place, "there is nothing to search for but accents");
  }

  bool resolveTest(Alternative& alternative, std::size_t place) {
    alternative.field = findItemField(alternative.value);
    if (alternative.test == Query::Test::Missing) {
      const bool isFile = alternative.field && alternative.field->kind == ItemField::Kind::File;
      return isFile || fail(place, "only files can be missing; write missing:file");
    }
    if (alternative.field) return true;
    if (alternative.value.empty()) return fail(place, "a field is missing behind the colon");
    error_ = {quoted(alternative.value) + " is no field", place, alternative.value};
    return false;
  }

  bool resolveStatus(Alternative& alternative, std::size_t place) {
    alternative.isAbsence = alternative.value == kNoStatus;
    if (alternative.isAbsence) return true;
    const std::optional<std::int32_t> status = statusNamed(alternative.value);
    if (!status)
      return fail(place, quoted(alternative.value) + " is no status; there are " + statusNames());
    alternative.folded = foldText(statusLabel(*status));
    return true;
  }

  bool resolveRange(Alternative& alternative, std::size_t place) {
    const std::string_view value = alternative.value;
    const std::size_t sign = value.find(kRangeSign);
    const std::string_view from = value.substr(0, sign);
    const std::string_view to = sign == value.npos ? from : value.substr(sign + kRangeSign.size());
    if (from.empty() && to.empty()) return fail(place, "a range needs at least one end");
    ValueRange low{-kInfinity, -kInfinity, {}};
    ValueRange high{kInfinity, kInfinity, {}};
    if (!resolveEnd(from, alternative.kind, place, low) ||
        !resolveEnd(to, alternative.kind, place, high))
      return false;
    if (low.first > high.last)
      return fail(place, quoted(value) + " is an empty range: it begins after its end");
    if (!low.currency.empty() && !high.currency.empty() && low.currency != high.currency)
      return fail(place, quoted(value) + " has two currencies");
    alternative.low = low.first;
    alternative.high = high.last;
    alternative.currency = low.currency.empty() ? high.currency : low.currency;
    return true;
  }

  bool resolveEnd(std::string_view text, ValueKind kind, std::size_t place, ValueRange& range) {
    if (text.empty()) return true;
    std::optional<ValueRange> found = valueRange(kind, text, query_.now_);
    if (!found) return fail(place, quoted(text) + ' ' + std::string(kindSentence(kind)));
    range = *std::move(found);
    return true;
  }

  std::string_view text_;
  Query& query_;
  QueryError& error_;
  std::size_t at_ = 0;
};

/// Matches one record.
class QueryMatch {
 public:
  QueryMatch(const Query& query, const CRecord& record) : query_(query), record_(record) {}

  bool matches() {
    return std::ranges::all_of(query_.terms_, [this](const Query::Term& term) {
      return term.isNegated != std::ranges::any_of(term.alternatives, [this](const auto& each) {
               return each.field ? matchesField(each) : matchesAnything(each);
             });
    });
  }

 private:
  using Alternative = Query::Alternative;

  // Folds all searched texts once, into one.
  bool matchesAnything(const Alternative& alternative) {
    if (searched_.empty()) {
      for (const RecordColumn column : searchedColumns()) {
        forEachText(record_, column, query_.now_, [this](std::u16string_view text) {
          appendFolded(searched_, text);
          searched_ += kTextEnd;
        });
      }
      searched_ += kTextEnd;
    }
    return searched_.find(alternative.folded) != searched_.npos;
  }

  bool matchesField(const Alternative& alternative) {
    if (alternative.test == Query::Test::Missing)
      return hasOnlyMissingFiles(query_.folder_, record_);
    if (alternative.test == Query::Test::Has) return hasText(*alternative.field);
    // The number of a status may name none.
    if (alternative.isAbsence && isStatusName(*alternative.field)) return !record_.hasStatus;
    bool hasText = false;
    bool isFound = false;
    forEachText(record_, *alternative.field, query_.now_, [&](std::u16string_view text) {
      hasText = true;
      isFound = isFound || (!alternative.isAbsence && matchesText(alternative, text));
    });
    return alternative.isAbsence ? !hasText : isFound;
  }

  bool hasText(const ItemField& field) const {
    if (isStatusName(field)) return record_.hasStatus;
    bool isFound = false;
    forEachText(record_, field, query_.now_, [&](std::u16string_view) { isFound = true; });
    return isFound;
  }

  bool matchesText(const Alternative& alternative, std::u16string_view text) {
    if (alternative.kind != ValueKind::Text) {
      const std::optional<ItemValue> value = itemValue(alternative.kind, text);
      return value && value->number >= alternative.low && value->number <= alternative.high &&
             (alternative.currency.empty() || alternative.currency == value->currency);
    }
    folded_.clear();
    appendFolded(folded_, text);
    const bool isWhole = alternative.isExact || isStatusName(*alternative.field);
    return isWhole ? folded_ == alternative.folded
                   : folded_.find(alternative.folded) != folded_.npos;
  }

  const Query& query_;
  const CRecord& record_;
  std::u16string searched_;  ///< empty until it is needed
  std::u16string folded_;
};

std::optional<Query> Query::parse(std::string_view text, const SYSTEMTIME& now, QueryError& error) {
  Query query;
  query.now_ = now;
  if (!QueryParser(text, query, error).parse()) return std::nullopt;
  return query;
}

bool Query::matches(const CRecord& record) const { return QueryMatch(*this, record).matches(); }

bool Query::needsDetail() const {
  return std::ranges::any_of(terms_, [](const Term& term) {
    return std::ranges::any_of(term.alternatives, [](const Alternative& alternative) {
      return !alternative.field || isDetail(*alternative.field);
    });
  });
}

std::string Query::text() const {
  std::string out;
  for (const Term& term : terms_) {
    if (!out.empty()) out += ' ';
    if (term.isNegated) out += '-';
    std::string_view separator;
    for (const Alternative& each : term.alternatives) {
      out += separator;
      separator = ",";
      if (each.test != Test::Value)
        (out += each.test == Test::Has ? kHasTest : kMissingTest) += ':';
      else if (each.field)
        out += each.field->name + (each.isExact ? '=' : ':');
      const bool isPlain = std::ranges::all_of(each.value, isNameCharacter) &&
                           (each.field || !each.value.starts_with('-'));
      out += isPlain ? each.value : quoted(each.value);
    }
  }
  return out;
}

}  // namespace tessaron
