#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <unordered_map>
#include <utility>
#include <vector>

#include "catalogue/edit.h"
#include "catalogue/readers/record_source.h"
#include "platform/file.h"
#include "tessaron_export.h"

namespace tessaron {

/// What an import did with each item that it read; the four counts add up to `read`.
struct ImportCounts {
  struct Rejection {
    std::size_t response;  ///< which response, from 0
    std::size_t item;      ///< which item of it, from 1
    std::size_t line;      ///< where it begins, from 1; 0 where that is not known
    std::u16string title;
    std::string reason;  ///< one line in English
  };
  std::size_t read = 0;
  std::size_t added = 0;
  std::size_t updated = 0;
  std::size_t skipped = 0;  ///< already there, with the same product data
  std::vector<Rejection> rejected;
};

/// What a response holds.
struct ResponseSummary {
  XmlError error;             ///< why it cannot be taken
  std::size_t items = 0;      ///< rejected ones included
  bool canHoldItems = false;  ///< it has items or a place for them
};

/// The edit that takes over every item of responses in either dialect and of other programs' files,
/// or brings the product data of items that are there up to date.
///
/// An item is known again by its ASIN; without one by its product number, else by the key that
/// `madeKey` makes, which it then gets. An item of the collection whose key was made is also known
/// by the product number of an item with an ASIN, and keeps its key. What the user has added to an
/// item stays (status with person and dates, notes, icon, custom fields, date added); where it has
/// none of these, it takes that of the file. A response replaces all product data. A record of
/// another file replaces what it tells, and only fills what is missing when a shop has numbered the
/// item and the file does not know that number. An item of a response without an ASIN is rejected,
/// as is a record without a title.
///
/// Keeps the keys of the items in memory, not the items. For one thread at a time.
class TESSARON_API Import : public ItemEdit {
 public:
  /// New items are dated `today` (an MS-DOS date). `finish`, if any, has the last word on each
  /// record before it is written.
  explicit Import(std::uint16_t today, std::function<void(CRecord&)> finish = {});

  /// Takes note of the items of a response, which must be seekable. Call it once for each response,
  /// in their order. On an error nothing of that response is taken.
  ResponseSummary add(std::unique_ptr<File> response);

  /// Takes note of the records of a source, to its end. Returns how many there were. On an error
  /// of the source nothing of it is taken. A scratch file that cannot be written is told by
  /// `readFailed`.
  std::size_t add(RecordSource& source);

  ItemChange change(const ItemStream& items) override;
  std::string addition() override;
  bool accept() override { return !readFailed_; }
  /// Whether the import was given up because a response could not be read a second time.
  bool readFailed() const { return readFailed_; }
  const ImportCounts& counts() const { return counts_; }

 private:
  static constexpr std::size_t kNone = static_cast<std::size_t>(-1);
  struct Incoming {
    File* response = nullptr;
    std::uint64_t offset = 0;
    std::size_t size = 0;
    std::size_t next = kNone;  // the next item with the same key
    bool isFirst = false;      // no item before it has its key
    bool done = false;         // it was taken over
    bool isRecord = false;     // of another file than a response
    bool isDated = false;      // its date added is known, or known to be none
    bool isOwn = false;        // of an export of ours, whose texts stay as they are
    bool isKeyMade = false;    // it has no ASIN
  };
  struct Found {  // in a source
    std::u16string key;
    std::optional<std::u16string> number;  // of the product
    Incoming item;
  };
  struct Chain {  // of the items with one key
    std::size_t first;
    std::size_t last;
  };

  Found prepare(SourceItem& item, bool isOwn, std::string& text) const;
  void enlist(std::u16string key, Incoming item);
  void noteResponses();
  void findNumber(const CRecord& known, bool isKeyMade, std::vector<std::size_t>& found);
  std::vector<std::size_t> find(const ItemStream& items);
  void read(Incoming& item, CRecord& record);
  std::string_view textOf(const Incoming& item);
  void merge(const Incoming& item, const CRecord& known, CRecord& record) const;
  void applyAll(const std::vector<std::size_t>& chains, std::string& text, int& version,
                CRecord& known);
  void applyFrom(std::size_t index, std::string& text, int& version, CRecord& known);

  std::uint16_t today_;
  std::function<void(CRecord&)> finish_;
  std::vector<std::unique_ptr<File>> responses_;
  std::vector<Incoming> items_;
  bool readFailed_ = false;
  std::unordered_map<std::u16string, Chain> chains_;
  std::unordered_map<std::u16string, std::size_t> numbers_;  // of products
  bool areResponsesNoted_ = false;                           // their product numbers
  bool hasMadeKeys_ = false;
  std::size_t next_ = 0;  // of the additions
  struct Block {
    File* file = nullptr;
    std::uint64_t begin = 0;
    std::string text;
  };
  Block block_;   // what was read last of a file
  XmlTree tree_;  // of the item that was read last
  ImportCounts counts_;
};

}  // namespace tessaron
