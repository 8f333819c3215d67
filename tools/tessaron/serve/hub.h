#pragma once
// What the connections of a server share. Includes the HTTP library.

#include <boost/asio/io_context.hpp>
#include <boost/asio/ip/tcp.hpp>
#include <boost/asio/post.hpp>
#include <boost/asio/steady_timer.hpp>
#include <boost/asio/thread_pool.hpp>
#include <chrono>
#include <cstddef>
#include <deque>
#include <functional>
#include <memory>
#include <set>
#include <string>

#include "serve/served_collection.h"
#include "serve/site.h"

namespace tessaron::tool {

/// A connection as its server knows it.
class Connection {
 public:
  virtual ~Connection() = default;
  /// Since when it waits for a request of which nothing has arrived; nothing while it has work.
  virtual std::optional<std::chrono::steady_clock::time_point> idleSince() const = 0;
  virtual void close() = 0;
  /// Sends an event to a connection that has become a stream of events.
  virtual void sendEvent(const std::string& text) = 0;
};

/// Everything here but the pools' own work runs on the thread of `io`.
class Hub {
 public:
  static constexpr std::size_t kMaxConnections = 64;
  static constexpr std::size_t kMaxStreams = 32;  ///< of events
  static constexpr std::size_t kReaders = 3;      ///< threads
  /// Bytes of answers that clients have not taken yet, beyond which no more reading is begun.
  static constexpr std::size_t kMaxUnsent = std::size_t{16} << 20;

  Hub(boost::asio::io_context& context, Site& servedSite, ServedCollection& served);

  boost::asio::io_context& io;
  Site& site;

  /// Has a request answered by another thread; `done` is called here.
  void work(Work kind, std::shared_ptr<const Request> request, std::function<void(Response)> done);
  void addUnsent(std::size_t size) { unsent_ += size; }
  /// To be called for each answer, also for an empty one.
  void removeUnsent(std::size_t size);

  void add(Connection& connection) { connections_.insert(&connection); }
  void remove(Connection& connection);
  /// Makes room for another connection, if need be by closing an idle one. False without room.
  bool makeRoom();
  /// Makes a connection a stream of events, and tells it the version. False when there are enough.
  bool addStream(Connection& connection);

  /// Looks every second whether the file has changed.
  void watch();
  /// Completes the work that has begun, drops all other, and closes the connections. What they have
  /// left to `io` must be run after it.
  void stop();

 private:
  void checkVersion();
  void tell(const std::string& version);
  void tick();

  ServedCollection& collection_;
  boost::asio::steady_timer timer_;
  std::set<Connection*> connections_;
  std::set<Connection*> streams_;
  std::deque<std::function<void()>> waiting_;
  std::size_t unsent_ = 0;
  std::string version_;
  int ticks_ = 0;
  // Last, since their work that was not begun keeps connections alive.
  boost::asio::thread_pool readers_{kReaders};
  boost::asio::thread_pool editor_{1};
};

}  // namespace tessaron::tool
