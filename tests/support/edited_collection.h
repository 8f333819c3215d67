#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "catalogue/edit.h"
#include "catalogue/import.h"
#include "catalogue/recovery.h"

namespace tessaron {

/// What `recover` makes of a text, and what it writes. Without an item that is the text itself when
/// it is not damaged, or else an empty collection.
struct RecoveredText : Recovery {
  std::string text;
};
RecoveredText recoverText(const std::string& damaged);

/// A collection's text that is edited in memory, an edit at a time, and the records that it gives.
class EditedCollection {
 public:
  static constexpr std::size_t npos = static_cast<std::size_t>(-1);

  EditedCollection() { parse(emptyCollection()); }
  /// Takes over a text. On an error nothing changes.
  XmlError parse(std::string text);

  const std::string& text() const { return text_; }
  const std::vector<CRecord>& records() const { return records_; }
  std::size_t find(std::u16string_view asin) const;

  void add(const CRecord& record);
  bool update(std::size_t index, const CRecord& record);
  void remove(std::size_t index);
  /// On an error nothing changes, nor does `counts`.
  XmlError import(std::string response, std::uint16_t today, ImportCounts& counts);
  SourceError import(RecordSource& source, std::uint16_t today, ImportCounts& counts);

 private:
  bool apply(ItemEdit& edit);

  std::string text_;
  std::vector<CRecord> records_;
};

}  // namespace tessaron
