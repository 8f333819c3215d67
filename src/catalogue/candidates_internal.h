#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace tessaron {

/// The whole items of a stretch of text, so far.
struct WholeItems {
  std::size_t count = 0;
  std::uint64_t end = 0;     // of the last one
  bool endsInItems = false;  // the last one is in "Items"
};

/// Where an item may begin that was not recognized, and the whole items in front of it.
struct Candidate {
  std::uint64_t place;
  WholeItems items;
};

/// The open elements of a walk over damaged text, and the first candidates in them. Memory depends
/// on the depth alone.
class Candidates {
 public:
  /// With `closed`, candidates in elements that were closed count, too.
  Candidates(bool closed, const std::vector<std::string>& open) : closed_(closed) {
    for (const std::string& name : open) open_.push_back({name, kNone, 0});
    if (open_.size() > 1) inner_ = Tracked();
  }

  std::string_view parent() const {
    return open_.empty() ? std::string_view() : std::string_view(open_.back().name);
  }
  bool isEmpty() const { return open_.empty(); }

  void add(const Candidate& candidate) {
    if (!closed_) {
      // Two are enough: the first one may be the root itself.
      const std::size_t before = open_.empty() ? 0 : open_.back().candidates;
      if (found_.size() - before < 2) found_.push_back(candidate);
      return;
    }
    for (Tracked* tracked : {&all_, inRoot_ ? &*inRoot_ : nullptr, inner_ ? &*inner_ : nullptr}) {
      if (tracked && tracked->first.size() < 2) tracked->first.push_back(candidate);
    }
    ++count_;
  }
  /// A second root begins.
  void beginRoot() {
    if (!inRoot_) inRoot_ = Tracked{count_, {}};
  }
  void open(std::string_view name, std::uint64_t begin) {
    if (open_.size() == 1) inner_ = Tracked{count_, {}};
    open_.push_back({std::string(name), begin, found_.size()});
  }
  void close() {
    if (!closed_) found_.resize(open_.back().candidates);
    open_.pop_back();
    if (open_.size() < 2) inner_.reset();
  }

  /// An item begins; those in it are no candidates if it turns out to be whole.
  void beginItem() { atItem_ = {count_, found_.size(), all_, inRoot_, inner_}; }
  void endItem() {
    found_.resize(std::min(found_.size(), atItem_.found));
    if (!closed_) return;
    const bool hasRoot = inRoot_.has_value();
    count_ = atItem_.count;
    all_ = atItem_.all;
    inRoot_ = atItem_.inRoot;
    if (hasRoot && !inRoot_) inRoot_ = Tracked{count_, {}};
    if (inner_) inner_ = atItem_.inner;
  }

  /// The first candidate; with `behindItems`, when there are whole items in front, the first one in
  /// a second root or in any part of what is open below the root.
  std::optional<Candidate> first(bool behindItems) const {
    const std::vector<Candidate>* found = closed_ ? &all_.first : &found_;
    if (closed_ && behindItems) {
      const Tracked* part = inRoot_ ? &*inRoot_ : nullptr;
      if (inner_ && open_.size() > 1 && (!part || inner_->index < part->index)) part = &*inner_;
      if (!part) return std::nullopt;
      found = &part->first;
    }
    // A root without an end is no item.
    std::size_t at = 0;
    if (!found->empty() && !open_.empty() && found->front().place == open_[0].begin) ++at;
    if (at >= found->size()) return std::nullopt;
    return (*found)[at];
  }

 private:
  static constexpr std::uint64_t kNone = static_cast<std::uint64_t>(-1);
  struct Open {
    std::string name;
    std::uint64_t begin;
    std::size_t candidates;  // how many there were when it was opened
  };
  struct Tracked {
    std::size_t index = 0;         // how many candidates there were before
    std::vector<Candidate> first;  // the first two since then
  };
  struct State {
    std::size_t count = 0, found = 0;
    Tracked all;
    std::optional<Tracked> inRoot, inner;
  };

  bool closed_;
  std::vector<Open> open_;
  std::vector<Candidate> found_;  // without `closed_`: at most two of each open element
  std::size_t count_ = 0;         // with `closed_`: how many there were, and some of them
  Tracked all_;
  std::optional<Tracked> inRoot_;  // since a second root began
  std::optional<Tracked> inner_;   // since the second open element began
  State atItem_;
};

}  // namespace tessaron
