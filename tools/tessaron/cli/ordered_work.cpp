#include "cli/ordered_work.h"

#include <algorithm>
#include <array>
#include <chrono>
#include <condition_variable>
#include <exception>
#include <mutex>
#include <system_error>
#include <thread>
#include <vector>

namespace tessaron::tool {
namespace {

/// Threads of a run and their shared state; the destructor stops and joins them.
class Crew {
 public:
  explicit Crew(const OrderedWork& work) : work_(work) {
    const std::size_t wanted = work.threads();
    threads_.reserve(wanted);
    try {
      for (std::size_t number = 0; number < wanted; ++number)
        threads_.emplace_back([this, number] { runThread(number); });
    } catch (const std::system_error&) {
      // Go on with the threads that could be started.
    }
  }

  ~Crew() {
    {
      const std::lock_guard lock(mutex_);
      isStopped_ = true;
    }
    room_.notify_all();
    if (delivered_ < work_.count && work_.abandon) work_.abandon();
    for (std::thread& thread : threads_) thread.join();
  }

  Crew(const Crew&) = delete;
  Crew& operator=(const Crew&) = delete;

  bool isEmpty() const { return threads_.empty(); }

  /// Waits until result `index` is there. Throws what a thread has thrown.
  void await(std::size_t index) {
    constexpr std::chrono::milliseconds kInterval(50);
    bool& isDone = done_[index % OrderedWork::kWindow];
    std::unique_lock lock(mutex_);
    while (!ready_.wait_for(lock, kInterval, [&] { return isDone || isStopped_; })) {
      lock.unlock();
      work_.wait(index);
      lock.lock();
    }
    if (failure_) std::rethrow_exception(failure_);
    isDone = false;
  }

  /// Gives the slot of result `index` to a later one.
  void release(std::size_t index) {
    {
      const std::lock_guard lock(mutex_);
      delivered_ = index + 1;
    }
    room_.notify_one();
  }

 private:
  /// The next number to work on; `count` when the run is over.
  std::size_t take() {
    std::unique_lock lock(mutex_);
    room_.wait(lock, [&] {
      return isStopped_ || next_ == work_.count || next_ < delivered_ + OrderedWork::kWindow;
    });
    return isStopped_ || next_ == work_.count ? work_.count : next_++;
  }

  void runThread(std::size_t number) {
    for (std::size_t index = take(); index < work_.count; index = take()) {
      std::exception_ptr failure;
      try {
        work_.work(index, number);
      } catch (...) {
        failure = std::current_exception();
      }
      const std::lock_guard lock(mutex_);
      done_[index % OrderedWork::kWindow] = true;
      if (failure && !failure_) failure_ = failure;
      isStopped_ = isStopped_ || failure;
      if (index == delivered_ || failure) ready_.notify_one();
    }
  }

  const OrderedWork& work_;
  std::mutex mutex_;
  std::condition_variable room_;   // a slot became free, or the run is over
  std::condition_variable ready_;  // the result that is awaited is there, or a thread failed
  std::size_t next_ = 0;
  std::size_t delivered_ = 0;
  std::array<bool, OrderedWork::kWindow> done_{};
  bool isStopped_ = false;
  std::exception_ptr failure_;
  std::vector<std::thread> threads_;
};

}  // namespace

std::size_t OrderedWork::threads() const {
  return std::min<std::size_t>(std::max(1u, std::thread::hardware_concurrency()), count);
}

void OrderedWork::run() const {
  Crew crew(*this);
  for (std::size_t index = 0; index < count; ++index) {
    if (crew.isEmpty()) {
      work(index, 0);
    } else {
      crew.await(index);
    }
    wait(index);
    deliver(index);
    crew.release(index);
  }
}

}  // namespace tessaron::tool
