#pragma once

#include <cstddef>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "catalogue/item_field.h"
#include "platform/types.h"
#include "records/record.h"
#include "tessaron_export.h"

namespace tessaron {

/// What a query asks of fields by "has:field" and "missing:file". No field has these names.
inline constexpr std::string_view kHasTest = "has", kMissingTest = "missing";

/// Why a text is no query: a sentence, the place of the fault in bytes, and the name of an unknown
/// field.
struct QueryError {
  std::string message;
  std::size_t place = 0;
  std::string unknownField;
};

/// What items are searched for. A query is made of terms, separated by blanks, all of which an item
/// must match:
///
///     query       = term*
///     term        = ["-"] alternative ("," alternative)*      "-": the item must not match
///     alternative = [field (":" | "=")] value                 as the one before it without a field
///                 | "has:" field | "missing:file"
///     value       = a word | "a phrase"                       a quotation mark in it is doubled
///
/// Without a field, titles, people, labels, tracks, notes, custom fields and ASIN contain the
/// value; with one, this field does (":"), or one of its texts is the value ("="). Case and accents
/// do not count, see `foldText`. Dates, numbers and prices are compared instead: with a value, or
/// with "lo..hi", both included, of which one may be missing. A status is named as a whole; "none"
/// is none. "field=" is for items without the field, "has:field" for those with it; "missing:file"
/// for those to which files are linked of which none can be opened, see `setFolder`.
///
/// Several threads may use a query at once.
class Query {
 public:
  /// The query in a text, counting days from the UTC time `now`. Nothing for a text that is none,
  /// with the reason in `error`.
  TESSARON_API static std::optional<Query> parse(std::string_view text, const SYSTEMTIME& now,
                                                 QueryError& error);

  /// Whether an item matches. The record needs its details if `needsDetail`.
  TESSARON_API bool matches(const CRecord& record) const;
  /// Whether records must be read with `CRecord::fullDetail`.
  TESSARON_API bool needsDetail() const;
  /// The folder of the collection, from which on the paths of linked files lead: see `linkFolder`.
  /// Without it they lead from the current folder on. To be set before threads use the query.
  void setFolder(std::u16string folder) { folder_ = std::move(folder); }
  /// Whether there are no terms, so that each item matches.
  bool isEmpty() const { return terms_.empty(); }
  /// The query as text, from which `parse` makes the same one.
  TESSARON_API std::string text() const;

 private:
  friend class QueryParser;
  friend class QueryMatch;

  /// What is asked of a field.
  enum class Test { Value, Has, Missing };
  struct Alternative {
    Test test = Test::Value;
    std::optional<ItemField> field;  ///< of Has: the one that the value names
    bool isExact = false;
    std::string value;

    // What `value` means: no text, a text to find, or for other kinds a range.
    bool isAbsence = false;
    std::u16string folded;
    ValueKind kind = ValueKind::Text;
    double low = 0;
    double high = 0;
    std::string currency;  ///< empty: any
  };
  struct Term {
    bool isNegated = false;
    std::vector<Alternative> alternatives;
  };

  std::vector<Term> terms_;
  SYSTEMTIME now_{};
  std::u16string folder_ = u".";
};

}  // namespace tessaron
