#pragma once
// Who may use the server.

#include <chrono>
#include <cstdint>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "serve/message.h"

namespace tessaron::tool {

/// How the server can be reached.
struct AccessOptions {
  std::uint16_t port = 0;
  bool isSecure = false;           ///< by TLS
  bool isLoopback = true;          ///< from this machine only
  std::vector<std::string> names;  ///< by which it may be addressed, besides numbers
  std::optional<std::string> password;
};

/// Lets in whoever comes from a page of this server and has its secret: a cookie, which is given
/// for the token in the first address, or for the password. For one thread at a time.
class Access {
 public:
  explicit Access(AccessOptions options);

  /// The address with the token that is printed; it can be used again.
  std::string address() const;
  /// An address with a token that can be used once, to be handed to a browser: others on the
  /// machine may see the arguments of a program.
  std::string addressToOpen();

  /// The answer to those who are not let in, or who get their cookie; nothing for all others, who
  /// may go on.
  std::optional<Response> refuse(const RequestHead& head, const Target& target);

 private:
  std::string base() const;
  bool isHostKnown(std::string_view host) const;
  bool comesFromElsewhere(const RequestHead& head) const;
  bool hasCookie(std::string_view cookies) const;
  bool takeToken(const std::string& token);
  std::optional<Response> checkPassword(const RequestHead& head);
  Response withCookie(Response response) const;
  std::string cookieName() const;

  AccessOptions options_;
  std::string token_;
  std::string onceToken_;
  std::string secret_;
  std::chrono::steady_clock::time_point nextAttempt_{};
};

}  // namespace tessaron::tool
