#pragma once

#include <cstddef>
#include <functional>

namespace tessaron::tool {

/// Work on the numbers 0 to `count` - 1 on several threads, whose results come back in order.
/// Result i has the slot i % kWindow, which belongs to it from work(i) to the end of deliver(i).
struct OrderedWork {
  static constexpr std::size_t kWindow = 256;

  std::size_t count = 0;
  /// Fills the slot; on the thread with this number, from 0 to `threads()` - 1.
  std::function<void(std::size_t index, std::size_t thread)> work;
  /// Empties the slot; on the thread that called `run`, for one index after the other.
  std::function<void(std::size_t index)> deliver;
  /// Called on the same thread while it waits, several times a second.
  std::function<void(std::size_t done)> wait;

  /// Called when the run ends early, while threads are still working: makes them end soon.
  std::function<void()> abandon;

  /// The most threads that it takes: one per processor, and no more than `count`.
  std::size_t threads() const;

  /// Runs until all is delivered, on `threads()` threads, or as many as can be started; on the
  /// calling one, as number 0, when none can. The first exception of `work` or `deliver` ends the
  /// run and is thrown again.
  void run() const;
};

}  // namespace tessaron::tool
