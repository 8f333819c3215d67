#pragma once

#include <chrono>
#include <cstdint>
#include <memory>
#include <span>
#include <string>

namespace tessaron {

/// What a request may take.
struct HttpLimits {
  std::uint64_t maxBytes = std::uint64_t{16} << 20;
  std::chrono::seconds patience{30};  ///< for the whole answer, redirects included
  int maxRedirects = 5;
};

/// What came of a request.
struct HttpAnswer {
  std::string body;
  std::string failure;  ///< why there is no body, as the end of a sentence; empty when there is one
  bool isBusy = false;  ///< the host asks to come back later (429, 503)
};

/// Gets what http and https addresses hold. Checks certificates and host names; sends no cookies,
/// no referrer and no credentials, and uses no proxy. A redirect to another host is refused when
/// that has an address of a private network (see `isPrivateAddress`): a page on the Internet must
/// not have this machine ask its neighbors. The first address may be private, since the caller has
/// chosen it. On Linux it needs libcurl, which is loaded on first use; on Windows it is WinHTTP.
/// For one thread at a time; each thread should have its own, which keeps its connections open.
class HttpClient {
 public:
  explicit HttpClient(const HttpLimits& limits);
  ~HttpClient();
  HttpClient(const HttpClient&) = delete;
  HttpClient& operator=(const HttpClient&) = delete;

  HttpAnswer get(const std::string& address);
  /// Ends the running request and all later ones soon. From any thread.
  void stop();

 private:
  struct Parts;
  std::unique_ptr<Parts> parts_;
};

/// Whether an IP address of 4 or 16 bytes is not on the Internet: of this machine, of a private or
/// local network, for several receivers, or reserved; also such an IPv4 address inside one of IPv6.
bool isPrivateAddress(std::span<const std::uint8_t> bytes);

/// The host of an http or https address in small letters, with its port where one is given; empty
/// for any other address, and for one with a user name.
std::string hostOf(const std::string& address);

}  // namespace tessaron
