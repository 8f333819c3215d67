#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "records/record.h"

namespace tessaron {

/// The different product numbers of a record (EAN, UPC, ISBN) as numbers of 13 digits, then zeros.
using ProductNumbers = std::array<std::uint64_t, 3>;
ProductNumbers productNumbers(const CRecord& record);

/// Whether both have product numbers, but none in common.
bool isContrary(const ProductNumbers& a, const ProductNumbers& b);

/// The 13 digits.
std::u16string digitsOf(std::uint64_t number);

/// Items by a key, to be taken one by one in the order in which they were added.
template <typename Key>
class ItemQueues {
 public:
  static constexpr std::size_t npos = static_cast<std::size_t>(-1);

  void add(const Key& key, std::size_t item) {
    if (next_.size() <= links_) next_.resize(links_ + 1);
    const std::size_t link = links_++;
    next_[link] = {item, npos};
    const auto [queue, isNew] = queues_.try_emplace(key, Queue{link, link});
    if (!isNew) next_[queue->second.last].next = link, queue->second.last = link;
  }

  /// The first item with that key for which `isFree` holds, which is in no queue of it afterwards;
  /// npos when there is none.
  template <typename IsFree>
  std::size_t take(const Key& key, IsFree isFree) {
    const auto queue = queues_.find(key);
    if (queue == queues_.end()) return npos;
    std::size_t& first = queue->second.first;
    while (first != npos) {
      const Link link = next_[first];
      first = link.next;
      if (isFree(link.item)) return link.item;
    }
    return npos;
  }

 private:
  struct Queue {
    std::size_t first, last;
  };
  struct Link {
    std::size_t item, next;
  };
  std::unordered_map<Key, Queue> queues_;
  std::vector<Link> next_;
  std::size_t links_ = 0;
};

/// Tells whether the same items come in two walks.
class ItemsDigest {
 public:
  void add(std::string_view item) {
    value_ = (value_ ^ std::hash<std::string_view>()(item)) * 0x9E3779B97F4A7C15U + ++count_;
  }
  bool operator==(const ItemsDigest&) const = default;

 private:
  std::uint64_t value_ = 0;
  std::uint64_t count_ = 0;
};

}  // namespace tessaron
