#include "serve/listener.h"
#include "serve/session.h"

namespace tessaron::tool {

Welcome plainWelcome() {
  return [](boost::asio::ip::tcp::socket socket, Hub& hub) {
    using Stream = boost::beast::tcp_stream;
    std::make_shared<Session<Stream>>(Stream(std::move(socket)), hub)->readHead();
  };
}

}  // namespace tessaron::tool
