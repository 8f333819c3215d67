#include "covers/cover_fetch.h"

#include <algorithm>
#include <array>
#include <chrono>
#include <condition_variable>
#include <deque>
#include <map>
#include <memory>
#include <mutex>
#include <thread>
#include <utility>

#include "platform/http_client.h"

namespace tessaron::tool {
namespace {

using Clock = std::chrono::steady_clock;

constexpr std::size_t kThreads = 4;
constexpr auto kPause = std::chrono::milliseconds(200);  // between requests to a host
constexpr auto kBusyPause = std::chrono::seconds(5);     // when it asks for one
constexpr auto kWait = std::chrono::milliseconds(100);

class Fetching {
 public:
  explicit Fetching(const std::vector<CoverWish>& wishes) : wishes_(wishes) {
    for (std::unique_ptr<HttpClient>& client : clients_)
      client = std::make_unique<HttpClient>(HttpLimits{});
  }
  ~Fetching() { end(); }
  Fetching(const Fetching&) = delete;
  Fetching& operator=(const Fetching&) = delete;

  void run(const std::function<void(std::size_t, FetchedCover&&)>& deliver,
           const std::function<void()>& wait) {
    for (std::size_t i = 0; i < std::min(kThreads, wishes_.size()); ++i)
      threads_.emplace_back([this, i] { work(*clients_[i]); });
    for (std::size_t count = 0; count < wishes_.size();) {
      std::unique_lock lock(mutex_);
      changed_.wait_for(lock, kWait, [this] { return !done_.empty(); });
      std::deque<Done> done;
      std::swap(done, done_);
      lock.unlock();
      for (Done& each : done) deliver(each.number, std::move(each.cover));
      count += done.size();
      wait();
    }
  }

 private:
  struct Done {
    std::size_t number;
    FetchedCover cover;
  };

  void end() {
    {
      const std::lock_guard lock(mutex_);
      isEnding_ = true;
    }
    changed_.notify_all();
    for (const std::unique_ptr<HttpClient>& client : clients_) client->stop();
    for (std::thread& thread : threads_) thread.join();
  }

  void work(HttpClient& client) {
    CoverMaker maker;
    for (;;) {
      std::unique_lock lock(mutex_);
      if (isEnding_ || next_ == wishes_.size()) return;
      const std::size_t number = next_++;
      lock.unlock();
      FetchedCover cover = fetch(wishes_[number], client, maker);
      lock.lock();
      done_.push_back({number, std::move(cover)});
      lock.unlock();
      changed_.notify_all();
    }
  }

  FetchedCover fetch(const CoverWish& wish, HttpClient& client, CoverMaker& maker) {
    FetchedCover cover;
    for (const std::string& address : wish.addresses) {
      if (!waitFor(hostOf(address), kPause)) return cover;
      HttpAnswer answer = client.get(address);
      if (answer.isBusy) {
        if (!waitFor(hostOf(address), kBusyPause)) return cover;
        answer = client.get(address);
      }
      std::string reason = answer.failure;
      if (reason.empty()) {
        cover.picture = maker.make(answer.body);
        reason = cover.picture.failure;
        if (reason.empty() && cover.picture.width <= 1 && cover.picture.height <= 1)
          reason = "it is the single pixel that shops send for a missing picture";
        if (reason.empty() && cover.picture.width > kMaxCoverWidth)
          reason = "it is " + std::to_string(cover.picture.width) + " pixels wide, more than " +
                   std::to_string(kMaxCoverWidth);
      }
      if (reason.empty()) {
        cover.bytes = std::move(answer.body);
        cover.failure.clear();
        return cover;
      }
      cover.failure = address;
      cover.failure.append(": ").append(reason);
    }
    return cover;
  }

  /// Waits until a request to the host is polite, `pause` after the last one. False at the end.
  bool waitFor(const std::string& host, Clock::duration pause) {
    std::unique_lock lock(mutex_);
    Clock::time_point& free = free_[host];
    const Clock::time_point turn = std::max(Clock::now(), free);
    free = turn + pause;
    const Clock::time_point begin = pause == kPause ? turn : turn + pause;
    changed_.wait_until(lock, begin, [this] { return isEnding_; });
    return !isEnding_;
  }

  const std::vector<CoverWish>& wishes_;
  std::array<std::unique_ptr<HttpClient>, kThreads> clients_;
  std::vector<std::thread> threads_;
  std::mutex mutex_;
  std::condition_variable changed_;
  std::size_t next_ = 0;
  std::deque<Done> done_;
  std::map<std::string, Clock::time_point> free_;  ///< when each host may be asked again
  bool isEnding_ = false;
};

}  // namespace

void fetchCovers(const std::vector<CoverWish>& wishes,
                 const std::function<void(std::size_t, FetchedCover&&)>& deliver,
                 const std::function<void()>& wait) {
  Fetching(wishes).run(deliver, wait);
}

}  // namespace tessaron::tool
