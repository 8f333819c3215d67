#include "serve/server.h"

#include <fmt/format.h>

#include <boost/asio/ip/address.hpp>
#include <boost/asio/signal_set.hpp>
#include <boost/asio/write.hpp>
#include <csignal>
#include <utility>

#include "cli/failures.h"
#include "serve/hub.h"
#include "serve/listener.h"

namespace tessaron::tool {

namespace net = boost::asio;
using Error = boost::system::error_code;
using net::ip::tcp;

class Server::Parts {
 public:
  explicit Parts(const ServerOptions& options) {
    welcome_ = options.tls ? tlsWelcome(*options.tls) : plainWelcome();
    Error error;
    const auto address = net::ip::make_address(options.address, error);
    if (error) throw Failure{kUsage, {}, options.address + " is no numeric address"};
    const tcp::endpoint endpoint(address, options.port);
    acceptor_.open(endpoint.protocol(), error);
    if (!error) acceptor_.set_option(net::socket_base::reuse_address(true), error);
    if (!error) acceptor_.bind(endpoint, error);
    if (!error) acceptor_.listen(net::socket_base::max_listen_connections, error);
    if (error)
      throw Failure{kFailed, {}, fmt::format("port {}: {}", options.port, error.message())};
  }

  std::uint16_t port() const { return acceptor_.local_endpoint().port(); }

  void run(Site& site, ServedCollection& collection) {
    Hub hub(io_, site, collection);
    net::signal_set signals(io_, SIGINT, SIGTERM);
    signals.async_wait([this](const Error&, int) { io_.stop(); });
    hub.watch();
    accept(hub);
    io_.run();
    Error ignored;
    acceptor_.close(ignored);
    hub.stop();
    io_.restart();
    while (io_.poll() > 0) {
    }
  }

 private:
  void accept(Hub& hub) {
    acceptor_.async_accept([this, &hub](const Error& error, tcp::socket socket) {
      if (error == net::error::operation_aborted) return;
      if (error) return acceptLater(hub);
      if (hub.makeRoom())
        welcome_(std::move(socket), hub);
      else
        turnAway(std::move(socket));
      accept(hub);
    });
  }

  /// Descriptors have run out, for example.
  void acceptLater(Hub& hub) {
    pause_.expires_after(std::chrono::milliseconds(100));
    pause_.async_wait([this, &hub](const Error& error) {
      if (!error) accept(hub);
    });
  }

  /// As much of an answer as can be given without waiting.
  static void turnAway(tcp::socket socket) {
    constexpr std::string_view kBusy =
        "HTTP/1.1 503 Service Unavailable\r\nConnection: close\r\nRetry-After: 1\r\n"
        "Content-Length: 0\r\n\r\n";
    Error ignored;
    socket.non_blocking(true, ignored);
    socket.write_some(net::buffer(kBusy), ignored);
    socket.shutdown(tcp::socket::shutdown_send, ignored);
  }

  net::io_context io_{1};
  tcp::acceptor acceptor_{io_};
  net::steady_timer pause_{io_};
  Welcome welcome_;
};

Server::Server(const ServerOptions& options) : parts_(std::make_unique<Parts>(options)) {}
Server::~Server() = default;

std::uint16_t Server::port() const { return parts_->port(); }

void Server::run(Site& site, ServedCollection& collection) { parts_->run(site, collection); }

}  // namespace tessaron::tool
