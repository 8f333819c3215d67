#include <boost/asio/ssl/context.hpp>
#include <boost/beast/ssl/ssl_stream.hpp>

#include "cli/failures.h"
#include "serve/listener.h"
#include "serve/session.h"

namespace tessaron::tool {
namespace {

namespace ssl = boost::asio::ssl;
using Stream = boost::beast::ssl_stream<boost::beast::tcp_stream>;

constexpr std::chrono::seconds kHandshakeTime{10};

void requireFile(const std::string& path, const boost::system::error_code& error) {
  if (error) throw Failure{kNoInput, path, "cannot be used for TLS: " + error.message()};
}

}  // namespace

Welcome tlsWelcome(const TlsFiles& files) {
  const auto context = std::make_shared<ssl::context>(ssl::context::tls_server);
  context->set_options(ssl::context::default_workarounds | ssl::context::no_sslv2 |
                       ssl::context::no_sslv3 | ssl::context::no_tlsv1 | ssl::context::no_tlsv1_1 |
                       ssl::context::no_compression);
  // A key that needs a password is refused rather than asked for.
  context->set_password_callback([](std::size_t, ssl::context::password_purpose) { return ""; });
  boost::system::error_code error;
  context->use_certificate_chain_file(files.certificates, error);
  requireFile(files.certificates, error);
  context->use_private_key_file(files.key, ssl::context::pem, error);
  requireFile(files.key, error);
  return [context](boost::asio::ip::tcp::socket socket, Hub& hub) {
    const auto session =
        std::make_shared<Session<Stream>>(Stream(std::move(socket), *context), hub);
    boost::beast::get_lowest_layer(session->stream()).expires_after(kHandshakeTime);
    session->stream().async_handshake(ssl::stream_base::server,
                                      [session, context](const boost::system::error_code& failed) {
                                        if (!failed) session->readHead();
                                      });
  };
}

}  // namespace tessaron::tool
