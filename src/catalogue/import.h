#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <unordered_map>
#include <utility>
#include <vector>

#include "catalogue/edit.h"
#include "platform/file.h"
#include "tessaron_export.h"

namespace tessaron {

/// What an import did with each item that it read; the four counts add up to `read`.
struct ImportCounts {
  struct Rejection {
    std::size_t response;  ///< which response, from 0
    std::size_t item;      ///< which item of it, from 1
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

/// The edit that takes over every item of a response in either dialect, or brings the product data
/// of the item with the same ASIN up to date; what the user has added to it (status, person, dates,
/// notes, icon, custom fields, date added) stays. An item without an ASIN is rejected. Keeps the
/// keys of the response in memory, not its items.
class TESSARON_API Import : public ItemEdit {
 public:
  /// New items are dated `today` (an MS-DOS date). `finish`, if any, has the last word on each
  /// record before it is written.
  explicit Import(std::uint16_t today, std::function<void(CRecord&)> finish = {});

  /// Takes note of the items of a response, which must be seekable. Call it once for each response,
  /// in their order. On an error nothing of that response is taken.
  ResponseSummary add(std::unique_ptr<File> response);

  ItemChange change(const ItemStream& items) override;
  std::string addition() override;
  bool accept() override { return !readFailed_; }
  /// Whether the import was given up because a response could not be read a second time.
  bool readFailed() const { return readFailed_; }
  const ImportCounts& counts() const { return counts_; }

 private:
  static constexpr std::size_t kNone = static_cast<std::size_t>(-1);
  struct Incoming {
    File* response;
    std::uint64_t offset;
    std::size_t size;
    std::size_t next = kNone;  // the next item with the same ASIN
    bool isFirst = false;      // no item before it has its ASIN
    bool done = false;         // it was taken over
  };
  struct Chain {  // of the items with one ASIN
    std::size_t first;
    std::size_t last;
  };

  void read(Incoming& item, CRecord& record);
  void applyFrom(std::size_t index, std::string& text, int& version, CRecord& known);

  std::uint16_t today_;
  std::function<void(CRecord&)> finish_;
  std::vector<std::unique_ptr<File>> responses_;
  std::vector<Incoming> items_;
  bool readFailed_ = false;
  std::unordered_map<std::u16string, Chain> chains_;
  std::size_t next_ = 0;  // of the additions
  std::string text_;      // of the item that was read last, and its parts
  XmlTree tree_;
  ImportCounts counts_;
};

}  // namespace tessaron
