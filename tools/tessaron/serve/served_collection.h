#pragma once

#include <cstddef>
#include <list>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "catalogue/collection_index.h"
#include "platform/types.h"
#include "records/record.h"
#include "serve/served_covers.h"

namespace tessaron::tool {

/// What part of a collection's items is asked for.
struct ListRequest {
  std::string query;  ///< see `Query`
  std::string sort;   ///< see `ItemOrder`; empty: the order of the file
  std::size_t from = 0;
  std::size_t count = 0;

  bool operator==(const ListRequest&) const = default;
};

/// An item as JSON with its version.
struct ItemAnswer {
  std::string json;
  std::string version;
};

/// A list as JSON, and a tag that is another one for another text.
struct ListAnswer {
  std::shared_ptr<const std::string> json;
  std::string tag;
};

/// The collection of a server as its readers see it. Keeps the places of the items in memory, the
/// order of the last searches, and the text of the last lists; all of it is dropped when the file
/// changes. All members fail as `CollectionReader` does when the file cannot be read. Several
/// threads may use it at once.
class ServedCollection {
 public:
  static constexpr std::size_t kMaxCount = 1000;  ///< items in one answer

  explicit ServedCollection(std::string path);
  ~ServedCollection();

  const std::string& path() const { return path_; }
  /// The file's version, see `CollectionIndex::versionAt`. Does not fail.
  std::string version() const;
  /// Makes the next reader read the file again, whatever its version says.
  void expire();
  /// The number of items; `version` gets the version of the file that has them.
  std::size_t count(std::string& version);

  /// {"version", "total", "from", "items"} for a part of the items, fewer than asked for when they
  /// are large. Fails with kUsage for a query or an order that is none.
  ListAnswer list(const ListRequest& request);
  /// The item that `key` names, see `CollectionIndex::find`; nothing when there is none.
  std::optional<ItemAnswer> item(std::string_view key);
  /// The answer for an item's text.
  ItemAnswer answerFor(std::string_view key, std::string_view itemText);
  ServedCovers& covers() { return covers_; }

 private:
  struct Snapshot;
  struct Order;
  std::shared_ptr<Snapshot> snapshot();
  ListAnswer makeList(Snapshot& snapshot, const ListRequest& request, const SYSTEMTIME& now);

  void appendItem(const CRecord& record, std::string_view key, std::string_view version,
                  const SYSTEMTIME& now, std::string& out);

  std::string path_;
  ServedCovers covers_;
  std::mutex mutex_;
  std::shared_ptr<Snapshot> snapshot_;
};

}  // namespace tessaron::tool
