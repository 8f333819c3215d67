#pragma once
// Two items that are the same thing made one, without losing what a person wrote.

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "records/record.h"
#include "tessaron_export.h"

namespace tessaron {

/// Which of two items' values counts.
enum class Side { None, Ours, Theirs };

/// What counts where both items have a value of a person's and the two differ.
struct UnionRule {
  Side preferred = Side::None;  ///< None: nothing counts, and the two stay apart
  bool laterStatus = false;     ///< of two statuses that began on different days, the later counts
};

/// A field in which two items differ.
struct FieldConflict {
  std::string field;         ///< a column, or "customFields." and the field's name
  std::string ours, theirs;  ///< UTF-8
  Side taken = Side::None;   ///< None: the rule does not settle it
};

/// What two items are together.
struct ItemUnion {
  std::optional<std::string> text;  ///< of ours, completed; none when it is complete already
  std::vector<FieldConflict> conflicts;

  /// Whether every conflict is settled. Otherwise `text` must not take the place of anything.
  bool isSettled() const;
};

/// Completes the item `ours` by `theirs`; both are the texts of items in either dialect. A field
/// that ours lacks is taken from theirs. In conflict may be the status with its person and dates,
/// the notes, the icon and custom fields of the same name; in the other fields ours counts, unless
/// theirs was entered by hand (it has no ASIN, or a made key): then those differ where the words
/// do, whatever their order, case and accents. An ASIN takes the place of a made key. The
/// extension "Tessaron" gets the elements of theirs that are not in it. For any thread.
TESSARON_API ItemUnion uniteItems(std::string_view ours, std::string_view theirs,
                                  const UnionRule& rule);

/// An item's text in the current dialect, with all that is in it.
std::string currentItem(std::string_view item);

}  // namespace tessaron
