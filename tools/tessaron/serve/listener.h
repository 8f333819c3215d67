#pragma once
// How connections begin. Includes the HTTP library.

#include <boost/asio/ip/tcp.hpp>
#include <functional>
#include <memory>

#include "serve/hub.h"
#include "serve/server.h"

namespace tessaron::tool {

/// Begins to serve a connection that was accepted.
using Welcome = std::function<void(boost::asio::ip::tcp::socket, Hub&)>;

Welcome plainWelcome();
/// Fails with kNoInput when the files cannot be read, or are none of TLS.
Welcome tlsWelcome(const TlsFiles& files);

}  // namespace tessaron::tool
