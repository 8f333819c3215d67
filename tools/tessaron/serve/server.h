#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>

#include "serve/served_collection.h"
#include "serve/site.h"

namespace tessaron::tool {

/// The files of a TLS server, in PEM.
struct TlsFiles {
  std::string certificates;  ///< its own first
  std::string key;
};

struct ServerOptions {
  std::string address = "127.0.0.1";  ///< a number
  std::uint16_t port = 0;             ///< 0: a free one
  std::optional<TlsFiles> tls;
};

/// Carries requests to a site and answers back: at most 64 connections, 10 seconds for the head of
/// a request, 30 for its body (120 of an import), 60 to take the answer.
class Server {
 public:
  /// Occupies the port. Fails with kUsage for what is no address, with kFailed when the port is
  /// taken, with kNoInput when the TLS files cannot be read.
  explicit Server(const ServerOptions& options);
  ~Server();
  Server(const Server&) = delete;
  Server& operator=(const Server&) = delete;

  std::uint16_t port() const;
  /// Serves until SIGINT or SIGTERM; an edit that has begun is completed. `collection` is
  /// watched for changes, of which event streams tell.
  void run(Site& site, ServedCollection& collection);

 private:
  class Parts;
  std::unique_ptr<Parts> parts_;
};

}  // namespace tessaron::tool
