#include "platform/http_client.h"

#include <arpa/inet.h>
#include <curl/curl.h>
#include <dlfcn.h>
#include <netinet/in.h>
#include <sys/socket.h>

#include <array>
#include <atomic>
#include <cstddef>
#include <cstring>
#include <type_traits>

namespace tessaron {
namespace {

#define CURL_FUNCTIONS(USE) \
  USE(curl_easy_init)       \
  USE(curl_easy_cleanup)    \
  USE(curl_easy_perform)    \
  USE(curl_easy_getinfo)    \
  USE(curl_easy_strerror)   \
  USE(curl_global_init)

// curl_easy_setopt checks its argument with a macro, which the name of a member would call.
#undef curl_easy_setopt
#undef curl_easy_getinfo

/// The functions of libcurl. Not linked: it depends on twenty libraries, and only covers need it.
struct CurlLibrary {
  CurlLibrary() {
    for (const char* name : {"libcurl-gnutls.so.4", "libcurl.so.4"}) {
      library = dlopen(name, RTLD_NOW | RTLD_LOCAL);
      if (library) break;
    }
    if (!library) return;
    isReady = true;
    const auto find = [&](auto& function, const char* name) {
      function =
          reinterpret_cast<std::remove_reference_t<decltype(function)>>(dlsym(library, name));
      isReady = isReady && function;
    };
#define FIND(name) find(name, #name);
    CURL_FUNCTIONS(FIND)
#undef FIND
    find(setOption, "curl_easy_setopt");
    isReady = isReady && curl_global_init(CURL_GLOBAL_DEFAULT) == CURLE_OK;
  }

  void* library = nullptr;
  bool isReady = false;
#define DECLARE(name) decltype(&::name) name = nullptr;
  CURL_FUNCTIONS(DECLARE)
#undef DECLARE
  CURLcode (*setOption)(CURL*, CURLoption, ...) = nullptr;
};

const CurlLibrary& curl() {
  static const CurlLibrary library;
  return library;
}

bool isPrivate(const curl_sockaddr& address) {
  if (address.family == AF_INET) {
    sockaddr_in v4{};
    std::memcpy(&v4, &address.addr, sizeof v4);
    std::array<std::uint8_t, 4> bytes;
    std::memcpy(bytes.data(), &v4.sin_addr, bytes.size());
    return isPrivateAddress(bytes);
  }
  if (address.family != AF_INET6 || address.addrlen < sizeof(sockaddr_in6)) return true;
  std::array<std::uint8_t, 16> bytes;
  // The structure that libcurl hands over is followed by the rest of the address.
  std::memcpy(bytes.data(),
              reinterpret_cast<const char*>(&address.addr) + offsetof(sockaddr_in6, sin6_addr),
              bytes.size());
  return isPrivateAddress(bytes);
}

}  // namespace

struct HttpClient::Parts {
  explicit Parts(const HttpLimits& wanted) : limits(wanted) {
    if (curl().isReady) handle = curl().curl_easy_init();
    if (handle) setUp();
  }
  ~Parts() {
    if (handle) curl().curl_easy_cleanup(handle);
  }
  Parts(const Parts&) = delete;
  Parts& operator=(const Parts&) = delete;

  void setUp() {
    const auto set = [this](CURLoption option, auto value) {
      curl().setOption(handle, option, value);
    };
    set(CURLOPT_NOSIGNAL, 1L);
    set(CURLOPT_PROXY, "");
    set(CURLOPT_PROTOCOLS_STR, "http,https");
    set(CURLOPT_FOLLOWLOCATION, 0L);
    set(CURLOPT_USERAGENT, "tessaron");
    set(CURLOPT_ACCEPT_ENCODING, static_cast<const char*>(nullptr));
    set(CURLOPT_SSL_VERIFYPEER, 1L);
    set(CURLOPT_SSL_VERIFYHOST, 2L);
    set(CURLOPT_MAXFILESIZE_LARGE, static_cast<curl_off_t>(limits.maxBytes));
    set(CURLOPT_WRITEFUNCTION, &Parts::take);
    set(CURLOPT_WRITEDATA, this);
    set(CURLOPT_NOPROGRESS, 0L);
    set(CURLOPT_XFERINFOFUNCTION, &Parts::goOn);
    set(CURLOPT_XFERINFODATA, this);
    set(CURLOPT_OPENSOCKETFUNCTION, &Parts::open);
    set(CURLOPT_OPENSOCKETDATA, this);
  }

  static std::size_t take(const char* data, std::size_t size, std::size_t count, void* context) {
    Parts& parts = *static_cast<Parts*>(context);
    if (parts.body.size() + size * count > parts.limits.maxBytes) {
      parts.isTooLong = true;
      return 0;
    }
    parts.body.append(data, size * count);
    return size * count;
  }

  static int goOn(void* context, curl_off_t, curl_off_t, curl_off_t, curl_off_t) {
    return static_cast<Parts*>(context)->isStopped ? 1 : 0;
  }

  /// Sees the very address that is connected to, whatever the name server says at another time.
  static curl_socket_t open(void* context, curlsocktype, curl_sockaddr* address) {
    Parts& parts = *static_cast<Parts*>(context);
    if (parts.mustBePublic && isPrivate(*address)) {
      parts.isRefused = true;
      return CURL_SOCKET_BAD;
    }
    return socket(address->family, address->socktype | SOCK_CLOEXEC, address->protocol);
  }

  std::string reasonOf(CURLcode code) const {
    if (isStopped) return "it was interrupted";
    if (isRefused) return "it redirects to an address in a private network";
    if (isTooLong || code == CURLE_FILESIZE_EXCEEDED)
      return "it has more than " + std::to_string(limits.maxBytes >> 20) + " MiB";
    if (code == CURLE_OPERATION_TIMEDOUT)
      return "it took longer than " + std::to_string(limits.patience.count()) + " seconds";
    return curl().curl_easy_strerror(code);
  }

  HttpLimits limits;
  CURL* handle = nullptr;
  std::string body;
  bool mustBePublic = false;
  bool isTooLong = false;
  bool isRefused = false;
  std::atomic<bool> isStopped = false;
};

HttpClient::HttpClient(const HttpLimits& limits) : parts_(std::make_unique<Parts>(limits)) {}

HttpClient::~HttpClient() = default;

void HttpClient::stop() { parts_->isStopped = true; }

HttpAnswer HttpClient::get(const std::string& address) {
  Parts& parts = *parts_;
  HttpAnswer answer;
  const auto fail = [&](std::string reason) {
    answer.failure = std::move(reason);
    return answer;
  };
  if (!curl().isReady || !parts.handle) return fail("libcurl is not installed");
  const auto deadline = std::chrono::steady_clock::now() + parts.limits.patience;
  std::string current = address;
  std::string host = hostOf(current);
  parts.mustBePublic = false;
  curl().setOption(parts.handle, CURLOPT_FRESH_CONNECT, 0L);
  for (int redirects = 0;; ++redirects) {
    if (host.empty()) return fail("it is no http or https address");
    parts.body.clear();
    parts.isTooLong = parts.isRefused = false;
    const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(
        deadline - std::chrono::steady_clock::now());
    if (left.count() <= 0) return fail(parts.reasonOf(CURLE_OPERATION_TIMEDOUT));
    curl().setOption(parts.handle, CURLOPT_TIMEOUT_MS, static_cast<long>(left.count()));
    curl().setOption(parts.handle, CURLOPT_URL, current.c_str());
    const CURLcode code = curl().curl_easy_perform(parts.handle);
    if (code != CURLE_OK) return fail(parts.reasonOf(code));
    long status = 0;
    curl().curl_easy_getinfo(parts.handle, CURLINFO_RESPONSE_CODE, &status);
    const char* next = nullptr;
    curl().curl_easy_getinfo(parts.handle, CURLINFO_REDIRECT_URL, &next);
    if (status / 100 != 3 || !next) {
      if (status == 200) {
        answer.body = std::move(parts.body);
        return answer;
      }
      answer.isBusy = status == 429 || status == 503;
      return fail("the host answers " + std::to_string(status));
    }
    if (redirects == parts.limits.maxRedirects)
      return fail("it redirects more than " + std::to_string(redirects) + " times");
    current = next;
    const std::string nextHost = hostOf(current);
    // An open connection to a private address could be used again without being seen.
    if (nextHost != host) parts.mustBePublic = true;
    curl().setOption(parts.handle, CURLOPT_FRESH_CONNECT, parts.mustBePublic ? 1L : 0L);
    host = nextHost;
  }
}

}  // namespace tessaron
