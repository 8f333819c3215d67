// The header for sockets must come before <windows.h>, which headers of the standard library
// include.
// clang-format off
#include <winsock2.h>
#include <ws2tcpip.h>
#include <windows.h>
#include <winhttp.h>
// clang-format on

#include "platform/http_client.h"

#include <algorithm>
#include <array>
#include <atomic>
#include <cstring>
#include <memory>
#include <optional>
#include <utility>

#include "support/text.h"

namespace tessaron {
namespace {

// What mingw-w64's header lacks: the addresses of a connection.
constexpr DWORD kConnectionInfo = 93;
#ifdef _WIN64
#pragma pack(push, 8)
#else
#pragma pack(push, 4)
#endif
struct ConnectionInfo {
  DWORD cbSize;
  SOCKADDR_STORAGE local;
  SOCKADDR_STORAGE remote;
};
#pragma pack(pop)

struct CloseHandle {
  void operator()(HINTERNET handle) const { WinHttpCloseHandle(handle); }
};
using Handle = std::unique_ptr<void, CloseHandle>;

std::wstring wideOf(const std::string& text) {
  const std::u16string units = fromUtf8(text);
  return {units.begin(), units.end()};
}

bool isPrivate(const sockaddr* address) {
  if (address->sa_family == AF_INET) {
    std::array<std::uint8_t, 4> bytes;
    std::memcpy(bytes.data(), &reinterpret_cast<const sockaddr_in*>(address)->sin_addr,
                bytes.size());
    return isPrivateAddress(bytes);
  }
  if (address->sa_family != AF_INET6) return true;
  std::array<std::uint8_t, 16> bytes;
  std::memcpy(bytes.data(), &reinterpret_cast<const sockaddr_in6*>(address)->sin6_addr,
              bytes.size());
  return isPrivateAddress(bytes);
}

/// Whether a name has an address in a private network, or none at all.
bool hasPrivateAddress(const std::wstring& host) {
  ADDRINFOW* found = nullptr;
  if (GetAddrInfoW(host.c_str(), nullptr, nullptr, &found) != 0) return true;
  bool isAny = false;
  for (const ADDRINFOW* each = found; each; each = each->ai_next)
    isAny = isAny || isPrivate(each->ai_addr);
  FreeAddrInfoW(found);
  return isAny;
}

std::string reasonOf(DWORD error) {
  switch (error) {
    case ERROR_WINHTTP_TIMEOUT:
      return "it took too long";
    case ERROR_WINHTTP_NAME_NOT_RESOLVED:
      return "its host is not known";
    case ERROR_WINHTTP_CANNOT_CONNECT:
      return "its host cannot be reached";
    case ERROR_WINHTTP_SECURE_FAILURE:
      return "the certificate of its host is not valid";
    case ERROR_WINHTTP_SECURE_CHANNEL_ERROR:
      return "no secure connection to its host can be made";
    default:
      return "error " + std::to_string(error) + " of the system's client";
  }
}

/// The parts of an address that WinHTTP wants one by one.
struct Target {
  std::wstring host;
  std::wstring path;
  INTERNET_PORT port = 0;
  bool isSecure = false;
};

std::optional<Target> crack(const std::string& address) {
  const std::wstring wide = wideOf(address);
  URL_COMPONENTS parts{};
  parts.dwStructSize = sizeof parts;
  parts.dwHostNameLength = parts.dwUrlPathLength = parts.dwExtraInfoLength = static_cast<DWORD>(-1);
  if (!WinHttpCrackUrl(wide.c_str(), static_cast<DWORD>(wide.size()), 0, &parts))
    return std::nullopt;
  std::wstring path(parts.lpszUrlPath, parts.dwUrlPathLength + parts.dwExtraInfoLength);
  path.resize(std::min(path.find(L'#'), path.size()));
  return Target{{parts.lpszHostName, parts.dwHostNameLength},
                path.empty() ? L"/" : path,
                parts.nPort,
                parts.nScheme == INTERNET_SCHEME_HTTPS};
}

std::string headerOf(HINTERNET request, DWORD header) {
  DWORD size = 0;
  WinHttpQueryHeaders(request, header, WINHTTP_HEADER_NAME_BY_INDEX, nullptr, &size, nullptr);
  if (GetLastError() != ERROR_INSUFFICIENT_BUFFER) return {};
  std::wstring text(size / sizeof(wchar_t), L'\0');
  if (!WinHttpQueryHeaders(request, header, WINHTTP_HEADER_NAME_BY_INDEX, text.data(), &size,
                           nullptr))
    return {};
  text.resize(size / sizeof(wchar_t));
  return toUtf8(std::u16string(text.begin(), text.end()));
}

/// The address that a redirect at `base` leads to.
std::string resolved(const std::string& base, const std::string& location) {
  if (!hostOf(location).empty()) return location;
  const std::size_t scheme = base.find("://");
  const std::size_t end = std::min(base.find_first_of("/?#", scheme + 3), base.size());
  if (location.starts_with("//")) return base.substr(0, scheme + 1) + location;
  if (location.starts_with('/')) return base.substr(0, end) + location;
  if (location.find(':') < location.find_first_of("/?#")) return {};  // another scheme
  const std::string path = base.substr(0, std::min(base.find_first_of("?#", end), base.size()));
  const std::size_t slash = path.rfind('/');
  return (slash < end ? path + '/' : path.substr(0, slash + 1)) + location;
}

}  // namespace

struct HttpClient::Parts {
  explicit Parts(const HttpLimits& wanted) : limits(wanted) {
    WSADATA data;
    isReady = WSAStartup(MAKEWORD(2, 2), &data) == 0;
    session.reset(WinHttpOpen(L"tessaron", WINHTTP_ACCESS_TYPE_NO_PROXY, WINHTTP_NO_PROXY_NAME,
                              WINHTTP_NO_PROXY_BYPASS, 0));
  }
  ~Parts() {
    if (isReady) WSACleanup();
  }
  Parts(const Parts&) = delete;
  Parts& operator=(const Parts&) = delete;

  using Clock = std::chrono::steady_clock;

  /// What came of one request without redirects.
  struct Response {
    std::string failure;
    DWORD status = 0;
    std::string location;
  };

  Response ask(const Target& target, bool mustBePublic, Clock::time_point deadline) {
    const auto left =
        std::chrono::duration_cast<std::chrono::milliseconds>(deadline - Clock::now()).count();
    if (left <= 0) return {tooSlow(), 0, {}};
    if (mustBePublic && hasPrivateAddress(target.host)) return {kRefused, 0, {}};
    const int patience = static_cast<int>(left);
    WinHttpSetTimeouts(session.get(), patience, patience, patience, patience);
    const Handle connection(WinHttpConnect(session.get(), target.host.c_str(), target.port, 0));
    const Handle request(
        connection ? WinHttpOpenRequest(connection.get(), L"GET", target.path.c_str(), nullptr,
                                        WINHTTP_NO_REFERER, WINHTTP_DEFAULT_ACCEPT_TYPES,
                                        target.isSecure ? WINHTTP_FLAG_SECURE : 0)
                   : nullptr);
    DWORD off =
        WINHTTP_DISABLE_REDIRECTS | WINHTTP_DISABLE_COOKIES | WINHTTP_DISABLE_AUTHENTICATION;
    if (!request ||
        !WinHttpSetOption(request.get(), WINHTTP_OPTION_DISABLE_FEATURE, &off, sizeof off) ||
        !WinHttpSendRequest(request.get(), WINHTTP_NO_ADDITIONAL_HEADERS, 0,
                            WINHTTP_NO_REQUEST_DATA, 0, 0, 0) ||
        !WinHttpReceiveResponse(request.get(), nullptr))
      return {reasonOf(GetLastError()), 0, {}};
    // The name server may have told another address since it was asked above.
    ConnectionInfo info{};
    info.cbSize = sizeof info;
    DWORD size = sizeof info;
    if (mustBePublic && (!WinHttpQueryOption(request.get(), kConnectionInfo, &info, &size) ||
                         isPrivate(reinterpret_cast<const sockaddr*>(&info.remote))))
      return {kRefused, 0, {}};
    Response response;
    size = sizeof response.status;
    if (!WinHttpQueryHeaders(request.get(), WINHTTP_QUERY_STATUS_CODE | WINHTTP_QUERY_FLAG_NUMBER,
                             WINHTTP_HEADER_NAME_BY_INDEX, &response.status, &size,
                             WINHTTP_NO_HEADER_INDEX))
      return {reasonOf(GetLastError()), 0, {}};
    if (response.status / 100 == 3)
      response.location = headerOf(request.get(), WINHTTP_QUERY_LOCATION);
    else
      response.failure = read(request.get(), deadline);
    return response;
  }

  std::string read(HINTERNET request, Clock::time_point deadline) {
    std::array<char, 64 << 10> block;
    for (DWORD got = 0;; body.append(block.data(), got)) {
      if (isStopped) return "it was interrupted";
      if (Clock::now() > deadline) return tooSlow();
      if (!WinHttpReadData(request, block.data(), static_cast<DWORD>(block.size()), &got))
        return reasonOf(GetLastError());
      if (got == 0) return {};
      if (body.size() + got > limits.maxBytes)
        return "it has more than " + std::to_string(limits.maxBytes >> 20) + " MiB";
    }
  }

  std::string tooSlow() const {
    return "it took longer than " + std::to_string(limits.patience.count()) + " seconds";
  }

  static constexpr const char* kRefused = "it redirects to an address in a private network";

  HttpLimits limits;
  bool isReady = false;
  Handle session;
  std::string body;
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
  if (!parts.isReady || !parts.session) return fail("the system's client cannot be used");
  const auto deadline = Parts::Clock::now() + parts.limits.patience;
  std::string current = address;
  bool mustBePublic = false;
  for (int redirects = 0;; ++redirects) {
    const std::optional<Target> target = hostOf(current).empty() ? std::nullopt : crack(current);
    if (!target) return fail("it is no http or https address");
    parts.body.clear();
    const Parts::Response response = parts.ask(*target, mustBePublic, deadline);
    if (parts.isStopped) return fail("it was interrupted");
    if (!response.failure.empty()) return fail(response.failure);
    if (response.location.empty()) {
      if (response.status == 200) {
        answer.body = std::move(parts.body);
        return answer;
      }
      answer.isBusy = response.status == 429 || response.status == 503;
      return fail("the host answers " + std::to_string(response.status));
    }
    if (redirects == parts.limits.maxRedirects)
      return fail("it redirects more than " + std::to_string(redirects) + " times");
    const std::string next = resolved(current, response.location);
    mustBePublic = mustBePublic || hostOf(next) != hostOf(current);
    current = next;
  }
}

}  // namespace tessaron
