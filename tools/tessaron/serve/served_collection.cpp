#include "serve/served_collection.h"

#include <fmt/format.h>

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <functional>
#include <utility>

#include "catalogue/file_links.h"
#include "catalogue/item_merge.h"
#include "catalogue/item_order.h"
#include "cli/failures.h"
#include "cli/input.h"
#include "cli/paths.h"
#include "cli/selection.h"
#include "output/page_item.h"
#include "platform/system.h"
#include "support/text.h"

namespace tessaron::tool {
namespace {

constexpr std::size_t kMaxOrders = 8;
constexpr std::size_t kMaxBodies = std::size_t{8} << 20;  // bytes
constexpr int kMaxAttempts = 5;

/// The file was written over while it was read.
struct Stale {};

/// What an answer depends on besides the file: relative dates in queries and due marks are counted
/// from the day.
struct AnswerKey {
  ListRequest request;
  std::uint32_t day;
  std::string covers;  ///< the version of their cache

  bool operator==(const AnswerKey&) const = default;
};

std::uint32_t dayOf(const SYSTEMTIME& now) {
  return (std::uint32_t{now.wYear} << 9) | (std::uint32_t{now.wMonth} << 5) | now.wDay;
}

ItemOrder parseOrder(const std::string& text) {
  std::string unknown;
  std::optional<ItemOrder> order = ItemOrder::parse(text, unknown);
  if (!order) throwUnknownField("sort: ", unknown);
  return *std::move(order);
}

/// Keys of an order, packed: a third of the memory that they take as objects, and given back as a
/// whole.
class PackedKeys {
 public:
  struct Place {
    std::uint32_t block = 0;
    std::uint32_t offset = 0;
  };

  Place add(const ItemOrder::Key& key) {
    packed_.clear();
    for (const ItemOrder::Key::Part& part : key.parts) {
      put(&part.isMissing, sizeof part.isMissing);
      put(&part.number, sizeof part.number);
      const std::size_t size = part.text.size();
      put(&size, sizeof size);
      put(part.text.data(), size * sizeof(char16_t));
    }
    if (blocks_.empty() || blocks_.back().capacity() - blocks_.back().size() < packed_.size())
      blocks_.emplace_back().reserve(std::max(kBlock, packed_.size()));
    std::string& block = blocks_.back();
    const Place place{static_cast<std::uint32_t>(blocks_.size() - 1),
                      static_cast<std::uint32_t>(block.size())};
    block += packed_;
    parts_ = key.parts.size();
    return place;
  }

  /// Unpacks a key into `key`, whose memory is used again.
  void read(const Place& place, ItemOrder::Key& key) const {
    const char* at = blocks_[place.block].data() + place.offset;
    const auto take = [&at](void* to, std::size_t size) {
      std::memcpy(to, at, size);
      at += size;
    };
    key.parts.resize(parts_);
    for (ItemOrder::Key::Part& part : key.parts) {
      take(&part.isMissing, sizeof part.isMissing);
      take(&part.number, sizeof part.number);
      std::size_t size = 0;
      take(&size, sizeof size);
      part.text.resize(size);
      take(part.text.data(), size * sizeof(char16_t));
    }
  }

 private:
  static constexpr std::size_t kBlock = std::size_t{1} << 20;

  void put(const void* from, std::size_t size) {
    packed_.append(static_cast<const char*>(from), size);
  }

  std::vector<std::string> blocks_;
  std::string packed_;
  std::size_t parts_ = 0;
};

/// The items of the collection at `path` that match, in their order.
std::vector<std::uint32_t> findItems(const std::string& path, const CollectionIndex& index,
                                     const ListRequest& request, const SYSTEMTIME& now) {
  Query query = parseQuery(request.query);
  query.setFolder(linkFolder(fromUtf8(path)));
  std::optional<ItemOrder> order;
  if (!request.sort.empty()) order = parseOrder(request.sort);
  struct Found {
    std::uint32_t item;
    PackedKeys::Place key;
  };
  std::vector<Found> found;
  PackedKeys keys;
  const bool isDetailed = query.needsDetail() || (order && order->needsDetail());
  const bool isRead = index.forEachItem([&](std::size_t place, const ItemStream& items) {
    CRecord record;
    record.fullDetail = isDetailed;
    items.read(record);
    if (query.matches(record))
      found.push_back({static_cast<std::uint32_t>(place),
                       order ? keys.add(order->keyOf(record, now)) : PackedKeys::Place()});
    return true;
  });
  if (!isRead) throw Stale{};
  ItemOrder::Key first, second;
  if (order)
    std::ranges::stable_sort(found, [&](const Found& left, const Found& right) {
      keys.read(left.key, first);
      keys.read(right.key, second);
      return order->isBefore(first, second);
    });
  std::vector<std::uint32_t> items;
  items.reserve(found.size());
  for (const Found& each : found) items.push_back(each.item);
  return items;
}

}  // namespace

/// The items of a search; all in the order of the file for one without query and order.
struct ServedCollection::Order {
  AnswerKey key;
  std::vector<std::uint32_t> items;
};

/// The collection as it was at one time, with what was made of it last in front.
struct ServedCollection::Snapshot {
  struct Body {
    AnswerKey key;
    ListAnswer list;
  };

  std::string path;  // of the collection
  std::shared_ptr<const CollectionIndex> index;
  std::mutex mutex;  // for the rest
  std::list<Order> orders;
  std::list<Body> bodies;

  const ListAnswer* findBody(const AnswerKey& key) {
    const auto found = std::ranges::find(bodies, key, &Body::key);
    if (found == bodies.end()) return nullptr;
    bodies.splice(bodies.begin(), bodies, found);
    return &bodies.front().list;
  }

  void keepBody(const AnswerKey& key, ListAnswer list) {
    bodies.push_front({key, std::move(list)});
    std::size_t size = 0;
    for (auto body = bodies.begin(); body != bodies.end(); ++body)
      if ((size += body->list.json->size()) > kMaxBodies) {
        bodies.erase(body, bodies.end());
        break;
      }
  }

  const std::vector<std::uint32_t>& order(const ListRequest& request, const SYSTEMTIME& now) {
    const AnswerKey key{{request.query, request.sort, 0, 0}, dayOf(now), {}};
    const auto found = std::ranges::find(orders, key, &Order::key);
    if (found != orders.end()) {
      orders.splice(orders.begin(), orders, found);
    } else {
      orders.push_front({key, findItems(path, *index, request, now)});
      if (orders.size() > kMaxOrders) orders.pop_back();
    }
    return orders.front().items;
  }
};

ServedCollection::ServedCollection(std::string path) : path_(std::move(path)), covers_(path_) {}
ServedCollection::~ServedCollection() = default;

std::string ServedCollection::version() const {
  return CollectionIndex::versionAt(widePath(path_));
}

void ServedCollection::expire() {
  const std::lock_guard lock(mutex_);
  snapshot_ = nullptr;
}

std::shared_ptr<ServedCollection::Snapshot> ServedCollection::snapshot() {
  const std::lock_guard lock(mutex_);
  if (snapshot_ && snapshot_->index->version() == version()) return snapshot_;
  snapshot_ = nullptr;
  IndexError error;
  auto index = CollectionIndex::read(widePath(path_), error);
  if (error.readError) throw Failure{kNoInput, path_, error.readError.message()};
  requireSound(path_, error.xmlError);
  if (error.isForeign)
    throw Failure{kBadData, path_, "this is no collection: it has no place for items"};
  snapshot_ = std::make_shared<Snapshot>();
  snapshot_->path = path_;
  snapshot_->index = std::move(index);
  return snapshot_;
}

std::size_t ServedCollection::count(std::string& version) {
  const auto now = snapshot();
  version = now->index->version();
  return now->index->size();
}

ListAnswer ServedCollection::makeList(Snapshot& snapshot, const ListRequest& request,
                                      const SYSTEMTIME& now) {
  // One search at a time, so that those who wait for the same one find it done.
  const std::lock_guard lock(snapshot.mutex);
  const AnswerKey key{request, dayOf(now), covers_.version()};
  if (const ListAnswer* known = snapshot.findBody(key)) return *known;
  const CollectionIndex& index = *snapshot.index;
  const bool isWhole =
      request.query.find_first_not_of(' ') == request.query.npos && request.sort.empty();
  const std::vector<std::uint32_t>* order = isWhole ? nullptr : &snapshot.order(request, now);
  const std::size_t total = order ? order->size() : index.size();
  std::string out = fmt::format("{{\"version\":\"{}\",\"total\":{},\"from\":{},\"items\":[",
                                index.version(), total, request.from);
  const std::size_t begin = std::min(request.from, total);
  const std::size_t end = begin + std::min(request.count, total - begin);
  for (std::size_t i = begin; i < end && out.size() < kMaxBodies; ++i) {
    const std::size_t item = order ? (*order)[i] : i;
    const auto text = index.text(item);
    if (!text) throw Stale{};
    out += i == begin ? "\n" : ",\n";
    appendItem(recordOf(*text), index.key(item), index.itemVersion(item), now, out);
  }
  out += "]}\n";
  ListAnswer list;
  list.tag = CollectionIndex::versionOf(out);
  list.json = std::make_shared<const std::string>(std::move(out));
  snapshot.keepBody(key, list);
  return list;
}

ListAnswer ServedCollection::list(const ListRequest& request) {
  for (int attempt = 0; attempt < kMaxAttempts; ++attempt) {
    try {
      return makeList(*snapshot(), request, utcNow());
    } catch (const Stale&) {
      expire();
    }
  }
  throw Failure{kNoInput, path_, "the collection changes all the time"};
}

std::optional<ItemAnswer> ServedCollection::item(std::string_view key) {
  for (int attempt = 0; attempt < kMaxAttempts; ++attempt) {
    const auto now = snapshot();
    const auto item = now->index->find(key);
    if (!item) return std::nullopt;
    if (const auto text = now->index->text(*item)) return answerFor(now->index->key(*item), *text);
    expire();
  }
  throw Failure{kNoInput, path_, "the collection changes all the time"};
}

void ServedCollection::appendItem(const CRecord& record, std::string_view key,
                                  std::string_view version, const SYSTEMTIME& now,
                                  std::string& out) {
  PageItemExtras extras;
  extras.key = key;
  extras.version = version;
  extras.hasCover = covers_.has(record.ASIN);
  appendPageItem(record, now, extras, out);
}

ItemAnswer ServedCollection::answerFor(std::string_view key, std::string_view itemText) {
  ItemAnswer answer;
  answer.version = CollectionIndex::versionOf(itemText);
  covers_.version();
  appendItem(recordOf(itemText), key, answer.version, utcNow(), answer.json);
  return answer;
}

}  // namespace tessaron::tool
