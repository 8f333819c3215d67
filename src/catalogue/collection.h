#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

#include "records/record.h"
#include "support/xml/xml.h"
#include "tessaron_export.h"

namespace tessaron {

/// What an import did with each item that it read; the four counts add up to `read`.
struct ImportCounts {
  struct Rejection {
    std::size_t item;  ///< which item of the response, from 1
    std::u16string title;
    std::string reason;  ///< one line in English
  };
  std::size_t read = 0;
  std::size_t added = 0;
  std::size_t updated = 0;
  std::size_t skipped = 0;  ///< already there, with the same product data
  std::vector<Rejection> rejected;
};

/// A collection's text, open for editing. Only what is edited changes: items that are not touched
/// keep their bytes, and in a touched item everything that a record does not carry (further offers,
/// folders, unknown elements and attributes, comments) stays as it was.
class TESSARON_API Collection {
 public:
  static constexpr std::size_t npos = static_cast<std::size_t>(-1);

  /// A collection without items.
  Collection();

  /// Takes over the text of a collection. On a fault nothing changes.
  XmlFault parse(std::string text);

  /// The items, in the order of the text.
  const std::vector<CRecord>& records() const { return records_; }
  /// The position of the first item with this ASIN, or npos.
  std::size_t find(std::u16string_view asin) const;

  // Fields whose flag is false are left out of the text. The record that then stands in `records`
  // is the one that the text gives: what is kept in memory only is not in it.

  /// Adds an item behind all others.
  void add(const CRecord& record);
  /// Makes the item at `index` hold what `record` holds. Returns false when it did already; the
  /// text is then as it was. An item in the older dialect becomes one in the current dialect.
  bool update(std::size_t index, const CRecord& record);
  void remove(std::size_t index);

  /// Adds every item of a response in either dialect, or brings the product data of the item with
  /// the same ASIN up to date; what the user has added to it (status, person, dates, notes, icon,
  /// custom fields, date added) stays. New items are dated `today` (an MS-DOS date). An item
  /// without an ASIN is rejected. `finish`, if any, has the last word on each record before it is
  /// written. On a fault in the response nothing changes. Adds to `counts`.
  XmlFault import(std::string_view response, std::uint16_t today, ImportCounts& counts,
                  const std::function<void(CRecord&)>& finish = {});

  /// The whole text as it now stands.
  std::string text() const;

 private:
  struct Slot {
    std::string before;  // the text in front of the item, from the end of the previous one
    std::string item;
  };
  // Where the next item goes: `before` and `behind`, with the item between them, take the place of
  // the bytes from `begin` to `end` of the tail.
  struct Opening {
    std::size_t begin = 0;
    std::size_t end = 0;
    std::string before;
    std::string behind;
  };
  struct Layout;
  static Layout scan(std::string_view text);

  void insertBehind(std::size_t index, const std::string& text);

  std::string original_;  // a text that is not in UTF-8 as it came, until something is changed
  std::vector<Slot> slots_;
  std::string tail_;  // the text behind the last item
  Opening opening_;
  std::vector<CRecord> records_;
};

}  // namespace tessaron
