#pragma once

#include <cstddef>
#include <span>
#include <string>
#include <unordered_map>
#include <vector>

#include "records/item_stream.h"
#include "tessaron_export.h"

namespace tessaron {

/// Finds the items that people name. A name is a key (the ASIN, exactly or else whatever the case
/// of its letters), or an EAN, UPC or ISBN in any form that `productNumber` knows, or words of a
/// title or their beginnings, whatever case and accents. A stronger match goes before weaker ones,
/// in that order; a title of exactly these words goes before longer titles, and whole words go
/// before beginnings. Memory depends on the number of names alone. For one thread at a time.
class TESSARON_API ItemFinder {
 public:
  /// The most candidates of a name that are kept.
  static constexpr std::size_t kMaxCandidates = 20;

  struct Candidate {
    std::u16string asin;
    std::u16string title;  ///< empty where the item was found by its key
  };
  /// The items that match a name best. Items with the same key count as one, the first.
  struct Result {
    std::size_t count = 0;
    bool isByKey = false;
    std::vector<Candidate> candidates;  ///< the first ones, in the order of the collection
  };

  /// What names are compared with.
  enum class By {
    Key,         ///< the exact key alone, which needs no parsing of the items
    Everything,  ///< all that a name may be
  };

  /// Names without white space at their ends.
  ItemFinder(std::span<const std::u16string> names, By by);

  /// Takes note of the current item. Returns the names whose only candidate it is now; the view is
  /// valid until the next call.
  std::span<const std::size_t> see(const ItemStream& items);

  const Result& result(std::size_t name) const { return names_[name].result; }
  /// Whether every name is a key that was found.
  bool hasAllKeys() const { return keysFound_ == names_.size(); }

 private:
  // From the strongest to the weakest.
  enum class Match { Key, KeyInOtherCase, Number, Title, Words, Beginnings, None };
  struct Name {
    std::vector<std::u16string> words;  // empty: it is a product number, or has none
    Match match = Match::None;
    std::size_t lastItem = 0;
    Result result;
  };
  using Index = std::unordered_map<std::u16string, std::vector<std::size_t>>;

  void offerAll(const Index& index, const std::u16string& text, Match match,
                const Candidate& candidate);
  void offer(std::size_t name, Match match, const Candidate& candidate);
  void matchNumbers(const CRecord& record, const Candidate& candidate);
  void matchTitle(const Candidate& candidate);

  By by_;
  std::vector<Name> names_;
  Index keys_;
  Index lowerKeys_;
  Index numbers_;
  std::size_t keysFound_ = 0;
  std::size_t item_ = 0;  // number of the current item, from 1
  std::vector<std::size_t> updated_;
};

}  // namespace tessaron
