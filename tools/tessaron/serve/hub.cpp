#include "serve/hub.h"

#include <fmt/format.h>

#include <new>
#include <utility>
#include <vector>

namespace tessaron::tool {
namespace {

constexpr int kSecondsBetweenComments = 15;

std::string changeEvent(const std::string& version) {
  return fmt::format("event: change\ndata: {{\"version\":\"{}\"}}\n\n", version);
}

Response answerWithoutMemory() {
  Response response;
  response.status = 503;
  return response;
}

}  // namespace

Hub::Hub(boost::asio::io_context& context, Site& servedSite, ServedCollection& served)
    : io(context), site(servedSite), collection_(served), timer_(context) {}

void Hub::work(Work kind, std::shared_ptr<const Request> request,
               std::function<void(Response)> done) {
  // The other thread hands `done` on whole: the connection that it keeps alive may end with it,
  // which has to be here.
  const auto handed = std::make_shared<std::function<void(Response)>>(std::move(done));
  const std::function<void()> answer = [this, kind, request = std::move(request), handed] {
    Response response;
    try {
      response = site.answer(*request);
    } catch (const std::bad_alloc&) {
      response = answerWithoutMemory();
    }
    boost::asio::post(io, [this, kind, response = std::move(response),
                           done = std::exchange(*handed, nullptr)]() mutable {
      if (kind == Work::Editing) checkVersion();
      done(std::move(response));
    });
  };
  if (kind == Work::Editing)
    boost::asio::post(editor_, answer);
  else if (unsent_ < kMaxUnsent)
    boost::asio::post(readers_, answer);
  else
    waiting_.emplace_back([this, answer] { boost::asio::post(readers_, answer); });
}

void Hub::removeUnsent(std::size_t size) {
  unsent_ -= size;
  for (std::size_t i = 0; i < kReaders && unsent_ < kMaxUnsent && !waiting_.empty(); ++i) {
    waiting_.front()();
    waiting_.pop_front();
  }
}

void Hub::remove(Connection& connection) {
  connections_.erase(&connection);
  streams_.erase(&connection);
}

bool Hub::makeRoom() {
  if (connections_.size() < kMaxConnections) return true;
  Connection* longest = nullptr;
  for (Connection* each : connections_)
    if (each->idleSince() && (!longest || *each->idleSince() < *longest->idleSince()))
      longest = each;
  if (!longest) return false;
  connections_.erase(longest);
  longest->close();
  return true;
}

bool Hub::addStream(Connection& connection) {
  if (streams_.size() >= kMaxStreams) return false;
  streams_.insert(&connection);
  connection.sendEvent("retry: 2000\n\n" + changeEvent(version_));
  return true;
}

void Hub::checkVersion() {
  boost::asio::post(readers_, [this] {
    boost::asio::post(io, [this, version = collection_.version()] { tell(version); });
  });
}

void Hub::tell(const std::string& version) {
  if (version.empty() || version == version_) return;
  version_ = version;
  for (Connection* each : streams_) each->sendEvent(changeEvent(version));
}

void Hub::watch() {
  version_ = collection_.version();
  tick();
}

void Hub::tick() {
  timer_.expires_after(std::chrono::seconds(1));
  timer_.async_wait([this](const boost::system::error_code& error) {
    if (error) return;
    checkVersion();
    if (++ticks_ % kSecondsBetweenComments == 0)
      for (Connection* each : streams_) each->sendEvent(": still there\n\n");
    tick();
  });
}

void Hub::stop() {
  readers_.stop();
  editor_.stop();
  readers_.join();
  editor_.join();
  timer_.cancel();
  const auto dropped = std::exchange(waiting_, {});
  for (Connection* each : std::vector<Connection*>(connections_.begin(), connections_.end()))
    each->close();
}

}  // namespace tessaron::tool
